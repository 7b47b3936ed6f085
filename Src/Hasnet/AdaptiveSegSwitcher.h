/// @file
/// The choice of the next stream.
#pragma once

#include <Hascommon/Export.h>
#include <Hascommon/RecursiveMutex.h>
#include <Hascommon/ThreadAnnotations.h>
#include <Hasnet/IBitrateSwitcher.h>

#include <atomic>
#include <cstdint>
#include <utility>
#include <vector>

namespace hascommon {

/// Changes streams by the measured bandwidth, one step up at a time.
///
/// A higher stream needs its bitrate times 1.25, the audio and a margin. Up to then:
/// - a jump of more than 512 kbit/s from above 512 kbit/s needs 5 s of buffer;
/// - while the buffer drains there is no way up (ProcessAdaptiveSegLevel());
/// - a stream of another group may be entered twice at once, then only when the bandwidth has held
///   for as long as the up timer. One that has to be left again soon makes the timer longer.
///
/// A lower stream is taken at once, unless 8 s or more are buffered.
///
/// Arithmetic on bitrates wraps at 32 bits.
///
/// Threads: all operations may be called from any thread. Decisions, levels and new lists exclude
/// each other; a setter takes effect with the next decision. The checker's getters are called with
/// the switcher's lock held.
class HAS_API AdaptiveSegSwitcher : public IBitrateSwitcher {
public:
    AdaptiveSegSwitcher();
    ~AdaptiveSegSwitcher() override;
    AdaptiveSegSwitcher(const AdaptiveSegSwitcher&) = delete;
    AdaptiveSegSwitcher& operator=(const AdaptiveSegSwitcher&) = delete;

    /// @name The owner's part, see IBitrateSwitcher
    /// @{

    void Init(IBandwidthChecker* checker) override;
    void ResetData(const std::vector<int>& streamBitrates, bool upIgnoresLevel) override;
    void SetSwitchParam(int upTimer, int marginKbps) override;
    /// Goes by the mean of the checker's window. Before the window has been full once, by four
    /// fifths of the newest sample, if that is at least six times the present bitrate; else it
    /// stays.
    int ProcessAdaptiveSeg(int curIndex, unsigned int bufferDurationMs) override;
    /// Does nothing until the checker has a bandwidth.
    void ProcessAdaptiveSegLevel(unsigned int bufferedBytes, unsigned int bufferDurationMs,
                                 bool noLevelRaise) override;
    /// A stream fits when GetEstimateBandwidth() of its bitrate is below the bandwidth.
    int GetSatisfiedStreamIndex(int bandwidth, int curIndex) override;
    int GetMatchingStreamIndex(int bitrate) override;
    void SetEnableSwitch(bool enable) override;
    bool GetEnableSwitch() override;
    /// A bitrate without an entry in `params` is free of groups and classes.
    void SetBitrateLimit(const std::vector<bitrateParam_t>& params,
                         const std::vector<std::pair<int, int>>& ranges) override;
    bool HasBitrateLimit() override;
    bool CheckBitrateLimit(int bitrate) override;
    void SetAudioBitrate(int bitrate) override;
    int GetAudioBitrate() override;
    int GetStartBitrate() override;
    void SetStartBitrate(int bitrate) override;
    void SetStartBitrateLevel(ENUM_START_BITRATE_LEVEL level) override;
    ENUM_START_BITRATE_LEVEL GetStartBitrateLevel() override;
    /// @}

    /// The bandwidth that a stream needs, in bits per second.
    ///
    /// The first stream of 1.28 Mbit/s or more, audio included, is judged without a margin and sets
    /// one of 128 kbit/s for all later calls, until SetSwitchParam() or Init(): this is meant.
    int GetEstimateBandwidth(int bitrate);

    /// Looks a bitrate up in what SetBitrateLimit() was given.
    /// @param out  receives the first entry of the limits for the bitrate
    /// @return whether there is one; `out` is untouched otherwise
    bool GetBitrateParam(int bitrate, bitrateParam_t& out);

    /// @name Whether a change is accepted
    /// @param cur     the present index; one that is not in the list is accepted as one without
    ///                limits
    /// @param target  the wanted index; CheckStreamUp() may lower it to one of the present group
    /// @{
    bool CheckStreamUp(int cur, int& target, unsigned int bufferDurationMs);
    bool CheckStreamDn(int cur, int& target, unsigned int bufferDurationMs);
    /// Asks the one that fits; false where both are equal.
    bool CheckStreamChange(int cur, int& target, unsigned int bufferDurationMs);
    /// @}

private:
    /// The limits of a present and of a wanted stream.
    struct Params {
        bitrateParam_t cur;
        bitrateParam_t target;
    };
    /// What came of a wish to go up.
    enum class Up {
        noParam,      ///< accepted: one of the two has no limits
        sameGroup,    ///< accepted
        otherClass,   ///< refused for good
        granted,      ///< accepted: one of the first two, or there is no timer
        withinGroup,  ///< accepted for a lower stream of the present group
        timerRuns,    ///< refused for now
        timerPassed,  ///< accepted: the bandwidth has held for long enough
        timerStarted, ///< refused for now; the timer starts
    };

    bool isIndex(int index) const HAS_REQUIRES(m_mutex);
    int bitrateAt(int index) const HAS_REQUIRES(m_mutex);
    /// Whether both streams have limits; `params` then holds them.
    bool findParams(int cur, int target, Params& params) HAS_REQUIRES(m_mutex);
    /// Whether the jump is a large one and the buffer too small for it.
    bool needsMoreBuffer(int cur, int target, unsigned int bufferDurationMs) const
        HAS_REQUIRES(m_mutex);
    Up decideUp(int cur, int& target, Params& params) HAS_REQUIRES(m_mutex);
    Up enterGroup(int cur, int& target, int group) HAS_REQUIRES(m_mutex);
    /// Lowers the target to the highest stream of the group above the present one.
    bool findWithinGroup(int cur, int& target, int group) HAS_REQUIRES(m_mutex);
    bool isPrematureUpgrade() const HAS_REQUIRES(m_mutex);
    int usableBandwidth(int curIndex) HAS_REQUIRES(m_mutex);
    /// Since the up timer was started or has passed last.
    std::int64_t upTimerSeconds() const HAS_REQUIRES(m_mutex);

    IBandwidthChecker* m_bwChecker HAS_GUARDED_BY(m_mutex) = nullptr;
    RecursiveMutex m_mutex;
    std::int64_t m_initTime HAS_GUARDED_BY(m_mutex) = 0;
    std::vector<bitrateParam_t> m_bitrateParams HAS_GUARDED_BY(m_mutex);
    std::vector<std::pair<int, int>> m_bitrateRanges HAS_GUARDED_BY(m_mutex);
    std::atomic<bool> m_enableSwitch{true};
    /// 1 to 4, higher the longer the buffer drains.
    std::int32_t m_level HAS_GUARDED_BY(m_mutex) = 1;
    std::uint32_t m_lastBufferDuration HAS_GUARDED_BY(m_mutex) = 0; ///< ms
    std::atomic<std::int32_t> m_audioBitrate{0};
    std::atomic<std::int32_t> m_startBitrate{0};
    std::atomic<ENUM_START_BITRATE_LEVEL> m_startBitrateLevel{START_BITRATE_LEVEL_DEFAULT};
    std::atomic<std::int32_t> m_marginKbps{0};  ///< 0 for about a tenth of the bitrate
    std::atomic<std::int32_t> m_upTimerStep{0}; ///< seconds that the timer grows by
    std::atomic<std::int32_t> m_upTimer{0};     ///< seconds
    /// How often another group was entered at once.
    std::int32_t m_upGrantCount HAS_GUARDED_BY(m_mutex) = 0;
    bool m_upTimerRunning HAS_GUARDED_BY(m_mutex) = false;
    std::int64_t m_upTimerStart HAS_GUARDED_BY(m_mutex) = 0;
    /// The present group was entered after a wait.
    bool m_upgradedByTimer HAS_GUARDED_BY(m_mutex) = false;
    std::vector<int> m_streamBitrates HAS_GUARDED_BY(m_mutex);
    bool m_upIgnoresLevel HAS_GUARDED_BY(m_mutex) = false;
    std::int32_t m_bitrateChangeCount HAS_GUARDED_BY(m_mutex) = 0; ///< for the log
};

} // namespace hascommon
