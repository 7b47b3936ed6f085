#include <Hasnet/BandwidthChecker.h>

#include <Hascommon/Datetime.h>
#include <Hascommon/LockGuard.h>
#include <Hascommon/detail/Log.h>
#include <Hascommon/detail/Number.h>

#include <algorithm>
#include <limits>

namespace hascommon {
namespace {

constexpr std::int64_t kNoStart = std::numeric_limits<std::int64_t>::max();
constexpr unsigned int kDefaultInterval = 250;
/// More than this makes a poll worth while before its time.
constexpr std::uint64_t kEarlyPollBytes = 1048576;
/// Bits per second to bytes per hour.
constexpr std::uint32_t kBytesPerHour = 3600 / 8;

constexpr std::int64_t difference(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

/// Chunks come with the low 32 bits of their times; a base time is brought to the same measure, or
/// no chunk would ever seem later than it.
constexpr std::int64_t chunkTime(std::int64_t time) {
    return time > std::numeric_limits<std::uint32_t>::max() ? static_cast<std::uint32_t>(time)
                                                            : time;
}

/// Bytes over milliseconds in bits per second.
constexpr std::uint32_t rateOf(std::uint64_t bytes, std::int64_t duration) {
    constexpr std::uint64_t kFactor = 8000;
    return static_cast<std::uint32_t>(bytes * kFactor / static_cast<std::uint64_t>(duration));
}

double inKilobits(std::uint32_t rate) {
    return static_cast<double>(static_cast<float>(rate) / 1000.0F);
}

} // namespace

BandwidthChecker::BandwidthChecker() {
    monitorInterval = kDefaultInterval;
}

BandwidthChecker::~BandwidthChecker() = default;

bool BandwidthChecker::Start() {
    HAS_LOG("!! BandwidthChecker::Start");
    startBytes = totalRxBytes.load();
    const long long now = has_getTime();
    startTime = now;
    lastPollTime = now;
    lastBytes = totalRxBytes.load();
    monitoring = true;
    HAS_LOG("BandwidthChecker::Start");
    return true;
}

bool BandwidthChecker::Stop() {
    HAS_LOG("!! BandwidthChecker::Stop");
    monitoring = false;
    HAS_LOG("BandwidthChecker::Stop");
    return true;
}

bool BandwidthChecker::IsMonitoring() {
    return monitoring;
}

std::int64_t BandwidthChecker::transferTime() const {
    return difference(rxEndMax, rxStartMin);
}

bool BandwidthChecker::isWorthAnEarlyPoll() const {
    return totalRxBytes - lastBytes > kEarlyPollBytes && transferTime() > monitorInterval / 40;
}

void BandwidthChecker::OnPolling(long long now) {
    if (!monitoring || !parseComplete)
        return;
    const std::int64_t elapsed = difference(now, lastPollTime);
    const bool early = elapsed <= monitorInterval;
    if (early && !isWorthAnEarlyPoll())
        return;
    const LockGuard<RecursiveMutex> guard(mutex);
    // Another poll, or a new time base, may have come first.
    if (early && !isWorthAnEarlyPoll())
        return;
    const std::uint32_t oldCurrent = currentBandwidth;
    const std::uint64_t total = totalRxBytes;
    const std::int64_t duration = transferTime();
    const std::uint64_t received = total - lastBytes;
    rxStartMin = kNoStart;
    if (duration != 0 && duration >= monitorInterval / 20) {
        const std::uint32_t sample = rateOf(received, duration);
        HAS_LOG("Bandwidth : Push %d bps", detail::wrapToInt32(sample));
        pushSample(sample);
    }
    updateStatistics();
    HAS_LOG("dur %4d ms\t tdur %4d ms\t maxbw %5.2f Kbps\t curbw %5.2f Kbps\t recv %d bytes",
            static_cast<int>(elapsed), static_cast<int>(duration), inKilobits(currentBandwidth),
            inKilobits(currentAvgBandwidth), static_cast<int>(received));
    lastPollTime = now;
    lastBytes = total;
    variationRateBandwidth =
        detail::wrapToInt32(static_cast<std::int64_t>(currentBandwidth) - oldCurrent);
}

void BandwidthChecker::pushSample(std::uint32_t sample) {
    const std::uint32_t count = bwSampleCount;
    samples.at(sampleIndex) = sample;
    sampleIndex = (sampleIndex + 1) % count;
    sampleFill = std::min(sampleFill + 1, count);
}

void BandwidthChecker::updateStatistics() {
    const std::uint32_t count = bwSampleCount;
    if (sampleFill >= count)
        updateFromWindow(count);
    else if (sampleIndex != 0)
        beginingBandwidth = samples.at(sampleIndex - 1);
}

void BandwidthChecker::updateFromWindow(std::uint32_t count) {
    std::uint32_t sum = 0;
    std::int32_t max = 0;
    std::int32_t min = std::numeric_limits<std::int32_t>::max();
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t sample = samples.at(i);
        sum += sample;
        max = std::max(max, detail::wrapToInt32(sample));
        min = std::min(min, detail::wrapToInt32(sample));
    }
    if (max == 0)
        return;
    currentBandwidth = static_cast<std::uint32_t>(max);
    currentMinBandwidth = static_cast<std::uint32_t>(min);
    currentAvgBandwidth = sum / sampleFill;
    downloadPerHour = kBytesPerHour * static_cast<std::uint32_t>(max);
}

void BandwidthChecker::SetMonitorInterval(unsigned int ms) {
    monitorInterval = ms;
}

unsigned int BandwidthChecker::GetMonitorInterval() {
    return monitorInterval;
}

unsigned int BandwidthChecker::GetCurrentBandwidth() {
    return currentBandwidth;
}

unsigned int BandwidthChecker::GetBeginingBandwidth() {
    return beginingBandwidth;
}

unsigned int BandwidthChecker::GetCurrentMinBandwidth() {
    return currentMinBandwidth;
}

unsigned int BandwidthChecker::GetCurrentAvgBandwidth() {
    return currentAvgBandwidth;
}

unsigned int BandwidthChecker::GetAverageBandwidth() {
    const std::int64_t elapsed = difference(has_getTime(), startTime);
    if (elapsed == 0)
        return 0;
    return rateOf(totalRxBytes - startBytes, elapsed);
}

int BandwidthChecker::GetVariationRateBandwidth() {
    return variationRateBandwidth;
}

unsigned int BandwidthChecker::GetDownloadPerHour() {
    return downloadPerHour;
}

void BandwidthChecker::AddRxTimeInfo(unsigned int rxStart, unsigned int rxEnd, unsigned int bytes) {
    const LockGuard<RecursiveMutex> guard(mutex);
    if (rxStart < rxStartMin)
        rxStartMin = rxStart;
    if (rxEndMax < rxEnd)
        rxEndMax = rxEnd;
    totalRxBytes += bytes;
}

void BandwidthChecker::ResetRxBaseTime(long long baseTime) {
    const LockGuard<RecursiveMutex> guard(mutex);
    rxStartMin = chunkTime(baseTime);
    lastPollTime = baseTime;
    rxEndMax = chunkTime(baseTime);
    lastBytes = totalRxBytes.load();
}

void BandwidthChecker::ParseComp() {
    parseComplete = true;
}

void BandwidthChecker::setBwSampleCount(int count) {
    bwSampleCount = static_cast<std::uint32_t>(std::clamp(count, 1, static_cast<int>(kRingSize)));
}

} // namespace hascommon
