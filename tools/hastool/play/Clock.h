// The time that a play goes by.
#pragma once

#include <hastool/base/TimeSource.h>

#include <chrono>

namespace hastool {

/// Tells a play the time: the machine's, or a virtual one that jumps to the next event.
class Clock {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    virtual ~Clock() = default;
    /// For intervals; never set back.
    virtual TimePoint steady() const = 0;
    /// Milliseconds since the epoch, as the bandwidth checker counts.
    virtual long long milliseconds() const = 0;

    /// The same time as a TimeSource, which borrows this clock.
    TimeSource source() const {
        TimeSource source;
        source.steady = [this] { return steady(); };
        source.wall = [this] { return static_cast<double>(milliseconds()) / 1000; };
        return source;
    }
};

} // namespace hastool
