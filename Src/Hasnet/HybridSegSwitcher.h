/// @file
/// The choice of the next stream by what it is worth and what it costs.
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

/// Chooses what is worth most beyond what it costs, any number of steps at a time, and gives up
/// transfers that are no longer worth their time.
///
/// **The choice.** A segment is worth its duration times the logarithm of its bitrate, as a viewer
/// sees twice the bitrate as one step, wherever it begins. It costs the time on the line, at a
/// price that falls as the buffer fills up to its goal, and much more for each second by which it
/// would outlast the buffer. The stream with the most left over is taken. Of the size of the next
/// segment, where that is known, less than half counts and the bitrate for the rest, so that odd
/// segments do not make the picture flap; staying is worth a little too.
///
/// **The line.** Each segment tells a throughput: its bytes over the time since SegmentBegun(), in
/// which the latency counts. The estimate is made of two exponential means of these, one that
/// forgets within seconds and a slow one; a segment has a least weight, so that the short ones of a
/// fast line are not forgotten in favour of a single long one. The audio and the margin of
/// SetSwitchParam() are taken off it.
///
/// **Giving up.** The same sum decides whether a transfer goes on: what is left of it against the
/// whole segment of each lower stream, at the pace that it has had. It has to be clearly better.
/// Never in the first moments, nor while nothing comes at all. What the transfer had shows in the
/// estimate.
///
/// **Limits.** What they forbid is never chosen. There is no way up into another class; into a
/// higher group of the class there is one when the stream has been wished for during the up timer,
/// on the clock of the calls that carry a time. It may grow as IBitrateSwitcher says. Downwards all
/// ways are open. A present index that is no stream has no limits.
///
/// **What is known elsewhere, and what differs.** BOLA (K. Spiteri, R. Urgaonkar, R. Sitaraman,
/// "BOLA: Near-Optimal Bitrate Adaptation for Online Videos", INFOCOM 2016) also weighs logarithmic
/// utility against the buffer, and gives transfers up by the same measure; it knows no throughput,
/// so each buffer has its stream, whereas here the buffer sets a price for the line's time and the
/// throughput says how much of it a stream takes. The buffer-based approach (T.-Y. Huang et al., "A
/// Buffer-Based Approach to Rate Adaptation", SIGCOMM 2014) maps the buffer to a bitrate. DYNAMIC
/// (K. Spiteri, R. Sitaraman, D. Sparacio, "From Theory to Practice: Improving Bitrate Adaptation
/// in the DASH Reference Player", MMSys 2018) changes between a rule of the throughput and BOLA;
/// here one sum holds for all buffers. FESTIVE (J. Jiang, V. Sekar, H. Zhang, "Improving Fairness,
/// Efficiency, and Stability in HTTP-based Adaptive Video Streaming with FESTIVE", CoNEXT 2012)
/// climbs step by step; here two means with different memories do the damping. Model-predictive
/// control (X. Yin et al., "A Control-Theoretic Approach for Dynamic Adaptive Video Streaming over
/// HTTP", SIGCOMM 2015) plans several segments ahead for such a sum; here the price of the line's
/// time stands for the segments to come, and only the next one is looked at.
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
    /// @param marginKbps  taken off the estimate; a tenth of that is left at least
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
    ///            the buffer, where the middle one of the last five counts; 4,000 before the first.
    ///            What SegmentProgress() tells of the buffer makes that precise, also where playing
    ///            has not begun.
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
    /// Bits per second of the line that the streams do not have: the audio and the margin.
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
