// A rendition in figures.
#pragma once

#include "Evidence.h"

#include <cstddef>
#include <cstdint>

namespace hastool {

/// What was measured of the segments that were had.
struct RenditionFigures {
    size_t segments = 0; ///< that there are
    size_t fetched = 0;
    double seconds = 0; ///< of those fetched, as declared
    uint64_t bytes = 0;
    double peak = 0;    ///< bits per second, of the segment with the most
    double mean = 0;    ///< bits per second
    double longest = 0; ///< seconds, of all segments
};

RenditionFigures figuresOf(const CheckedRendition& rendition);

/// The bits per second of one segment; 0 where that is not known.
double rateOf(const CheckedSegment& segment);

} // namespace hastool
