#include "PesTimes.h"

namespace hastool {
namespace {

constexpr size_t kFixedHeader = 9;
constexpr size_t kTimeSize = 5;
constexpr int64_t kPeriod = int64_t{1} << 33;

uint64_t timeAt(const unsigned char* data) {
    return uint64_t{data[0] & 0x0EU} << 29 | uint64_t{data[1]} << 22 |
           uint64_t{data[2] & 0xFEU} << 14 | uint64_t{data[3]} << 7 | uint64_t{data[4]} >> 1;
}

} // namespace

std::optional<PesTimes> readPesTimes(const unsigned char* data, size_t size) {
    if (size < kFixedHeader || data[0] != 0 || data[1] != 0 || data[2] != 1)
        return std::nullopt;
    const unsigned id = data[3];
    const bool isMedia = (id & 0xE0) == 0xC0 || (id & 0xF0) == 0xE0 || id == 0xBD || id == 0xFD;
    if (!isMedia || (data[6] & 0xC0) != 0x80)
        return std::nullopt;
    PesTimes times;
    times.payloadAt = kFixedHeader + data[8];
    const bool hasTime = (data[7] & 0x80) != 0;
    const bool hasBoth = (data[7] & 0xC0) == 0xC0;
    if (hasTime && data[8] >= kTimeSize && size >= kFixedHeader + kTimeSize)
        times.presented = times.decoded = timeAt(data + kFixedHeader);
    if (hasBoth && data[8] >= 2 * kTimeSize && size >= kFixedHeader + 2 * kTimeSize)
        times.decoded = timeAt(data + kFixedHeader + kTimeSize);
    return times;
}

int64_t LongClock::extend(uint64_t time) {
    int64_t value = static_cast<int64_t>(time % static_cast<uint64_t>(kPeriod));
    if (m_last) {
        const int64_t ahead = (value - *m_last) % kPeriod;
        const int64_t positive = ahead < 0 ? ahead + kPeriod : ahead;
        value = *m_last + (positive >= kPeriod / 2 ? positive - kPeriod : positive);
    }
    m_last = value;
    return value;
}

} // namespace hastool
