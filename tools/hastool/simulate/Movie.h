// The media of a simulation.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace hastool {

/// What a play fetches, as sizes only.
struct Movie {
    struct Segment {
        std::chrono::microseconds duration{0};
        std::vector<uint64_t> bytes; ///< of each stream
    };

    std::string name;
    std::vector<int> bitrates; ///< of the streams, bits per second, ascending
    std::vector<Segment> segments;
};

} // namespace hastool
