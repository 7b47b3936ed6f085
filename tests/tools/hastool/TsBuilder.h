// Makes transport streams for the tool's tests.
#pragma once

#include <hastool/media/TsUnit.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace test {

using Bytes = std::vector<unsigned char>;

inline Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline unsigned char low(unsigned int value) {
    return static_cast<unsigned char>(value & 0xFF);
}

/// What a packet is made of.
struct Packet {
    int pid = 0;
    int counter = 0;
    Bytes payload;      ///< filled up in the adaptation field
    bool start = false; ///< of a section or a PES packet
    bool discontinuity = false;
    int scrambling = 0;
    long long pcr = -1; ///< in 1/90,000 s
    bool hasPayload = true;
};

inline Bytes adaptation(const Packet& packet, size_t size) {
    if (size == 0)
        return {};
    Bytes field = {low(static_cast<unsigned int>(size - 1))};
    if (size > 1)
        field.push_back(low((packet.discontinuity ? 0x80U : 0U) | (packet.pcr >= 0 ? 0x10U : 0U)));
    if (packet.pcr >= 0) {
        const auto base = static_cast<uint64_t>(packet.pcr);
        for (const int shift : {25, 17, 9, 1})
            field.push_back(low(static_cast<unsigned int>(base >> shift)));
        field.push_back(low(static_cast<unsigned int>((base & 1) << 7 | 0x7E)));
        field.push_back(0);
    }
    field.resize(size, 0xFF);
    return field;
}

inline Bytes bytesOf(const Packet& packet) {
    const size_t size = packet.hasPayload ? 184 - packet.payload.size() : 184;
    const unsigned int control = (size > 0 ? 0x20U : 0U) | (packet.hasPayload ? 0x10U : 0U);
    const auto pid = static_cast<unsigned int>(packet.pid);
    const Bytes header = {0x47, low((packet.start ? 0x40U : 0U) | pid >> 8), low(pid),
                          low(static_cast<unsigned int>(packet.scrambling) << 6 | control |
                              (static_cast<unsigned int>(packet.counter) & 0x0F))};
    return header + adaptation(packet, size) + (packet.hasPayload ? packet.payload : Bytes());
}

inline hastool::TsUnit unitOf(const Packet& packet) {
    hastool::TsUnit unit;
    const Bytes bytes = bytesOf(packet);
    std::copy(bytes.begin(), bytes.end(), unit.packet.begin());
    return unit;
}

/// The checksum bit by bit, as the standard draws it.
inline uint32_t plainChecksum(const Bytes& bytes) {
    uint32_t value = 0xFFFFFFFF;
    for (const unsigned char byte : bytes) {
        for (int bit = 7; bit >= 0; --bit) {
            const bool top = (value >> 31 ^ static_cast<uint32_t>(byte >> bit & 1)) != 0;
            value = value << 1 ^ (top ? 0x04C11DB7 : 0);
        }
    }
    return value;
}

inline Bytes section(unsigned int id, unsigned int extension, const Bytes& body,
                     unsigned int version = 0) {
    const auto length = static_cast<unsigned int>(5 + body.size() + 4);
    Bytes bytes = Bytes{low(id),        low(0xB0 | length >> 8),  low(length), low(extension >> 8),
                        low(extension), low(0xC1 | version << 1), 0,           0} +
                  body;
    const uint32_t checksum = plainChecksum(bytes);
    return bytes +
           Bytes{low(checksum >> 24), low(checksum >> 16), low(checksum >> 8), low(checksum)};
}

inline Bytes pidField(unsigned int pid) {
    return {low(0xE0 | pid >> 8), low(pid)};
}

inline Bytes patEntry(unsigned int number, unsigned int pid) {
    return Bytes{low(number >> 8), low(number)} + pidField(pid);
}

inline Bytes caDescriptor(unsigned int system, unsigned int pid, const Bytes& data = {}) {
    return Bytes{9, low(static_cast<unsigned int>(4 + data.size())), low(system >> 8),
                 low(system)} +
           pidField(pid) + data;
}

inline Bytes stream(unsigned int type, unsigned int pid, const Bytes& descriptors = {}) {
    const auto size = static_cast<unsigned int>(descriptors.size());
    return Bytes{low(type)} + pidField(pid) + Bytes{low(0xF0 | size >> 8), low(size)} + descriptors;
}

inline Bytes pmtBody(unsigned int pcrPid, const Bytes& descriptors, const Bytes& streams) {
    const auto size = static_cast<unsigned int>(descriptors.size());
    return pidField(pcrPid) + Bytes{low(0xF0 | size >> 8), low(size)} + descriptors + streams;
}

/// The packets of a table's section.
inline Bytes tablePackets(int pid, const Bytes& section, int counter = 0) {
    const Bytes whole = Bytes{0} + section;
    Bytes stream;
    for (size_t at = 0; at < whole.size(); at += 184, ++counter) {
        Packet packet;
        packet.pid = pid;
        packet.counter = counter;
        packet.start = at == 0;
        const size_t size = std::min<size_t>(184, whole.size() - at);
        packet.payload.assign(184, 0xFF);
        std::copy_n(whole.begin() + static_cast<std::ptrdiff_t>(at), size, packet.payload.begin());
        stream = stream + bytesOf(packet);
    }
    return stream;
}

/// A packet with so many bytes of the same value.
inline Packet filled(int pid, int counter, unsigned char value = 0x11) {
    Packet packet;
    packet.pid = pid;
    packet.counter = counter;
    packet.payload.assign(184, value);
    return packet;
}

/// A PES packet of video in packets of the transport stream.
inline Bytes pesPackets(int pid, const Bytes& video, int counter = 0) {
    const Bytes whole = Bytes{0, 0, 1, 0xE0, 0, 0, 0x80, 0x80, 5, 0x21, 0, 1, 0, 1} + video;
    Bytes stream;
    for (size_t at = 0; at < whole.size(); at += 184, ++counter) {
        Packet packet;
        packet.pid = pid;
        packet.counter = counter;
        packet.start = at == 0;
        const auto begin = whole.begin() + static_cast<std::ptrdiff_t>(at);
        packet.payload.assign(
            begin, begin + static_cast<std::ptrdiff_t>(std::min<size_t>(184, whole.size() - at)));
        stream = stream + bytesOf(packet);
    }
    return stream;
}

inline std::string textOf(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

/// A parameter set of 176 times 144, with its NAL header.
inline Bytes smallSps() {
    return {0x27, 0x42, 0xE0, 0x15, 0x8D, 0x8D, 0x41, 0x62, 0x72};
}

} // namespace test
