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

/// Chooses by throughput and buffer together, any number of steps at a time, and gives up transfers
/// that would outlast the buffer.
///
/// **The choice.** Each segment tells a throughput: its bytes over the time since SegmentBegun(),
/// in which the latency counts. Two exponential means of these, of which one forgets within seconds
/// and the other is slow, make the estimate, so that one odd segment does not turn it. How much of
/// it may be spent is a matter of the buffer: a part while little is buffered, more than all of it
/// near the goal. Of the streams that fit the highest is taken, the lowest where none does. A
/// stream needs the size of its next segment where that is known, else its bitrate; besides the
/// audio and the margin of SetSwitchParam(). The present stream may need a little more than another
/// one, so that an estimate beside a limit does not make the picture flap.
///
/// **Giving up.** When what is left of a transfer outlasts the buffer at the pace that it has had,
/// and a lower stream's version would come within the buffer and clearly sooner than the rest, the
/// transfer is given up for the highest one of these. Never in the first moments, nor while nothing
/// comes at all. What the transfer had shows in the estimate.
///
/// **Limits.** What they forbid is never chosen. There is no way up into another class; into a
/// higher group of the class there is one when the stream has been wished for during the up timer,
/// on the clock of the calls that carry a time. It may grow as IBitrateSwitcher says. Downwards all
/// ways are open. A present index that is no stream has no limits.
///
/// **What is known elsewhere, and what differs.** FESTIVE (J. Jiang, V. Sekar, H. Zhang, "Improving
/// Fairness, Efficiency, and Stability in HTTP-based Adaptive Video Streaming with FESTIVE", CoNEXT
/// 2012) chooses by a mean of throughput and climbs step by step; here two means with different
/// memories do the damping, and steps are not limited. The buffer-based approach (T.-Y. Huang et
/// al., "A Buffer-Based Approach to Rate Adaptation", SIGCOMM 2014) maps the buffer to a bitrate,
/// and BOLA (K. Spiteri, R. Urgaonkar, R. Sitaraman, "BOLA: Near-Optimal Bitrate Adaptation for
/// Online Videos", INFOCOM 2016) to the stream of the best utility for it; here the buffer is
/// mapped to the part of the throughput that may be spent. DYNAMIC (K. Spiteri, R. Sitaraman, D.
/// Sparacio, "From Theory to Practice: Improving Bitrate Adaptation in the DASH Reference Player",
/// MMSys 2018) changes between a rule of the throughput and BOLA as the buffer grows; here one rule
/// goes over smoothly. Model-predictive control (X. Yin et al., "A Control-Theoretic Approach for
/// Dynamic Adaptive Video Streaming over HTTP", SIGCOMM 2015) plans several segments ahead with
/// their sizes; here the size of the next one is looked at, and nothing is planned.
///
/// **Threads.** All operations may be called from any thread; they exclude each other, but for the
/// setters and getters of IBitrateSwitcher that keep one number. Such a setter takes effect with
/// the next decision. The checker's getters are called with the switcher's lock held. Only what
/// sets streams or limits takes memory.
class HAS_API HybridSegSwitcher : public IBitrateSwitcher {
public:
    HybridSegSwitcher();
    ~HybridSegSwitcher() override;
    HybridSegSwitcher(const HybridSegSwitcher&) = delete;
    HybridSegSwitcher& operator=(const HybridSegSwitcher&) = delete;

    /// @name The owner's part, see IBitrateSwitcher
    /// @{

    /// Forgets what was measured and set, but for the streams and the limits.
    /// @param checker  asked only until a segment has been measured; null for none
    void Init(IBandwidthChecker* checker) override;
    /// What was measured stays. A transfer that goes on is one of a stream that is not known.
    /// @param upIgnoresLevel  of no effect: there is no level, as the buffer is part of each call
    void ResetData(const std::vector<int>& streamBitrates, bool upIgnoresLevel) override;
    /// Negative numbers count as 0.
    /// @param marginKbps  what every stream needs beside its bitrate; for 0 nothing, as the
    /// estimate
    ///                    is not spent entirely anyway
    void SetSwitchParam(int upTimer, int marginKbps) override;
    /// Before a segment has been measured: by the checker's mean, else by its newest sample, and
    /// without either it stays.
    int ProcessAdaptiveSeg(int curIndex, unsigned int bufferDurationMs) override;
    /// Does nothing: the buffer is part of each call.
    void ProcessAdaptiveSegLevel(unsigned int bufferedBytes, unsigned int bufferDurationMs,
                                 bool noLevelRaise) override;
    /// Among the streams that the limits allow, by bitrate; 0 where they allow none.
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

    /// @name What the player tells
    ///
    /// For each segment: SetNextSizes() where they are known, ProcessAdaptiveSeg(), SegmentBegun(),
    /// SegmentProgress() every 50 ms or so, SegmentDone(). A transfer that failed is not done; the
    /// next SegmentBegun() is then about the same segment. Times are milliseconds on any steady
    /// clock; what goes on while transfers are held or the viewer pauses is the caller's to leave
    /// out. All values are taken, and one that cannot be is as one that is not known: a clock that
    /// went backwards tells no throughput. The buffer is milliseconds of media at the call.
    /// @{

    /// @param ms  what the player fills up to: the choice by the buffer stretches with it; 25,000
    ///            until set and for 0
    void SetBufferGoal(unsigned int ms);

    /// @param ms  media in a segment; for 0, and until set, it is learnt from what segments add to
    ///            the buffer, where the middle one of the last five counts. What SegmentProgress()
    ///            tells of the buffer makes that precise, also where playing has not begun.
    void SetSegmentDuration(unsigned int ms);

    /// Tells how large the next segment is in each stream.
    /// @param bytes  of each stream of ResetData(), 0 for one that is not known. Empty, or of
    ///               another length: none is known. Holds for the segment that is begun next.
    void SetNextSizes(const std::vector<unsigned long long>& bytes);

    /// A segment has been requested.
    /// @param index  of its stream; one that is not in the list is never given up
    /// @param bytes  of the segment; 0 where not known
    void SegmentBegun(int index, unsigned long long bytes, unsigned int bufferMs, long long nowMs);

    /// Some of the segment has come.
    /// @param received  bytes of it so far
    /// @return -1 to go on; else the transfer is to be cancelled, and the segment requested of the
    ///         stream of this lower index, which SegmentBegun() tells, without ProcessAdaptiveSeg()
    ///         in between. Further calls until then answer -1, and SegmentDone() does nothing.
    int SegmentProgress(unsigned long long received, unsigned int bufferMs, long long nowMs);

    /// The segment has come, and is counted in the buffer.
    /// @param bytes      of the segment; 0 tells no throughput
    /// @param latencyMs  from the request to the first byte: what asking once more would cost
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
