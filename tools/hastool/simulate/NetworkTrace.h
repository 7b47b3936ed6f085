// The line of a simulation.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace hastool {

/// A stretch of time with one rate.
struct TracePeriod {
    std::chrono::microseconds duration{0};
    double bitsPerSecond = 0;             ///< 0 while nothing gets through
    std::chrono::microseconds latency{0}; ///< from a request to the first byte of its answer
};

/// A line's rate over time, which begins again with the first period when the last one is over.
struct NetworkTrace {
    std::string name;
    std::string set; ///< the folder that it came from; empty where it was named alone
    std::vector<TracePeriod> periods;
};

} // namespace hastool
