#include <Hasnet/HybridSegSwitcher.h>

#include <Hascommon/LockGuard.h>
#include <Hascommon/detail/Log.h>
#include <Hasnet/detail/HybridRule.h>

#include <algorithm>

namespace hascommon {
namespace {

using detail::HybridRule;
using Guard = LockGuard<RecursiveMutex>;

constexpr double kBitsPerKbit = 1000;

} // namespace

HybridSegSwitcher::HybridSegSwitcher()
    : m_rule(std::make_unique<HybridRule>()) {}

HybridSegSwitcher::~HybridSegSwitcher() = default;

void HybridSegSwitcher::Init(IBandwidthChecker* checker) {
    const Guard guard(m_mutex);
    m_bwChecker = checker;
    m_rule->Restart();
    m_enableSwitch = true;
    m_audioBitrate = 0;
    m_startBitrate = 0;
    m_startBitrateLevel = START_BITRATE_LEVEL_DEFAULT;
    m_marginKbps = 0;
}

void HybridSegSwitcher::ResetData(const std::vector<int>& streamBitrates, bool) {
    const Guard guard(m_mutex);
    m_rule->SetStreams(streamBitrates);
}

void HybridSegSwitcher::SetSwitchParam(int upTimer, int marginKbps) {
    const Guard guard(m_mutex);
    m_rule->SetUpTimer(upTimer);
    m_marginKbps = marginKbps;
}

double HybridSegSwitcher::extra() const {
    const double margin = std::max<std::int32_t>(m_marginKbps, 0) * kBitsPerKbit;
    return std::max<std::int32_t>(m_audioBitrate, 0) + margin;
}

double HybridSegSwitcher::checkerBandwidth() {
    if (m_bwChecker == nullptr || m_rule->HasMeasured())
        return 0;
    const unsigned int measured = m_bwChecker->GetCurrentAvgBandwidth();
    return measured != 0 ? measured : m_bwChecker->GetBeginingBandwidth();
}

int HybridSegSwitcher::ProcessAdaptiveSeg(int curIndex, unsigned int bufferDurationMs) {
    const Guard guard(m_mutex);
    if (!m_enableSwitch)
        return HybridRule::kStay;
    m_rule->SetExtra(extra());
    const int next = m_rule->Choose(curIndex, bufferDurationMs, checkerBandwidth());
    if (next != HybridRule::kStay)
        HAS_LOG("Bitrate Change: %d -> %d, buffer %u ms", curIndex, next, bufferDurationMs);
    return next;
}

void HybridSegSwitcher::ProcessAdaptiveSegLevel(unsigned int, unsigned int, bool) {}

int HybridSegSwitcher::GetSatisfiedStreamIndex(int bandwidth, int curIndex) {
    const Guard guard(m_mutex);
    m_rule->SetExtra(extra());
    return m_rule->Satisfied(bandwidth, curIndex);
}

int HybridSegSwitcher::GetMatchingStreamIndex(int bitrate) {
    const Guard guard(m_mutex);
    return m_rule->Streams().Find(bitrate);
}

void HybridSegSwitcher::SetBitrateLimit(const std::vector<bitrateParam_t>& params,
                                        const std::vector<std::pair<int, int>>& ranges) {
    const Guard guard(m_mutex);
    m_rule->SetLimits(params, ranges);
}

bool HybridSegSwitcher::HasBitrateLimit() {
    const Guard guard(m_mutex);
    return m_rule->Streams().HasParams();
}

bool HybridSegSwitcher::CheckBitrateLimit(int bitrate) {
    const Guard guard(m_mutex);
    return m_rule->Streams().IsBitrateAllowed(bitrate);
}

void HybridSegSwitcher::SetBufferGoal(unsigned int ms) {
    const Guard guard(m_mutex);
    m_rule->SetBufferGoal(ms);
}

void HybridSegSwitcher::SetSegmentDuration(unsigned int ms) {
    const Guard guard(m_mutex);
    m_rule->SetSegmentDuration(ms);
}

void HybridSegSwitcher::SetNextSizes(const std::vector<unsigned long long>& bytes) {
    const Guard guard(m_mutex);
    m_rule->SetNextSizes(bytes);
}

void HybridSegSwitcher::SegmentBegun(int index, unsigned long long bytes, unsigned int bufferMs,
                                     long long nowMs) {
    const Guard guard(m_mutex);
    m_rule->Begin(index, bytes, {bufferMs, nowMs});
}

int HybridSegSwitcher::SegmentProgress(unsigned long long received, unsigned int bufferMs,
                                       long long nowMs) {
    const Guard guard(m_mutex);
    const int instead = m_rule->Progress(received, {bufferMs, nowMs}, m_enableSwitch);
    if (instead != HybridRule::kStay)
        HAS_LOG("Given up for stream %d after %llu bytes, buffer %u ms", instead, received,
                bufferMs);
    return instead;
}

void HybridSegSwitcher::SegmentDone(unsigned long long bytes, unsigned int latencyMs,
                                    unsigned int bufferMs, long long nowMs) {
    const Guard guard(m_mutex);
    m_rule->Done(bytes, latencyMs, {bufferMs, nowMs});
}

void HybridSegSwitcher::SetEnableSwitch(bool enable) {
    m_enableSwitch = enable;
}

bool HybridSegSwitcher::GetEnableSwitch() {
    return m_enableSwitch;
}

void HybridSegSwitcher::SetAudioBitrate(int bitrate) {
    m_audioBitrate = bitrate;
}

int HybridSegSwitcher::GetAudioBitrate() {
    return m_audioBitrate;
}

int HybridSegSwitcher::GetStartBitrate() {
    return m_startBitrate;
}

void HybridSegSwitcher::SetStartBitrate(int bitrate) {
    m_startBitrate = bitrate;
}

void HybridSegSwitcher::SetStartBitrateLevel(ENUM_START_BITRATE_LEVEL level) {
    m_startBitrateLevel = level;
}

ENUM_START_BITRATE_LEVEL HybridSegSwitcher::GetStartBitrateLevel() {
    return m_startBitrateLevel;
}

} // namespace hascommon
