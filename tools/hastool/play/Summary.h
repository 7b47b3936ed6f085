// What a play came to.
#pragma once

#include "Renditions.h"

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace hastool {

/// The figures of a whole play; times in seconds.
struct Summary {
    std::string url;
    bool live = false;
    size_t streams = 0;
    std::vector<int> ladder; ///< bitrates of the streams in bits per second, ascending
    double played = 0;
    double wallTime = 0;
    double startupTime = 0;
    uint64_t segments = 0;
    uint64_t skipped = 0;
    uint64_t bytes = 0;     ///< of media
    double meanBitrate = 0; ///< of the streams chosen, weighted by time
    int switchesUp = 0;
    int switchesDown = 0;
    int stalls = 0;
    double stallTime = 0;
    uint64_t givenUp = 0; ///< transfers that were given up for a lower stream
    uint64_t wasted = 0;  ///< bytes that these had brought
    uint64_t downloads = 0;
    uint64_t retries = 0;
    double liveDistance = 0; ///< mean distance to the live edge; 0 where it was never measured
    unsigned bandwidth = 0;  ///< the last mean measured, bits per second
    std::vector<PlayedRendition> renditions; ///< in the order of their first segments
    uint64_t subtitles = 0;                  ///< segments of them
    uint64_t subtitlesSkipped = 0;           ///< that could not be had, or not be used
    std::string output;
    std::string subtitleOutput; ///< the file; empty where there is none
    std::string trace;
};

/// The figures as a few lines of text, with units.
std::string toText(const Summary& summary);
nlohmann::ordered_json toJson(const Summary& summary);

} // namespace hastool
