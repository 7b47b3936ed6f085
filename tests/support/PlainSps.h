// A plain model of the H.264 parameter set parser, bit by bit, to compare the real one with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace test {

class PlainSps {
public:
    PlainSps(const unsigned char* bytes, size_t size) { removeEmulation(bytes, size); }

    /// Reads the thirteen fields in order; fields that are not reached keep their values.
    bool parse(std::vector<unsigned int>& fields) {
        m_fields = &fields;
        return head() && order() && picture();
    }

private:
    void removeEmulation(const unsigned char* bytes, size_t size) {
        int zeros = 0;
        for (size_t i = 0; i < size; ++i) {
            if (bytes[i] == 3 && zeros == 2) {
                if (++i == size)
                    return;
                m_bytes.push_back(bytes[i]);
                zeros = 0;
                continue;
            }
            zeros = bytes[i] != 0 ? 0 : (zeros + 1) % 3;
            m_bytes.push_back(bytes[i]);
        }
    }
    bool bit(uint64_t& value) {
        if (m_at / 8 >= m_bytes.size())
            return false;
        value = value << 1 | (m_bytes[m_at / 8] >> (7 - m_at % 8) & 1U);
        ++m_at;
        return true;
    }
    bool u(uint64_t n, uint64_t& value) {
        value = 0;
        for (uint64_t i = 0; i < n; ++i) {
            if (!bit(value))
                return false;
        }
        value &= 0xFFFFFFFFU;
        return true;
    }
    bool ue(uint64_t& value) {
        uint64_t zeros = 0;
        for (uint64_t one = 0; one == 0; ++zeros) {
            if (!bit(one))
                return false;
        }
        --zeros;
        if (!u(zeros, value))
            return false;
        value = (value - 1 + (zeros < 32 ? uint64_t{1} << zeros : 0)) & 0xFFFFFFFFU;
        return true;
    }
    bool flag(size_t field) { return keep(field, &PlainSps::oneBit); }
    bool code(size_t field) { return keep(field, &PlainSps::ue); }
    bool oneBit(uint64_t& value) { return u(1, value); }
    bool keep(size_t field, bool (PlainSps::*read)(uint64_t&)) {
        uint64_t value = 0;
        if (!(this->*read)(value))
            return false;
        (*m_fields)[field - 1] = static_cast<unsigned int>(value);
        return true;
    }
    bool scalingList(int size) {
        int last = 8;
        int next = 8;
        for (int i = 0; i < size; ++i) {
            uint64_t k = 0;
            if (next != 0) {
                if (!ue(k))
                    return false;
                const auto half = static_cast<int64_t>(k / 2);
                const int64_t sum = last + (k % 2 == 1 ? half + 1 : -half) + 256;
                next = static_cast<int>((sum % 256 + 256) % 256);
            }
            last = next != 0 ? next : last;
        }
        return true;
    }
    bool chroma() {
        uint64_t v = 0;
        if (!ue(v) || (v == 3 && !u(1, v)))
            return false;
        const bool depths = ue(v) && ue(v) && u(1, v) && u(1, v);
        if (!depths || v == 0)
            return depths;
        for (int i = 0; i < 8; ++i) {
            if (!u(1, v) || (v == 1 && !scalingList(i < 6 ? 16 : 64)))
                return false;
        }
        return true;
    }
    bool head() {
        uint64_t profile = 0;
        uint64_t v = 0;
        if (!u(8, profile) || !u(16, v) || !code(1))
            return false;
        const bool high = profile == 100 || profile == 110 || profile == 122 || profile == 144;
        return (!high || chroma()) && code(5);
    }
    bool order() {
        if (!code(2))
            return false;
        if ((*m_fields)[1] == 0)
            return code(6);
        uint64_t count = 0;
        uint64_t v = 0;
        if ((*m_fields)[1] != 1)
            return true;
        if (!flag(4) || !ue(v) || !ue(v) || !ue(count))
            return false;
        for (uint64_t i = 0; i < count; ++i) {
            if (!ue(v))
                return false;
        }
        return true;
    }
    bool picture() {
        uint64_t v = 0;
        if (!ue(v) || !u(1, v) || !code(7) || !code(8) || !flag(3))
            return false;
        if ((*m_fields)[2] == 0 && !u(1, v))
            return false;
        if (!u(1, v) || !flag(9))
            return false;
        return (*m_fields)[8] == 0 || (code(10) && code(11) && code(12) && code(13));
    }

    std::vector<unsigned char> m_bytes;
    size_t m_at = 0;
    std::vector<unsigned int>* m_fields = nullptr;
};

} // namespace test
