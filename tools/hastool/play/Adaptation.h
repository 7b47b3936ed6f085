// The choice of a stream.
#pragma once

#include "PacedTraffic.h"
#include "PlayOptions.h"
#include "PlayTrack.h"
#include "PlaybackBuffer.h"
#include "StreamChoice.h"

#include <Hasnet/AdaptiveSegSwitcher.h>
#include <Hasnet/BandwidthChecker.h>

#include <chrono>
#include <deque>

namespace hastool {

/// Measures the bandwidth and lets the library's switcher choose among the streams that are
/// allowed.
class Adaptation {
public:
    /// The observer to tell of all bytes that come in.
    PacedTraffic& traffic() { return m_traffic; }
    /// Begins to measure. @param now  milliseconds since the epoch, here and below
    void start(long long now);
    /// Takes a new measurement when one is due. @return whether it was
    bool poll(long long now);
    /// How long it is until the next measurement is due.
    std::chrono::milliseconds untilPoll(long long now);
    /// Sets the switcher up for the first track, and puts all tracks at the streams that they begin
    /// with. @throws ToolError when the limits allow no stream
    void configure(const PlayOptions& options, std::deque<PlayTrack>& tracks);

    /// Which stream the main track's next piece should be of.
    StreamChoice choose(const PlayTrack& main, const PlaybackBuffer& buffer);
    /// A piece of the main track has come into the buffer.
    void taken(const PlaybackBuffer& buffer);

    /// The best sample of the window, and its mean, in bits per second; 0 until measured.
    unsigned bandwidth() { return m_checker.GetCurrentBandwidth(); }
    unsigned mean() { return m_checker.GetCurrentAvgBandwidth(); }

private:
    hascommon::BandwidthChecker m_checker;
    PacedTraffic m_traffic{m_checker};
    hascommon::AdaptiveSegSwitcher m_switcher;
    long long m_lastPoll = 0;
};

} // namespace hastool
