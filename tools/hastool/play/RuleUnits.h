// The figures of a play as the library's switchers take them.
#pragma once

#include "StreamRule.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>

namespace hastool {

/// Whole milliseconds, from 0 to what the type holds.
inline unsigned int inMs32(StreamRule::Time time) {
    using std::chrono::milliseconds;
    constexpr long long kMost = std::numeric_limits<unsigned int>::max();
    const long long count = std::chrono::duration_cast<milliseconds>(time).count();
    return static_cast<unsigned int>(std::clamp(count, 0LL, kMost));
}

/// A size, cut to what the type holds.
inline unsigned int inBytes32(uint64_t bytes) {
    return static_cast<unsigned int>(
        std::min<uint64_t>(bytes, std::numeric_limits<unsigned int>::max()));
}

} // namespace hastool
