#include <Hasnet/detail/HybridRule.h>

#include <Hasnet/detail/TimeSpan.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace hascommon::detail {
namespace {

// What the rule was tuned by.

/// Half-lives of the two means of throughput, seconds of download time, and the part of the fast
/// one in the estimate.
constexpr double kFastHalfLife = 2.4;
constexpr double kSlowHalfLife = 22;
constexpr double kFastPart = .8;
/// A segment counts for at least so many seconds of download time.
constexpr double kLeastWeight = 3.3;
/// With the default goal.
constexpr unsigned int kDefaultGoalMs = 25000;
/// What a second of the line is worth at a buffer: as much as a second of media gains by a bitrate
/// that is e times as high, for a price of 1. Straight between the points.
struct CurvePoint {
    double bufferMs;
    double price;
};
constexpr std::array<CurvePoint, 5> kCurve = {
    {{0, 3.2}, {3000, 1.35}, {6000, 1.1}, {15000, 1.1}, {22000, .7}}};
/// What a second of standing still costs.
constexpr double kStallPrice = 5;
/// How much of the next segment's size counts; the rest is the bitrate, so that single large and
/// small segments do not make the picture flap.
constexpr double kSizePart = .4;
/// What staying is worth, a second of media.
constexpr double kStaying = .06;
/// What giving up has to gain, a second of media.
constexpr double kWorthwhile = .18;
/// Time counts for less than in the choice when a transfer may be given up, as what it had is lost.
constexpr double kUnderWay = .8;
/// No transfer is given up earlier.
constexpr double kEarliestGivingUpMs = 400;
/// Where no duration of segments is known yet.
constexpr double kUsualDurationMs = 4000;
/// Audio and margin leave this part of the estimate at least.
constexpr double kLeastPart = .1;

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
    return kFastPart * m_fast.Value() + (1 - kFastPart) * m_slow.Value();
}

double HybridRule::Price(unsigned int bufferMs) const {
    const double at = static_cast<double>(bufferMs) * kDefaultGoalMs / m_bufferGoal;
    const auto above = std::find_if(kCurve.begin(), kCurve.end(),
                                    [at](const CurvePoint& point) { return point.bufferMs > at; });
    if (above == kCurve.end())
        return kCurve.back().price;
    const CurvePoint& below = *(above - 1); // The first point is at 0.
    const double part = (at - below.bufferMs) / (above->bufferMs - below.bufferMs);
    return below.price + part * (above->price - below.price);
}

double HybridRule::Duration() const {
    const double known =
        m_setDuration != 0 ? m_setDuration : static_cast<double>(m_learntDuration.Median());
    return known > 0 ? known : kUsualDurationMs;
}

double HybridRule::NextBits(int index) const {
    const double seconds = Duration() / kMsPerSecond;
    const double usual = m_streams.BitrateOf(index) * seconds;
    const auto at = static_cast<std::size_t>(index);
    const bool isKnown = at < m_nextSizes.size() && m_nextSizes[at] != 0;
    const double exact = isKnown ? static_cast<double>(m_nextSizes[at]) * kBitsPerByte : usual;
    return kSizePart * exact + (1 - kSizePart) * usual;
}

double HybridRule::Worth(int index) const {
    return m_streams.UtilityOf(index) * Duration() / kMsPerSecond;
}

double HybridRule::Cost(double ms, unsigned int bufferMs, double price) const {
    const double stall = std::max(ms - bufferMs, 0.0);
    return (price * ms + kStallPrice * stall) / kMsPerSecond;
}

int HybridRule::Best(int current, double bitsPerMs, unsigned int bufferMs, Ways ways) const {
    const double price = Price(bufferMs);
    int best = StreamTable::kNone;
    double most = 0;
    for (int index = 0; index < m_streams.Size(); ++index) {
        if (!m_streams.IsAllowed(index) || !IsOpen(current, index, ways))
            continue;
        const double ms = m_latency + NextBits(index) / bitsPerMs;
        const double staying = index == current ? kStaying * Duration() / kMsPerSecond : 0;
        const double gain = Worth(index) + staying - Cost(ms, bufferMs, price);
        if (best == StreamTable::kNone || gain > most) {
            best = index;
            most = gain;
        }
    }
    return best;
}

bool HybridRule::IsOpen(int current, int target, Ways ways) const {
    if (target <= current)
        return true;
    const StreamTable::WayUp way = m_streams.WayUpFrom(current, target);
    return way == StreamTable::WayUp::free ||
           (way == StreamTable::WayUp::waiting && ways == Ways::waitingToo);
}

bool HybridRule::MustWait(int current, int target) {
    const bool asksTimer = target > current && m_streams.IsIndex(target) &&
                           m_streams.WayUpFrom(current, target) == StreamTable::WayUp::waiting;
    if (!asksTimer)
        m_upTimer.Stop();
    return asksTimer && !m_upTimer.MayEnter(m_now);
}

int HybridRule::Choose(int current, unsigned int bufferMs, double foreign) {
    const double estimate = HasMeasured() ? Estimate() : foreign;
    if (estimate <= 0)
        return kStay;
    const double rate = std::max(estimate - m_extra, estimate * kLeastPart) / kMsPerSecond;
    int next = Best(current, rate, bufferMs, Ways::waitingToo);
    if (MustWait(current, next))
        next = Best(current, rate, bufferMs, Ways::freeOnly);
    if (next == StreamTable::kNone || next == current)
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
    const double price = Price(bufferMs) * kUnderWay;
    const double restMs = std::max(TransferBits() - have, 0.0) / bitsPerMs;
    const double needed = kWorthwhile * Duration() / kMsPerSecond;
    double most = Worth(m_transfer.index) - Cost(restMs, bufferMs, price) + needed;
    int best = kStay;
    for (int index = 0; index < m_transfer.index; ++index) {
        const double bits = BitsInstead(index);
        if (!m_streams.IsAllowed(index) || bits <= 0)
            continue;
        const double gain = Worth(index) - Cost(m_latency + bits / bitsPerMs, bufferMs, price);
        if (gain > most) {
            best = index;
            most = gain;
        }
    }
    return best;
}

} // namespace hascommon::detail
