// The time that a play goes by.
#pragma once

#include <hastool/base/TimeSource.h>

#include <chrono>

namespace hastool {

/// Tells a play the time: the machine's, or one that passes as quickly as it is computed.
class Clock {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    virtual ~Clock() = default;
    /// For intervals; never set back.
    virtual TimePoint steady() const = 0;
    /// Since the epoch, as the bandwidth checker counts.
    virtual long long milliseconds() const = 0;

    /// The same time for a presentation; the clock is borrowed.
    TimeSource source() const {
        TimeSource source;
        source.steady = [this] { return steady(); };
        source.wall = [this] { return static_cast<double>(milliseconds()) / 1000; };
        return source;
    }
};

} // namespace hastool
