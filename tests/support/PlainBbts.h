// A plain model of the broadband TS parser, to compare the real one with.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace test {

class PlainBbts {
public:
    using Bytes = std::vector<unsigned char>;

    /// @return the packet's kind; 0 where the parser answers 0
    unsigned int parse(const unsigned char* packet, size_t size) {
        if (size == 0 || packet[0] != 0x47)
            return 0;
        m_packet.assign(packet, packet + std::min<size_t>(size, 188));
        if (m_packet.size() < 4)
            return 5;
        const unsigned int pid = pidAt(1);
        const unsigned int kind = pid == 0        ? 1
                                  : pid == 1      ? 2
                                  : pid == pmtPid ? 3
                                  : pid == ecmPid ? 4
                                                  : 5;
        if (kind == 3)
            pmt = whole();
        if (kind == 4)
            ecm = whole();
        try {
            walk(kind);
        } catch (const End&) {
            // what was found until here counts
        }
        return kind;
    }

    unsigned int pmtPid = 0;
    unsigned int ecmPid = 0;
    Bytes pmt;
    Bytes ecm;
    Bytes privateData;

private:
    struct End {};

    Bytes whole() const {
        Bytes bytes = m_packet;
        bytes.resize(188);
        return bytes;
    }
    unsigned int at(size_t index) const {
        if (index >= m_packet.size())
            throw End();
        return m_packet[index];
    }
    unsigned int pidAt(size_t index) const { return (at(index) & 0x1F) << 8 | at(index + 1); }
    unsigned int lengthAt(size_t index) const { return (at(index) & 0x0F) << 8 | at(index + 1); }
    size_t sectionStart() const {
        const size_t field = (at(3) & 0x20) != 0 ? at(4) : 0;
        const size_t pointer = at(field + 4);
        return pointer != 0 ? field + 4 + pointer : field + 5;
    }
    void walk(unsigned int kind) {
        if (kind > 3)
            return;
        const size_t start = sectionStart();
        const long length = static_cast<long>(lengthAt(start + 1)) - 9;
        if (kind == 1)
            walkPrograms(start + 8, length);
        if (kind == 2)
            walkCat(start + 8, length);
        if (kind == 3)
            walkPmt(start + 12, lengthAt(start + 10));
    }
    void walkPrograms(size_t entry, long length) {
        for (long walked = 0; walked < length; walked += 4, entry += 4) {
            const unsigned int number = at(entry) << 8 | at(entry + 1);
            const unsigned int pid = pidAt(entry + 2);
            if (number != 0)
                pmtPid = pid;
        }
    }
    void walkCat(size_t d, long length) {
        for (const size_t start = d; static_cast<long>(d - start) < length;) {
            const size_t own = at(d + 2);
            const size_t step = at(d) == 9 ? caStep(d, own) : own;
            if (step == 0)
                return;
            d += step;
        }
    }
    void walkPmt(size_t d, size_t length) {
        for (const size_t start = d; d - start < length;) {
            const size_t own = at(d + 1);
            d += at(d) == 9 ? caStep(d, own) : 2 + own;
        }
    }
    size_t caStep(size_t d, size_t length) {
        ecmPid = pidAt(d + 4);
        if (length == 4)
            return 6;
        if (at(d + 6) != 1)
            return 2 + length;
        const size_t size = at(d + 7);
        if (size > 0)
            at(d + 8 + size - 1);
        const auto from = m_packet.begin() + static_cast<std::ptrdiff_t>(d) + 8;
        privateData.assign(from, from + static_cast<std::ptrdiff_t>(size));
        return 8 + size;
    }

    Bytes m_packet;
};

} // namespace test
