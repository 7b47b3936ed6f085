/// @file
/// The interface of what chooses the next stream.
#pragma once

#include <Hascommon/Export.h>
#include <Hasnet/IBandwidthChecker.h>
#include <Hasnet/bitrateParam_t.h>

#include <utility>
#include <vector>

namespace hascommon {

/// With which stream the engine wants to begin. The switcher keeps it for the engine and makes no
/// use of it.
enum ENUM_START_BITRATE_LEVEL {
    START_BITRATE_LEVEL_DEFAULT = 0,
    START_BITRATE_LEVEL_LOWEST = 1,
    START_BITRATE_LEVEL_MIDDLE = 2,
    START_BITRATE_LEVEL_HIGHEST = 3
};

/// Chooses the stream of the next segment; AdaptiveSegSwitcher and HybridSegSwitcher implement it.
///
/// Streams are named by their index in an ascending list of bitrates (bits per second).
///
/// **Order of calls.** Init(); SetSwitchParam(), SetBitrateLimit(), SetAudioBitrate() and
/// ResetData() as the engine learns them; then ProcessAdaptiveSeg() once a segment and
/// ProcessAdaptiveSegLevel() as the buffer changes.
///
/// **Threads.** All operations may be called from any thread.
class HAS_API IBitrateSwitcher {
public:
    virtual ~IBitrateSwitcher();

    /// Begins afresh; the stream list and the limits stay.
    /// @param checker  borrowed until the next Init() or the end of the switcher; with null the
    ///                 stream never changes
    virtual void Init(IBandwidthChecker* checker) = 0;

    /// Sets the streams.
    /// @param streamBitrates  bits per second, ascending
    /// @param upIgnoresLevel  whether a draining buffer does not keep from going up
    virtual void ResetData(const std::vector<int>& streamBitrates, bool upIgnoresLevel) = 0;

    /// @param upTimer     seconds that a change to a higher group waits, and by which this grows
    ///                    each time it proves premature; 0 for no waiting
    /// @param marginKbps  bandwidth kept free, in kbit/s; 0 for about a tenth of the bitrate
    virtual void SetSwitchParam(int upTimer, int marginKbps) = 0;

    /// Chooses the stream of the next segment.
    /// @param curIndex          the present one; any value, none reads outside the list
    /// @param bufferDurationMs  milliseconds of media in the buffer
    /// @return the stream to change to, -1 to stay; no other negative number
    virtual int ProcessAdaptiveSeg(int curIndex, unsigned int bufferDurationMs) = 0;

    /// Tells how the buffer does. While it drains below 8 s the level rises from 1 to at most 4,
    /// and above 2 there is no way up.
    /// @param bufferedBytes     for the log
    /// @param bufferDurationMs  milliseconds of media in the buffer
    /// @param noLevelRaise      draining is expected now
    virtual void ProcessAdaptiveSegLevel(unsigned int bufferedBytes, unsigned int bufferDurationMs,
                                         bool noLevelRaise) = 0;

    /// @param bandwidth  bits per second
    /// @param curIndex   the present stream; -2 when there is none yet
    /// @return the highest stream that fits, but at most one above the present one; the lowest
    ///         bitrate's where none fits; 0 without streams
    virtual int GetSatisfiedStreamIndex(int bandwidth, int curIndex) = 0;

    /// @return the highest index with exactly this bitrate, -1 where there is none
    virtual int GetMatchingStreamIndex(int bitrate) = 0;

    /// Switching is on after Init().
    virtual void SetEnableSwitch(bool enable) = 0;
    virtual bool GetEnableSwitch() = 0;

    /// Sets the limits; both are copied.
    /// @param params  the groups and classes of bitrates
    /// @param ranges  allowed bitrates, from first to second inclusive
    virtual void SetBitrateLimit(const std::vector<bitrateParam_t>& params,
                                 const std::vector<std::pair<int, int>>& ranges) = 0;

    /// @return whether there are params; ranges do not count
    virtual bool HasBitrateLimit() = 0;

    /// @return whether a range or an entry of the params allows the bitrate, or there are neither
    virtual bool CheckBitrateLimit(int bitrate) = 0;

    /// @param bitrate  bits per second of the audio that comes on top of each stream
    virtual void SetAudioBitrate(int bitrate) = 0;
    virtual int GetAudioBitrate() = 0;

    /// @name Kept for the engine
    /// @{
    virtual int GetStartBitrate() = 0;
    virtual void SetStartBitrate(int bitrate) = 0;
    virtual void SetStartBitrateLevel(ENUM_START_BITRATE_LEVEL level) = 0;
    virtual ENUM_START_BITRATE_LEVEL GetStartBitrateLevel() = 0;
    /// @}
};

} // namespace hascommon
