// A plain model of the bit reader, one bit at a time, to compare the real one with.
#pragma once

#include <support/ExactBytes.h>

#include <cstddef>
#include <cstdint>

namespace test {

class PlainBitReader {
public:
    /// @param bytes  must outlive the reader
    explicit PlainBitReader(const ExactBytes& bytes)
        : m_bytes(bytes) {}

    /// @return false where the bits are not there; `value`, the low 32 bits, is then untouched
    bool get(int n, unsigned int& value) {
        if (n < 0 || m_at >= total() || n > total() - m_at)
            return false;
        value = 0;
        for (int i = 0; i < n; ++i, ++m_at)
            value = value << 1 | bit();
        return true;
    }
    void skipBits(int n) {
        if (n > 0 && n <= total() - m_at)
            m_at += n;
    }
    void skipBytes(int n) {
        if (n > 0 && m_at / 8 + n < total() / 8)
            m_at = (m_at / 8 + n) * 8;
    }

private:
    int64_t total() const { return static_cast<int64_t>(m_bytes.size()) * 8; }
    unsigned int bit() const {
        const unsigned int byte = m_bytes[static_cast<size_t>(m_at / 8)];
        return byte >> (7 - m_at % 8) & 1U;
    }

    const ExactBytes& m_bytes;
    int64_t m_at = 0;
};

} // namespace test
