#include "RenditionFigures.h"

#include <algorithm>

namespace hastool {

double rateOf(const CheckedSegment& segment) {
    constexpr double kBits = 8;
    if (!segment.isFetched || !segment.answer.ok || segment.seconds <= 0)
        return 0;
    return static_cast<double>(segment.answer.bytes) * kBits / segment.seconds;
}

RenditionFigures figuresOf(const CheckedRendition& rendition) {
    constexpr double kBits = 8;
    RenditionFigures figures;
    figures.segments = rendition.segments.size();
    for (const CheckedSegment& segment : rendition.segments) {
        figures.longest = std::max(figures.longest, segment.seconds);
        if (!segment.isFetched || !segment.answer.ok)
            continue;
        ++figures.fetched;
        figures.seconds += segment.seconds;
        figures.bytes += segment.answer.bytes;
        figures.peak = std::max(figures.peak, rateOf(segment));
    }
    if (figures.seconds > 0)
        figures.mean = static_cast<double>(figures.bytes) * kBits / figures.seconds;
    return figures;
}

} // namespace hastool
