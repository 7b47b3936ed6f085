// The choice of a stream.
#pragma once

#include "PlayOptions.h"
#include "PlayTrack.h"
#include "PlaybackBuffer.h"
#include "StreamChoice.h"

#include <Hasnet/AdaptiveSegSwitcher.h>
#include <Hasnet/BandwidthChecker.h>

#include <chrono>
#include <deque>

namespace hastool {

/// Measures what comes in and lets the library's switcher choose among the streams that are
/// allowed.
class Adaptation {
public:
    /// Takes what comes in.
    hascommon::IDownloadEvent& traffic() { return m_checker; }
    /// Begins to measure. @param now  milliseconds since the epoch, here and below
    void start(long long now);
    /// Measures anew when that is due. @return whether it was
    bool poll(long long now);
    /// How long it is until then.
    std::chrono::milliseconds untilPoll(long long now);
    /// Tells the switcher the tracks, the first of which it chooses for, and puts all of them at
    /// the streams to begin with. @throws ToolError when the limits allow none
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
    hascommon::AdaptiveSegSwitcher m_switcher;
    long long m_lastPoll = 0;
};

} // namespace hastool
