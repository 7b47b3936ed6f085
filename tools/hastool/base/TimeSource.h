// The clocks that live presentations go by.
#pragma once

#include <chrono>
#include <functional>

namespace hastool {

/// Tells the time. A test that has to know what a live manifest lists at a moment, or does not want
/// to wait for what comes next, puts clocks of its own here.
struct TimeSource {
    using Steady = std::chrono::steady_clock;

    /// The machine's clocks.
    TimeSource();

    std::function<Steady::time_point()> steady; ///< for intervals; never set back
    std::function<double()> wall;               ///< seconds since the epoch
};

} // namespace hastool
