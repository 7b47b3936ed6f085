#include <Hasnet/detail/HybridRule.h>

#include <Hasnet/detail/TimeSpan.h>

#include <algorithm>
#include <array>

namespace hascommon::detail {
namespace {

// What the rule was tuned by.

/// Half-lives of the two means of throughput, seconds of download time.
constexpr double kFastHalfLife = 4;
constexpr double kSlowHalfLife = 20;
/// A segment counts for at least so many seconds of download time.
constexpr double kLeastWeight = 3;
/// With the default goal.
constexpr unsigned int kDefaultGoalMs = 25000;
/// How much of the estimate may be spent at a buffer; straight between the points.
struct CurvePoint {
    double bufferMs;
    double factor;
};
constexpr std::array<CurvePoint, 6> kCurve = {
    {{0, .35}, {3000, .60}, {6000, .80}, {10000, .95}, {15000, 1.15}, {22000, 1.75}}};
/// The present stream may need so much more than another one.
constexpr double kStaying = 1.05;
/// No transfer is given up earlier.
constexpr double kEarliestGivingUpMs = 400;
/// What is fetched instead comes within this part of the buffer,
constexpr double kSafeBuffer = .65;
/// and within this part of the time that going on would take.
constexpr double kWorthwhile = .8;

constexpr double kBitsPerByte = 8;
constexpr double kMsPerSecond = 1000;

} // namespace

HybridRule::HybridRule()
    : m_fast(kFastHalfLife)
    , m_slow(kSlowHalfLife)
    , m_bufferGoal(kDefaultGoalMs) {}

void HybridRule::Restart() {
    m_upTimer = UpTimer();
    m_fast = MovingMean(kFastHalfLife);
    m_slow = MovingMean(kSlowHalfLife);
    m_learntDuration = SegmentLength();
    m_setDuration = 0;
    m_bufferGoal = kDefaultGoalMs;
    m_extra = 0;
    m_nextSizes.clear();
    m_transferSizes.clear();
    m_transfer = Transfer();
    m_latency = 0;
    m_now = 0;
}

void HybridRule::SetStreams(const std::vector<int>& bitrates) {
    m_streams.SetBitrates(bitrates);
    m_nextSizes.clear();
    m_transferSizes.clear();
    m_nextSizes.reserve(bitrates.size());
    m_transferSizes.reserve(bitrates.size());
    m_transfer.index = StreamTable::kNone; // It was one of the streams before.
}

void HybridRule::SetLimits(const std::vector<bitrateParam_t>& params,
                           const StreamTable::Ranges& ranges) {
    m_streams.SetLimits(params, ranges);
}

void HybridRule::SetBufferGoal(unsigned int ms) {
    m_bufferGoal = ms == 0 ? kDefaultGoalMs : ms;
}

void HybridRule::SetNextSizes(const std::vector<unsigned long long>& bytes) {
    if (bytes.size() == static_cast<std::size_t>(m_streams.Size()))
        m_nextSizes.assign(bytes.begin(), bytes.end());
    else
        m_nextSizes.clear();
}

void HybridRule::Begin(int index, std::uint64_t bytes, const Moment& moment) {
    // One that follows a transfer which did not come is about the same segment.
    if (m_transfer.isDone || !m_nextSizes.empty()) {
        m_transferSizes.swap(m_nextSizes);
        m_nextSizes.clear();
    }
    m_transfer = {true, false, index, bytes, moment.nowMs};
    m_now = moment.nowMs;
    m_learntDuration.See(moment.bufferMs, moment.nowMs);
}

void HybridRule::Done(std::uint64_t bytes, unsigned int latencyMs, const Moment& moment) {
    m_now = moment.nowMs;
    if (!m_transfer.isRunning)
        return;
    m_transfer.isRunning = false;
    m_transfer.isDone = true;
    m_latency = latencyMs;
    m_learntDuration.Learn(moment.bufferMs, moment.nowMs);
    // What came within a millisecond came fast; of a clock that went backwards nothing is known.
    if (moment.nowMs >= m_transfer.beginMs) {
        const auto ms = static_cast<double>(millisecondsBetween(m_transfer.beginMs, moment.nowMs));
        Measure(bytes, std::max(ms, 1.0));
    }
}

void HybridRule::Measure(std::uint64_t bytes, double ms) {
    if (bytes == 0)
        return;
    const double throughput = static_cast<double>(bytes) * kBitsPerByte * kMsPerSecond / ms;
    const double weight = std::max(ms / kMsPerSecond, kLeastWeight);
    m_fast.Add(throughput, weight);
    m_slow.Add(throughput, weight);
}

double HybridRule::Estimate() const {
    return (m_fast.Value() + m_slow.Value()) / 2;
}

double HybridRule::Factor(unsigned int bufferMs) const {
    const double at = static_cast<double>(bufferMs) * kDefaultGoalMs / m_bufferGoal;
    const auto above = std::find_if(kCurve.begin(), kCurve.end(),
                                    [at](const CurvePoint& point) { return point.bufferMs > at; });
    if (above == kCurve.end())
        return kCurve.back().factor;
    const CurvePoint& below = *(above - 1); // The first point is at 0.
    const double part = (at - below.bufferMs) / (above->bufferMs - below.bufferMs);
    return below.factor + part * (above->factor - below.factor);
}

double HybridRule::Duration() const {
    return m_setDuration != 0 ? m_setDuration : static_cast<double>(m_learntDuration.Median());
}

double HybridRule::Need(int index) const {
    const double duration = Duration();
    const auto at = static_cast<std::size_t>(index);
    if (duration > 0 && at < m_nextSizes.size() && m_nextSizes[at] != 0) {
        const double bits = static_cast<double>(m_nextSizes[at]) * kBitsPerByte;
        return bits * kMsPerSecond / duration + m_extra;
    }
    return m_streams.BitrateOf(index) + m_extra;
}

bool HybridRule::MayEnter(int current, int target, bool& isWaiting) {
    switch (target <= current ? StreamTable::WayUp::free : m_streams.WayUpFrom(current, target)) {
    case StreamTable::WayUp::free:
        return true;
    case StreamTable::WayUp::closed:
        return false;
    case StreamTable::WayUp::waiting:
        break;
    }
    isWaiting = !m_upTimer.MayEnter(m_now);
    return !isWaiting;
}

int HybridRule::HighestThatFits(int current, double budget, bool& isWaiting) {
    for (int index = m_streams.Size() - 1; index >= 0; --index) {
        const double most = index == current ? budget * kStaying : budget;
        if (m_streams.IsAllowed(index) && Need(index) <= most &&
            MayEnter(current, index, isWaiting))
            return index;
    }
    return StreamTable::kNone;
}

int HybridRule::LastResort(int current, bool& isWaiting) {
    const int lowest = m_streams.Lowest();
    const bool isOpen = lowest != StreamTable::kNone && MayEnter(current, lowest, isWaiting);
    return isOpen ? lowest : current;
}

int HybridRule::Choose(int current, unsigned int bufferMs, double foreign) {
    const double estimate = HasMeasured() ? Estimate() : foreign;
    if (estimate <= 0)
        return kStay;
    bool isWaiting = false;
    int next = HighestThatFits(current, estimate * Factor(bufferMs), isWaiting);
    if (next == StreamTable::kNone)
        next = LastResort(current, isWaiting);
    if (!isWaiting)
        m_upTimer.Stop();
    if (next == current)
        return kStay;
    NoteChange(current, next);
    return next;
}

void HybridRule::NoteChange(int from, int to) {
    if (to < from && !m_streams.AreOfOneGroup(from, to))
        m_upTimer.Left(m_now);
}

int HybridRule::Satisfied(double bandwidth, int current) const {
    if (m_streams.Lowest() == StreamTable::kNone)
        return 0;
    const std::int64_t highest =
        std::min<std::int64_t>(std::int64_t{current} + 1, m_streams.Size() - 1);
    for (auto index = static_cast<int>(highest); index >= 0; --index) {
        if (m_streams.IsAllowed(index) && m_streams.BitrateOf(index) + m_extra <= bandwidth)
            return index;
    }
    return m_streams.Lowest();
}

double HybridRule::BitsInstead(int index) const {
    const auto at = static_cast<std::size_t>(index);
    if (at < m_transferSizes.size() && m_transferSizes[at] != 0)
        return static_cast<double>(m_transferSizes[at]) * kBitsPerByte;
    const double bitrate = m_streams.BitrateOf(index);
    const double present = m_streams.BitrateOf(m_transfer.index);
    if (m_transfer.bytes != 0 && present > 0)
        return static_cast<double>(m_transfer.bytes) * kBitsPerByte * bitrate / present;
    return bitrate * Duration() / kMsPerSecond;
}

double HybridRule::TransferBits() const {
    return m_transfer.bytes != 0 ? static_cast<double>(m_transfer.bytes) * kBitsPerByte
                                 : BitsInstead(m_transfer.index);
}

int HybridRule::Progress(std::uint64_t received, const Moment& moment, bool mayGiveUp) {
    m_now = moment.nowMs;
    if (!m_transfer.isRunning)
        return kStay;
    m_learntDuration.See(moment.bufferMs, moment.nowMs);
    const auto elapsed = static_cast<double>(millisecondsBetween(m_transfer.beginMs, moment.nowMs));
    if (!mayGiveUp || elapsed < kEarliestGivingUpMs)
        return kStay;
    const int instead = Instead(received, elapsed, moment.bufferMs);
    if (instead == kStay)
        return kStay;
    // The pace that it is given up for is the newest that is known of the line.
    Measure(received, elapsed);
    NoteChange(m_transfer.index, instead);
    m_transfer.isRunning = false;
    return instead;
}

int HybridRule::Instead(std::uint64_t received, double elapsedMs, unsigned int bufferMs) const {
    if (received == 0 || !m_streams.IsIndex(m_transfer.index))
        return kStay; // Nothing comes of any stream, or it is not known of which this is.
    const double have = static_cast<double>(received) * kBitsPerByte;
    const double bitsPerMs = have / elapsedMs;
    const double restMs = (TransferBits() - have) / bitsPerMs;
    if (restMs <= bufferMs)
        return kStay;
    for (int index = m_transfer.index - 1; index >= 0; --index) {
        if (!m_streams.IsAllowed(index))
            continue;
        const double bits = BitsInstead(index);
        const double ms = m_latency + bits / bitsPerMs;
        if (bits > 0 && ms <= kSafeBuffer * bufferMs && ms < kWorthwhile * restMs)
            return index;
    }
    return kStay;
}

} // namespace hascommon::detail
