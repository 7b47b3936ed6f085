// Writes the bits of a syntax in the order in which a standard's tables list them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace test {

class BitString {
public:
    /// A field of n bits.
    BitString& u(int n, uint64_t value) {
        for (int i = n - 1; i >= 0; --i)
            bit((value >> i & 1U) != 0);
        return *this;
    }
    /// An unsigned Exp-Golomb code.
    BitString& ue(uint64_t value) {
        int length = 0;
        while ((value + 1) >> (length + 1) != 0)
            ++length;
        return u(length, 0).u(length + 1, value + 1);
    }
    /// A signed Exp-Golomb code.
    BitString& se(int64_t value) {
        const auto magnitude = static_cast<uint64_t>(value < 0 ? -value : value);
        return ue(value > 0 ? 2 * magnitude - 1 : 2 * magnitude);
    }
    size_t bits() const { return m_bits.size(); }

    /// The whole bytes that the bits fill, the last one padded with zeros.
    std::vector<unsigned char> bytes() const {
        std::vector<unsigned char> out((m_bits.size() + 7) / 8);
        for (size_t i = 0; i < m_bits.size(); ++i) {
            if (m_bits[i])
                out[i / 8] = static_cast<unsigned char>(out[i / 8] | 0x80U >> i % 8);
        }
        return out;
    }
    /// The same as a NAL unit's payload carries it: 00 00 becomes 00 00 03 before 0 to 3.
    std::vector<unsigned char> payload() const {
        std::vector<unsigned char> out;
        int zeros = 0;
        for (const unsigned char byte : bytes()) {
            if (zeros == 2 && byte <= 3) {
                out.push_back(3);
                zeros = 0;
            }
            zeros = byte == 0 ? zeros + 1 : 0;
            out.push_back(byte);
        }
        return out;
    }

private:
    void bit(bool set) { m_bits.push_back(set); }

    std::vector<bool> m_bits;
};

} // namespace test
