// What came of a simulated play.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace hastool {

/// A segment of a simulated play.
struct SimulatedSegment {
    double begun = 0; ///< seconds since the play began, when it was asked for
    double time = 0;  ///< when it was there
    size_t stream = 0;
    uint64_t bytes = 0;
    double buffer = 0;   ///< seconds of media when it was there, with this segment
    double stalled = 0;  ///< seconds that play stood still while it came
    int givenUp = 0;     ///< transfers of it that were given up
    uint64_t wasted = 0; ///< bytes of those
};

/// What a viewer had of a play. Means are over the whole time, standing still included.
struct PlayFigures {
    double time = 0;        ///< seconds, from the first request to the end of play
    double meanBitrate = 0; ///< of what was played, bits per second
    double utility = 0;     ///< the natural logarithm of the bitrate over the lowest one
    double stallRatio = 0;  ///< part of the time that play stood still after its begin
    double score = 0;       ///< utility - 5 * stallRatio
    int stalls = 0;
    double stallTime = 0; ///< seconds
    double startup = 0;   ///< seconds
    int switches = 0;     ///< as they were played
    double change = 0;    ///< bits per second that the bitrate changes by from segment to segment,
                          ///< over the whole time
    int givenUp = 0;      ///< transfers
    uint64_t bytes = 0;   ///< of the segments played
    uint64_t wasted = 0;  ///< bytes of transfers that were given up
};

/// A play, its trace and its rule.
struct SimulatedRun {
    std::string set; ///< of the trace
    std::string trace;
    std::string rule;
    PlayFigures figures;
    std::vector<SimulatedSegment> segments;
};

} // namespace hastool
