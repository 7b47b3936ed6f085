// How far a track of a DASH presentation has been read.
#pragma once

#include "DashManifest.h"
#include "DashSegments.h"
#include <hastool/formats/LiveWait.h>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace hastool {

/// A segment of a representation in a period of the current manifest.
struct DashFound {
    size_t period = 0;
    const DashRepresentation* representation = nullptr;
    DashSegment segment;
};

/// The place of one track: none until it joins, then behind the last segment that was handed out.
class DashReading {
public:
    explicit DashReading(LiveWait itsWait)
        : wait(std::move(itsWait)) {}

    bool isJoined() const { return m_isJoined; }
    /// Goes to a time, to be read from there on.
    void join(double time);
    /// Gives the place up, so that the track joins anew.
    void leave() { m_isJoined = false; }

    /// Seconds of the presentation before the next segment.
    double time() const { return m_time; }
    /// The period that the track reads, or will read next.
    size_t period() const { return m_period; }

    /// The segment that comes next in a period, which is the track's own or a later one. In the
    /// representation that was read last it is the one behind the last segment; in another
    /// representation the one that follows in time. A new period is read from its begin, even if
    /// the last segment of the period before reached into it.
    std::optional<DashSegment> next(const DashPeriod& period, size_t number,
                                    const DashRepresentation& representation,
                                    const DashSegmentList& list, const DashWindow& window) const;
    /// Whether a period lies before the place, so that nothing of it is to be read.
    bool isBehind(const DashPeriod& period) const;
    /// Whether a segment of another period than the last one breaks the track's time.
    bool isBreak(const DashFound& found) const { return !m_isFirst && found.period != m_period; }
    /// How many segments there should have been between the place and a segment.
    uint64_t lostBefore(const DashFound& found, const DashPeriod& period) const;
    /// Puts the place behind a segment.
    void moveBehind(const DashFound& found, const DashPeriod& period);
    /// Finds the place in a manifest that was loaded again: it may have lost periods at its begin,
    /// or have new ones in between.
    void findIn(const std::vector<DashPeriod>& periods);

    LiveWait wait; ///< one per track, so that a track that stands still is noticed

private:
    double m_time = 0;
    size_t m_period = 0;
    std::string m_periodId; ///< with the start, tells that period in a manifest loaded again
    double m_periodStart = 0;
    bool m_hasBegun = false; ///< a segment of that period was handed out; these two are of it:
    std::string m_representation;
    DashSegment m_last;
    bool m_isJoined = false;
    bool m_isFirst = true; ///< nothing was handed out since the track joined
};

} // namespace hastool
