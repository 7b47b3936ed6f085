// The rule of HybridSegSwitcher, without locks.
#pragma once

#include <Hasnet/detail/MovingMean.h>
#include <Hasnet/detail/SegmentLength.h>
#include <Hasnet/detail/StreamTable.h>
#include <Hasnet/detail/UpTimer.h>

#include <cstdint>
#include <vector>

namespace hascommon::detail {

/// Estimates the throughput, and weighs what a segment is worth against what it costs: for the
/// choice, and to give transfers up.
class HybridRule {
public:
    static constexpr int kStay = -1;

    /// A moment of the caller's clock, with the media in the buffer.
    struct Moment {
        unsigned int bufferMs = 0;
        std::int64_t nowMs = 0;
    };

    HybridRule();

    /// Forgets all but the streams and their limits.
    void Restart();
    void SetStreams(const std::vector<int>& bitrates);
    void SetLimits(const std::vector<bitrateParam_t>& params, const StreamTable::Ranges& ranges);
    const StreamTable& Streams() const { return m_streams; }
    void SetUpTimer(int seconds) { m_upTimer.Set(seconds); }
    void SetBufferGoal(unsigned int ms);
    void SetSegmentDuration(unsigned int ms) { m_setDuration = ms; }
    void SetNextSizes(const std::vector<unsigned long long>& bytes);
    /// Bits per second of the line that the streams do not have.
    void SetExtra(double bitsPerSecond) { m_extra = bitsPerSecond; }

    void Begin(int index, std::uint64_t bytes, const Moment& moment);
    /// @return the stream to fetch instead, kStay to go on
    int Progress(std::uint64_t received, const Moment& moment, bool mayGiveUp);
    void Done(std::uint64_t bytes, unsigned int latencyMs, const Moment& moment);

    /// @param foreign  an estimate for as long as there is no own one, bits per second; 0 for none
    int Choose(int current, unsigned int bufferMs, double foreign);
    /// The highest allowed stream that fits into a bandwidth, at most one above the present one.
    int Satisfied(double bandwidth, int current) const;
    /// Whether there is an estimate of its own.
    bool HasMeasured() const { return !m_fast.IsEmpty(); }

private:
    using Sizes = std::vector<unsigned long long>; ///< bytes a stream; empty where not known

    /// What is being fetched.
    struct Transfer {
        bool isRunning = false;
        bool isDone = true; ///< what was begun last has come
        int index = StreamTable::kNone;
        std::uint64_t bytes = 0; ///< 0 where not known
        std::int64_t beginMs = 0;
    };

    void Measure(std::uint64_t bytes, double ms);
    double Estimate() const;
    /// What a second of the line is worth; less, the more is buffered.
    double Price(unsigned int bufferMs) const;
    /// Milliseconds of media in a segment, a usual duration where not known.
    double Duration() const;
    /// Bits of the next segment of a stream, as they count in the choice.
    double NextBits(int index) const;
    /// What a segment of a stream is worth: its seconds times the logarithm of the bitrate.
    double Worth(int index) const;
    /// What so much time of the line costs, and standing still where it outlasts the buffer.
    double Cost(double ms, unsigned int bufferMs, double price) const;
    /// The bits of a stream's version of the segment that is being fetched; 0 where not known.
    double BitsInstead(int index) const;
    enum class Ways { freeOnly, waitingToo };
    /// Whether there is a way from the present stream to another one.
    bool IsOpen(int current, int target, Ways ways) const;
    /// Whether the up timer lets the wish for a stream wait.
    bool MustWait(int current, int target);
    /// The stream that is worth most beyond what it costs, at a pace of the line; kNone where none
    /// is allowed.
    int Best(int current, double bitsPerMs, unsigned int bufferMs, Ways ways) const;
    /// The bits of what is being fetched; 0 where not known.
    double TransferBits() const;
    /// The stream to fetch instead of one of which so much has come in that time.
    int Instead(std::uint64_t received, double elapsedMs, unsigned int bufferMs) const;
    void NoteChange(int from, int to);

    StreamTable m_streams;
    UpTimer m_upTimer;
    MovingMean m_fast;
    MovingMean m_slow;
    SegmentLength m_learntDuration;
    unsigned int m_setDuration = 0; ///< ms
    unsigned int m_bufferGoal;      ///< ms
    double m_extra = 0;
    Sizes m_nextSizes;     ///< of the segment that is begun next
    Sizes m_transferSizes; ///< of the one that is being fetched
    Transfer m_transfer;
    double m_latency = 0; ///< ms, of the last segment
    std::int64_t m_now = 0;
};

} // namespace hascommon::detail
