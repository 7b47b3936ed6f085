// From what a DASH manifest says to the list of segments.
#pragma once

#include "ByteRange.h"
#include "DashManifest.h"
#include "SegmentIndex.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// One segment of a representation.
struct DashSegment {
    double start = 0; ///< seconds since the begin of the presentation
    double seconds = 0;
    uint64_t number = 0;
    uint64_t time = 0; ///< in units of the timescale, as the URL has it
    std::string
        media; ///< as written; empty for the BaseURL itself. A template is not expanded yet.
    std::optional<ByteRange> range;
};

/// The stretch of the presentation whose segments there are, in seconds.
struct DashWindow {
    double from = 0;
    double until = std::numeric_limits<double>::infinity();
};

/// The most that is listed at once; of a longer stretch the last ones are.
constexpr uint64_t kMaxDashSegments = 500000;

/// Lists the segments of one representation that lie in the window whole, in order. With a duration
/// alone, and no end of the period or the window, there are none.
/// @param index  what the representation's index range holds; null when there is none
/// @param where  names the manifest in messages. @throws ToolError for numbers that overflow
std::vector<DashSegment> listDashSegments(const DashAddressing& addressing,
                                          const DashPeriod& period, const DashWindow& window,
                                          const SegmentIndex* index, const std::string& where);

} // namespace hastool
