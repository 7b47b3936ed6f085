/// @file
/// The choice of the next stream by throughput and buffer together.
#pragma once

#include <Hascommon/Export.h>
#include <Hascommon/RecursiveMutex.h>
#include <Hascommon/ThreadAnnotations.h>
#include <Hasnet/IBitrateSwitcher.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace hascommon {

namespace detail {
class HybridRule;
} // namespace detail

/// Changes streams by the throughput of the segments so far and by the buffer, any number of steps
/// at a time, and gives up transfers that would outlast the buffer.
///
/// Threads: all operations may be called from any thread; they exclude each other, but for the
/// setters and getters of IBitrateSwitcher that keep one number. The checker's getters are called
/// with the switcher's lock held. Only the operations that set streams or limits take memory.
class HAS_API HybridSegSwitcher : public IBitrateSwitcher {
public:
    HybridSegSwitcher();
    ~HybridSegSwitcher() override;
    HybridSegSwitcher(const HybridSegSwitcher&) = delete;
    HybridSegSwitcher& operator=(const HybridSegSwitcher&) = delete;

    /// @name The owner's part, see IBitrateSwitcher
    /// @{

    void Init(IBandwidthChecker* checker) override;
    void ResetData(const std::vector<int>& streamBitrates, bool upIgnoresLevel) override;
    void SetSwitchParam(int upTimer, int marginKbps) override;
    int ProcessAdaptiveSeg(int curIndex, unsigned int bufferDurationMs) override;
    void ProcessAdaptiveSegLevel(unsigned int bufferedBytes, unsigned int bufferDurationMs,
                                 bool noLevelRaise) override;
    int GetSatisfiedStreamIndex(int bandwidth, int curIndex) override;
    int GetMatchingStreamIndex(int bitrate) override;
    void SetEnableSwitch(bool enable) override;
    bool GetEnableSwitch() override;
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

    /// @name What the player tells
    /// @{

    void SetBufferGoal(unsigned int ms);
    void SetSegmentDuration(unsigned int ms);
    void SetNextSizes(const std::vector<unsigned long long>& bytes);
    void SegmentBegun(int index, unsigned long long bytes, unsigned int bufferMs, long long nowMs);
    int SegmentProgress(unsigned long long received, unsigned int bufferMs, long long nowMs);
    void SegmentDone(unsigned long long bytes, unsigned int latencyMs, unsigned int bufferMs,
                     long long nowMs);
    /// @}

private:
    /// Bits per second that every stream needs beside its own: the audio and the margin.
    double extra() const;
    /// Until the rule has measured something; 0 where the checker has nothing either.
    double checkerBandwidth() HAS_REQUIRES(m_mutex);

    RecursiveMutex m_mutex;
    IBandwidthChecker* m_bwChecker HAS_GUARDED_BY(m_mutex) = nullptr;
    std::unique_ptr<detail::HybridRule> m_rule HAS_PT_GUARDED_BY(m_mutex);
    std::atomic<bool> m_enableSwitch{true};
    std::atomic<std::int32_t> m_audioBitrate{0};
    std::atomic<std::int32_t> m_startBitrate{0};
    std::atomic<ENUM_START_BITRATE_LEVEL> m_startBitrateLevel{START_BITRATE_LEVEL_DEFAULT};
    std::atomic<std::int32_t> m_marginKbps{0};
};

} // namespace hascommon
