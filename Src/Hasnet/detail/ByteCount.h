// Counts of body bytes.
#pragma once

#include <algorithm>
#include <cstdint>

namespace hascommon::detail {

/// The low 32 bits, which are what the engine's interfaces and log lines carry.
inline unsigned int low32(long long value) {
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(value));
}

inline unsigned int low32(unsigned long long value) {
    return static_cast<std::uint32_t>(value);
}

/// libcurl's byte counts come as doubles; what is no count gives 0.
inline unsigned long long toBytes(double count) {
    constexpr double kMost = 9.0e18;
    if (!(count > 0))
        return 0;
    return static_cast<unsigned long long>(count < kMost ? count : kMost);
}

/// How much of a chunk is new to an owner who has `skip` bytes already: none while `received`
/// (chunk included) is within them, else at most what lies behind them.
inline unsigned int deliverableBytes(unsigned int size, unsigned long long received,
                                     unsigned long long skip) {
    if (skip == 0)
        return size;
    if (received <= skip)
        return 0;
    return static_cast<unsigned int>(std::min<unsigned long long>(size, received - skip));
}

} // namespace hascommon::detail
