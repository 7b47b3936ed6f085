#include "MediaTimeline.h"

#include <hastool/media/MediaClock.h>
#include <hastool/media/WebVtt.h>

#include <algorithm>
#include <cmath>

namespace hastool {

void MediaTimeline::enter(const MediaPiece& piece) {
    if (m_clockStarts.empty() || piece.discontinuity)
        m_clockStarts.emplace_back();
}

void MediaTimeline::add(const MediaPiece& piece, const std::string& init,
                        const std::string& media) {
    enter(piece);
    if (!m_start)
        m_start = piece.start;
    auto& clockStart = m_clockStarts.back();
    if (!clockStart) {
        if (const auto time = firstTimestamp(init, media))
            clockStart = *time - std::llround(m_joined * kCueClock);
    }
    m_joined += piece.seconds;
}

/// A stretch that was not played goes by the last one that was.
int64_t MediaTimeline::clockStart(size_t stretch) const {
    for (size_t i = std::min(stretch + 1, m_clockStarts.size()); i-- > 0;) {
        if (m_clockStarts[i])
            return *m_clockStarts[i];
    }
    return 0;
}

} // namespace hastool
