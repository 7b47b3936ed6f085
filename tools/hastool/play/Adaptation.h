// The choice of a stream.
#pragma once

#include "PacedTraffic.h"
#include "PlayOptions.h"
#include "PlayTrack.h"
#include "PlaybackBuffer.h"
#include "SegmentWatch.h"
#include "StreamChoice.h"
#include "StreamRule.h"

#include <Hasnet/BandwidthChecker.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

namespace hastool {

/// Measures the bandwidth, lets a rule choose among the streams that are allowed, and tells it of
/// the main track's transfers.
class Adaptation {
public:
    /// @param rule   see makeStreamRule()
    /// @param clock  borrowed. @throws ToolError for a rule that cannot be had
    Adaptation(const std::string& rule, const Clock& clock);

    /// The observer to tell of all bytes that come in.
    PacedTraffic& traffic() { return m_traffic; }
    /// Begins to measure. @param now  milliseconds since the epoch, here and below
    void start(long long now);
    /// Takes a new measurement when one is due. @return whether it was
    bool poll(long long now);
    /// How long it is until the next measurement is due.
    std::chrono::milliseconds untilPoll(long long now);
    /// Sets the rule up for the first track, and puts all tracks at the streams that they begin
    /// with. @throws ToolError when the limits allow no stream
    void configure(const PlayOptions& options, std::deque<PlayTrack>& tracks);
    /// Transfers are held from now on, or go on.
    void hold(bool held) { m_watch.hold(held); }
    /// See StreamRule.
    bool choosesWhenFull() const { return m_rule->choosesWhenFull(); }

    /// Which stream the main track's next piece should be of.
    /// @param next  its sizes are those of all the track's streams
    StreamChoice choose(const PlayTrack& main, StreamRule::NextSegment next,
                        const PlaybackBuffer& buffer);
    /// The transfer of a piece of the main track begins.
    void begun(const PlayTrack& main, const MediaPiece& piece, const PlaybackBuffer& buffer);
    /// How the transfer does. To be called for those only that can be given up.
    /// @param received, expected  see Fetcher
    /// @return the stream that the piece is to be fetched of instead; nothing to go on
    std::optional<size_t> progress(const PlayTrack& main, uint64_t received, uint64_t expected,
                                   const PlaybackBuffer& buffer);
    /// A piece of the main track has come into the buffer.
    void taken(const MediaPiece& piece, const Outcome& outcome, const PlaybackBuffer& buffer);

    /// The best sample of the window, and its mean, in bits per second; 0 until measured.
    unsigned bandwidth() { return m_checker.GetCurrentBandwidth(); }
    unsigned mean() { return m_checker.GetCurrentAvgBandwidth(); }

private:
    void tellArrival(const MediaPiece& piece, const Outcome& outcome, const PlaybackBuffer& buffer);

    hascommon::BandwidthChecker m_checker;
    PacedTraffic m_traffic{m_checker};
    const std::unique_ptr<StreamRule> m_rule;
    SegmentWatch m_watch;
    PacedTraffic::Flow m_flowBefore; ///< the piece that is under way
    long long m_lastPoll = 0;
};

} // namespace hastool
