// How fast a computed line is, over time.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

namespace hastool {

/// A rate that holds from a moment on.
struct LineRate {
    std::chrono::milliseconds begin{0}; ///< when the rate begins, from the begin of the line
    uint64_t bitsPerSecond = 0;
};

/// In ascending order, the first from 0; the last one holds for ever.
using LineRates = std::vector<LineRate>;

} // namespace hastool
