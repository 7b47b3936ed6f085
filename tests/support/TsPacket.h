// Writes MPEG-TS packets with one table section each.
#pragma once

#include <support/ExactBytes.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <vector>

namespace test {

using ByteList = std::vector<unsigned char>;

inline ByteList bytes(std::initializer_list<int> values) {
    ByteList out;
    for (const int value : values)
        out.push_back(static_cast<unsigned char>(value));
    return out;
}

inline ByteList operator+(ByteList a, const ByteList& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

/// A packet of 188 bytes: header, the bytes given, and 0xFF up to its end.
inline ExactBytes tsPacket(int pid, const ByteList& behindTheHeader, int byte3 = 0x10) {
    const ByteList start = bytes({0x47, 0x40 | pid >> 8, pid & 0xFF, byte3}) + behindTheHeader;
    const ExactBytes out(188, 0xFF);
    std::copy_n(start.begin(), std::min<size_t>(start.size(), 188), out.data());
    return out;
}

/// A section up to its entries, with the length that follows from them; `fixed` stands between the
/// section numbers and the entries.
inline ByteList section(int tableId, int extension, const ByteList& fixed,
                        const ByteList& entries) {
    const int length = 5 + static_cast<int>(fixed.size() + entries.size()) + 4;
    return bytes({tableId, 0xB0 | length >> 8, length & 0xFF, extension >> 8, extension & 0xFF,
                  0xC1, 0x00, 0x00}) +
           fixed + entries + bytes({0xC2, 0xC3, 0xC4, 0xC5});
}

/// A program of a PAT.
inline ByteList program(int number, int pid) {
    return bytes({number >> 8, number & 0xFF, 0xE0 | pid >> 8, pid & 0xFF});
}

inline ByteList pat(const ByteList& programs) {
    return section(0x00, 1, {}, programs);
}

inline ByteList cat(const ByteList& descriptors) {
    return section(0x01, 0xFFFF, {}, descriptors);
}

/// A PMT whose clock is on PID 0x101.
inline ByteList pmt(const ByteList& descriptors, const ByteList& streams = {}) {
    const int length = static_cast<int>(descriptors.size());
    return section(0x02, 1, bytes({0xE1, 0x01, 0xF0 | length >> 8, length & 0xFF}),
                   descriptors + streams);
}

/// A pointer field of 0 and the section behind it.
inline ByteList pointed(const ByteList& behind) {
    return bytes({0x00}) + behind;
}

} // namespace test
