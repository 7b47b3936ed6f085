// What a play tells.
#pragma once

#include "TraceRow.h"

#include <string>

namespace hastool {

/// How a play stands.
struct PlayStatus {
    double position = 0; ///< seconds of media played
    double buffer = 0;   ///< seconds of media ahead
    int bitrate = 0;
    std::string resolution; ///< "640x360"; empty until known
    unsigned bandwidth = 0; ///< mean, bits per second; 0 until measured
    int switches = 0;
    bool stalled = false;
    bool paused = false;     ///< by the viewer
    double liveDistance = 0; ///< seconds behind the live edge; 0 where there is none
};

/// One measurement. They are taken whenever the bandwidth is polled; when a stall, a pause or the
/// holding of transfers begins or ends; and at the end.
struct PlaySample {
    double time = 0;        ///< seconds since the play began
    unsigned bandwidth = 0; ///< the best sample of the checker's window, bits per second
    unsigned mean = 0;      ///< the window's mean
    double buffer = 0;      ///< seconds
    double position = 0;    ///< seconds
    int bitrate = 0;        ///< of the chosen stream
    bool playing = false;
    bool transferHeld = false; ///< the buffer is full, or the viewer pauses
    bool stalled = false;      ///< play has begun before and now waits for media
    bool paused = false;       ///< by the viewer
    double liveDistance = 0;   ///< seconds behind the live edge; 0 where there is none
};

/// Is told what happens, on the thread that plays.
class PlayObserver {
public:
    virtual ~PlayObserver() = default;
    virtual void onStatus(const PlayStatus& status) = 0;
    virtual void onSegment(const TraceRow& row) = 0;
    virtual void onSample(const PlaySample& sample) = 0;
    /// A callback of the player was called, or something happened that is worth a line.
    /// @param kind  "discontinuity", "event", "drm-error", "pause", "retry", "stall" and others
    virtual void onEvent(double time, const std::string& kind, const std::string& what) = 0;
    /// @param time      seconds since the play began
    /// @param from, to  bits per second
    virtual void onSwitch(double time, int from, int to) = 0;
    /// The first segment of a stream has come, after the begin or a switch, and its resolution is
    /// known. @param resolution  "640x360"
    virtual void onRendition(double time, int bitrate, const std::string& resolution) = 0;
    /// Something went wrong that does not end the play.
    virtual void onTrouble(const std::string& what) = 0;
};

} // namespace hastool
