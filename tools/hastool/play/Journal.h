// What a play tells its observer, its trace and its summary.
#pragma once

#include "Clock.h"
#include "PlayObserver.h"
#include "PlayOptions.h"
#include "PlayTrack.h"
#include "PlayerCallbacks.h"
#include "Summary.h"
#include "Trace.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace hastool {

/// Tells the observer, writes the trace and counts for the summary.
class Journal {
public:
    /// The observer and the clock are borrowed; the play begins now. @throws ToolError when the
    /// trace cannot be written
    Journal(const PlayOptions& options, PlayObserver& observer, const Clock& clock);

    /// Names the track with the video, borrowed.
    void follow(const PlayTrack& main) { m_main = &main; }
    /// Seconds since the play began.
    double seconds() const;

    void event(const std::string& kind, const std::string& what);
    void trouble(const std::string& what) { m_observer.onTrouble(what); }
    void troubles(const std::vector<std::string>& all);
    /// A track goes on with another stream. @param from, to  bits per second
    void changed(int from, int to, bool isUp);
    /// The player comes to a piece of the main track.
    void reached(const MediaPiece& piece);
    /// An advertisement break begins or ends in the media. A begin within a break, and an end
    /// outside of one, say nothing new. @param position  seconds of media
    void breakBegins(double position);
    void breakEnds(double position);
    void refused(const std::string& what) { m_callbacks.hub().OnDRMErrorMsg(what.c_str()); }
    /// A segment of the main track is there; its resolution is known, or is not.
    void shown(const TraceRow& row);
    void transferred(const Outcome& outcome);
    /// A transfer of a piece was given up for a lower stream. @param bytes  that it had brought
    void gaveUp(const std::string& what, uint64_t bytes);
    void taken(uint64_t bytes);
    /// Counts media of the main track for the mean bitrate.
    void chosen(double seconds, int bitrate);
    void skipped(uint64_t pieces) { m_summary.skipped += pieces; }
    void row(const TraceRow& row);
    /// A segment of the subtitles has come, or was left out.
    void subtitle(const TraceRow& row);

    /// Records what has begun or ended since the last sample; does nothing while all is the same.
    void watch(const PlaySample& now);
    void sample(const PlaySample& now);
    /// Tells the observer the status, a few times a second at most.
    void show(const PlaySample& now);

    /// Sets how to measure what PlaySample::liveDistance is.
    void measureDistance(std::function<double()> distance) { m_distance = std::move(distance); }
    double liveDistance() const { return m_distance ? m_distance() : 0; }

    /// Segments that were taken in.
    uint64_t segments() const { return m_summary.segments; }
    /// What was counted so far.
    Summary counts() const;
    /// Gives the trace its name. @throws ToolError when that fails
    void commit();

private:
    void watchStall(const PlaySample& now);
    void tellDistance(double distance);
    unsigned long long pts() const;
    void adStart(unsigned long long pts);
    void adEnd(unsigned long long pts);

    PlayObserver& m_observer;
    const Clock& m_clock;
    std::optional<Trace> m_trace;
    PlayerCallbacks m_callbacks;
    const PlayTrack* m_main = nullptr;
    Summary m_summary;
    std::function<double()> m_distance;
    double m_toldDistance = 0; ///< to the live edge, seconds
    double m_distances = 0;    ///< all that were measured while media was played
    uint64_t m_distanceCount = 0;
    double m_bitSeconds = 0;  ///< bitrates of the main track's pieces times their durations
    double m_mainSeconds = 0; ///< durations of these pieces
    PlaySample m_lastSample;
    bool m_isStallTold = false; ///< a stall's begin was told, and its end not yet
    double m_stallBegun = 0;
    bool m_isInBreak = false;        ///< of advertisements
    bool m_hasDateTime = false;      ///< the first date of the media was told
    size_t m_shownStream = SIZE_MAX; ///< the stream whose resolution was told last
    Clock::TimePoint m_begun;
    Clock::TimePoint m_lastStatus;
};

} // namespace hastool
