#include "SectionChecksum.h"

#include <array>

namespace hastool {
namespace {

std::array<uint32_t, 256> checksumTable() {
    constexpr uint32_t kPolynomial = 0x04C11DB7;
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < table.size(); ++i) {
        uint32_t value = i << 24;
        for (int bit = 0; bit < 8; ++bit)
            value = (value << 1) ^ ((value >> 31) != 0 ? kPolynomial : 0);
        table[i] = value;
    }
    return table;
}

} // namespace

uint32_t sectionChecksum(const unsigned char* data, size_t size) {
    static const std::array<uint32_t, 256> table = checksumTable();
    uint32_t value = 0xFFFFFFFF;
    for (size_t i = 0; i < size; ++i)
        value = value << 8 ^ table[(value >> 24) ^ data[i]];
    return value;
}

} // namespace hastool
