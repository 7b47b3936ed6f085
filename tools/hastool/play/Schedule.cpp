#include "Schedule.h"

#include <hastool/base/Interrupt.h>

#include <algorithm>

namespace hastool {

Schedule::Schedule(const PlayOptions& options, const TrackFeed::Parts& parts,
                   std::deque<PlayTrack>& tracks)
    : m_options(options)
    , m_clock(parts.clock)
    , m_journal(parts.journal)
    , m_buffer(parts.buffer)
    , m_adaptation(parts.adaptation) {
    for (PlayTrack& track : tracks)
        m_feeds.emplace_back(parts, track);
}

bool Schedule::wantsMore() const {
    const bool hasAllSegments =
        m_options.maxSegments > 0 && m_journal.segments() >= m_options.maxSegments;
    return !hasAllSegments && !isInterrupted() &&
           std::any_of(m_feeds.begin(), m_feeds.end(),
                       [&](const TrackFeed& feed) { return !hasAll(feed.track()); });
}

void Schedule::run() {
    try {
        moveOn();
    } catch (const ToolError&) {
        digest(); // What has come is written even if nothing follows.
        throw;
    }
    digest();
}

void Schedule::moveOn() {
    for (TrackFeed& feed : m_feeds)
        feed.progress();
    for (;;) {
        if (TrackFeed* const ready = findReady())
            ready->proceed();
        else if (TrackFeed* const next = pick())
            next->ask();
        else
            return;
    }
}

void Schedule::digest() {
    for (TrackFeed& feed : m_feeds)
        feed.digest();
}

TrackFeed* Schedule::findReady() {
    const auto found = std::find_if(m_feeds.begin(), m_feeds.end(), [](const TrackFeed& feed) {
        return !feed.isIdle() && feed.isReady();
    });
    return found == m_feeds.end() ? nullptr : &*found;
}

/// Of the idle tracks that may be asked now, the one that was read least far; null when there is
/// no such track.
TrackFeed* Schedule::pick() {
    if (!wantsMore() || (m_options.maxSegments > 0 && begun() >= m_options.maxSegments))
        return nullptr;
    TrackFeed* best = nullptr;
    for (TrackFeed& feed : m_feeds) {
        const PlayTrack& track = feed.track();
        if (!feed.isIdle() || !mayAsk(track) || isAhead(track) || waitsForRoom(track))
            continue;
        if (best == nullptr || track.seconds < best->track().seconds)
            best = &feed;
    }
    return best;
}

/// The number of segments taken in, and of those that may still come from busy tracks.
uint64_t Schedule::begun() const {
    const auto busy = std::count_if(m_feeds.begin(), m_feeds.end(),
                                    [](const TrackFeed& feed) { return !feed.isIdle(); });
    return m_journal.segments() + static_cast<uint64_t>(busy);
}

bool Schedule::hasAll(const PlayTrack& track) const {
    return track.ended || (m_options.duration > 0 && track.seconds >= m_options.duration);
}

bool Schedule::mayAsk(const PlayTrack& track) const {
    return !hasAll(track) && track.askAt <= m_clock.steady();
}

bool Schedule::isFull(const PlayTrack& track) const {
    return m_buffer.trackLevel(track.number) >= m_options.bufferGoal;
}

/// Whether anything is under way. What is held then comes out of the sockets' buffers at once,
/// which measures nothing: so no more than one piece is held.
bool Schedule::isBusy() const {
    return std::any_of(m_feeds.begin(), m_feeds.end(),
                       [](const TrackFeed& feed) { return !feed.isIdle(); });
}

/// A fast play drains its buffer only as media comes, so that waiting would never end.
bool Schedule::waitsForRoom(const PlayTrack& track) const {
    const bool isHeldFirst = !m_adaptation.choosesWhenFull() && !m_options.fast;
    return isFull(track) && (isHeldFirst || isBusy());
}

bool Schedule::isAhead(const PlayTrack& track) const {
    return isFull(track) &&
           std::any_of(m_feeds.begin(), m_feeds.end(), [&](const TrackFeed& other) {
               return mayAsk(other.track()) && !isFull(other.track());
           });
}

} // namespace hastool
