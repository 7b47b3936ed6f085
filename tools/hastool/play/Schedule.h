// Which track goes on, and when.
#pragma once

#include "PlayOptions.h"
#include "TrackFeed.h"

#include <deque>

namespace hastool {

/// Fetches all tracks at the same time, each with one transfer at most, until they have ended or
/// enough was fetched. A track whose buffer is full begins a piece, whose transfer is then held,
/// only when every other track is full too and nothing is under way; where the rule does not choose
/// when the buffer is full, it begins none.
class Schedule {
public:
    /// All are borrowed.
    Schedule(const PlayOptions& options, const TrackFeed::Parts& parts,
             std::deque<PlayTrack>& tracks);

    /// Whether there is anything left to fetch.
    bool wantsMore() const;
    /// Does all that can be done now. @throws ToolError when the play cannot go on
    void run();

private:
    void moveOn();
    void digest();
    bool hasAll(const PlayTrack& track) const;
    bool mayAsk(const PlayTrack& track) const;
    bool isFull(const PlayTrack& track) const;
    bool isAhead(const PlayTrack& track) const;
    bool isBusy() const;
    bool waitsForRoom(const PlayTrack& track) const;
    uint64_t begun() const;
    TrackFeed* findReady();
    TrackFeed* pick();

    const PlayOptions& m_options;
    const Clock& m_clock;
    const Journal& m_journal;
    const PlaybackBuffer& m_buffer;
    const Adaptation& m_adaptation;
    std::deque<TrackFeed> m_feeds; ///< a deque, as transfers write into feeds, which must not move
};

} // namespace hastool
