#include <support/Pattern.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace test {
namespace {

constexpr size_t kPeriod = 1048573;    // the largest prime below 1 MiB
constexpr uint64_t kSeedStep = 104729; // likewise prime: seeds begin far from each other

/// The period twice in a row, so that a slice from anywhere is in one piece.
const std::vector<char>& block() {
    static const std::vector<char> bytes = [] {
        std::vector<char> result(2 * kPeriod);
        uint64_t state = 0x9E3779B97F4A7C15U;
        for (size_t i = 0; i < kPeriod; ++i) {
            state ^= state << 13;
            state ^= state >> 7;
            state ^= state << 17;
            result[i] = static_cast<char>(state >> 32);
        }
        std::copy_n(result.begin(), kPeriod, result.begin() + kPeriod);
        return result;
    }();
    return bytes;
}

} // namespace

std::string_view Pattern::slice(uint64_t offset, size_t most) const {
    if (offset >= m_size)
        return {};
    const auto begin = static_cast<size_t>((offset % kPeriod + m_seed * kSeedStep) % kPeriod);
    const uint64_t left = std::min<uint64_t>(m_size - offset, 2 * kPeriod - begin);
    return {block().data() + begin, static_cast<size_t>(std::min<uint64_t>(left, most))};
}

std::string Pattern::part(uint64_t first, uint64_t count) const {
    std::string result;
    const uint64_t end = first + std::min(count, m_size - std::min(first, m_size));
    while (first < end) {
        const std::string_view piece = slice(first, static_cast<size_t>(end - first));
        result += piece;
        first += piece.size();
    }
    return result;
}

void BodyChecker::add(const void* data, size_t size) {
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const std::string_view expected = m_body.slice(m_position, size);
        if (expected.empty() || std::memcmp(expected.data(), next, expected.size()) != 0) {
            m_intact = false;
            m_position += size;
            return;
        }
        next += expected.size();
        size -= expected.size();
        m_position += expected.size();
    }
}

} // namespace test
