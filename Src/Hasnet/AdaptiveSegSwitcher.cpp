#include <Hasnet/AdaptiveSegSwitcher.h>

#include <Hascommon/Datetime.h>
#include <Hascommon/LockGuard.h>
#include <Hascommon/detail/Log.h>
#include <Hascommon/detail/Number.h>
#include <Hasnet/detail/BitrateLimits.h>

#include <algorithm>
#include <limits>

namespace hascommon {
namespace {

using detail::wrapToInt32;
using Guard = LockGuard<RecursiveMutex>;

/// From this total on the margin is a fixed one.
constexpr int kHighBitrate = 1280000;
constexpr int kHighMarginKbps = 128;
/// A jump of more than this, from more than this, wants a buffer.
constexpr int kLargeJump = 512000;
constexpr unsigned int kBufferForLargeJumpMs = 5000;
/// With this much in the buffer there is no need to go down.
constexpr unsigned int kComfortableBufferMs = 8000;
constexpr int kHighestLevel = 4;
constexpr int kHighestLevelToGoUp = 2;
constexpr int kFreeUpgrades = 2;
/// The present index of an engine that has no stream yet.
constexpr int kNoStreamYet = -2;
/// A first sample has to be more than this many times the bitrate to be acted on.
constexpr int kStartUpFactor = 5;

int kilo(unsigned int value) {
    return static_cast<int>(value / 1000);
}

/// Unless another thread has set a margin meanwhile.
void latchHighMargin(std::atomic<std::int32_t>& marginKbps) {
    std::int32_t none = 0;
    marginKbps.compare_exchange_strong(none, kHighMarginKbps);
}

} // namespace

AdaptiveSegSwitcher::AdaptiveSegSwitcher() = default;
AdaptiveSegSwitcher::~AdaptiveSegSwitcher() = default;

void AdaptiveSegSwitcher::Init(IBandwidthChecker* checker) {
    const Guard guard(m_mutex);
    m_bwChecker = checker;
    m_enableSwitch = true;
    m_level = 1;
    m_lastBufferDuration = 0;
    m_audioBitrate = 0;
    m_startBitrate = 0;
    m_startBitrateLevel = START_BITRATE_LEVEL_DEFAULT;
    m_marginKbps = 0;
    m_upTimerStep = 0;
    m_upTimer = 0;
    m_upGrantCount = 0;
    m_upTimerRunning = false;
    m_upgradedByTimer = false;
    m_upIgnoresLevel = false;
    m_bitrateChangeCount = 0;
    m_initTime = has_getTime();
}

void AdaptiveSegSwitcher::ResetData(const std::vector<int>& streamBitrates, bool upIgnoresLevel) {
    const Guard guard(m_mutex);
    m_streamBitrates = streamBitrates;
    m_upIgnoresLevel = upIgnoresLevel;
}

void AdaptiveSegSwitcher::SetSwitchParam(int upTimer, int marginKbps) {
    m_marginKbps = marginKbps;
    m_upTimerStep = upTimer;
    m_upTimer = upTimer;
}

int AdaptiveSegSwitcher::GetEstimateBandwidth(int bitrate) {
    const int audio = m_audioBitrate;
    const int marginKbps = m_marginKbps;
    const int total = wrapToInt32(std::int64_t{audio} + bitrate);
    std::int64_t margin = 0;
    if (marginKbps != 0)
        margin = std::int64_t{marginKbps} * 1000;
    else if (total < kHighBitrate)
        margin = std::int64_t{total / 10000} * 1000;
    else
        latchHighMargin(m_marginKbps);
    const int withReserve = wrapToInt32(std::int64_t{bitrate} * 5) / 4;
    return wrapToInt32(margin + withReserve + audio);
}

int AdaptiveSegSwitcher::GetSatisfiedStreamIndex(int bandwidth, int curIndex) {
    const Guard guard(m_mutex);
    if (m_streamBitrates.empty())
        return 0;
    int smallest = std::numeric_limits<int>::max();
    int smallestIndex = 0;
    int index = static_cast<int>(m_streamBitrates.size()) - 1;
    for (; index >= 0; --index) {
        const int bitrate = bitrateAt(index);
        if (bitrate < smallest) {
            smallest = bitrate;
            smallestIndex = index;
        }
        if (GetEstimateBandwidth(bitrate) < bandwidth)
            break;
    }
    if (index < 0)
        return smallestIndex;
    if (index <= curIndex)
        return index;
    return curIndex == kNoStreamYet ? smallestIndex : curIndex + 1;
}

bool AdaptiveSegSwitcher::isIndex(int index) const {
    return index >= 0 && static_cast<std::size_t>(index) < m_streamBitrates.size();
}

int AdaptiveSegSwitcher::bitrateAt(int index) const {
    return m_streamBitrates.at(static_cast<std::size_t>(index));
}

bool AdaptiveSegSwitcher::findParams(int cur, int target, Params& params) {
    return isIndex(cur) && isIndex(target) && GetBitrateParam(bitrateAt(cur), params.cur) &&
           GetBitrateParam(bitrateAt(target), params.target);
}

bool AdaptiveSegSwitcher::CheckStreamChange(int cur, int& target, unsigned int bufferDurationMs) {
    const Guard guard(m_mutex);
    bool accepted = false;
    if (target > cur)
        accepted = CheckStreamUp(cur, target, bufferDurationMs);
    else if (target < cur)
        accepted = CheckStreamDn(cur, target, bufferDurationMs);
    if (accepted)
        HAS_LOG("Bandwidth Switch OK : %d -> %d", cur, target);
    else
        HAS_LOG("Bandwidth Switch Pass : %d -> %d", cur, target);
    return accepted;
}

bool AdaptiveSegSwitcher::needsMoreBuffer(int cur, int target,
                                          unsigned int bufferDurationMs) const {
    if (!isIndex(cur) || !isIndex(target) || bufferDurationMs >= kBufferForLargeJumpMs)
        return false;
    const int from = bitrateAt(cur);
    return from > kLargeJump && wrapToInt32(std::int64_t{bitrateAt(target)} - from) > kLargeJump;
}

bool AdaptiveSegSwitcher::CheckStreamUp(int cur, int& target, unsigned int bufferDurationMs) {
    const Guard guard(m_mutex);
    if (!m_upIgnoresLevel && m_level > kHighestLevelToGoUp)
        return false;
    if (needsMoreBuffer(cur, target, bufferDurationMs))
        return false;
    Params params{};
    switch (decideUp(cur, target, params)) {
    case Up::noParam:
        HAS_LOG("CheckStreamChange(%d, %d), ok, no param", cur, target);
        return true;
    case Up::sameGroup:
        HAS_LOG("CheckStreamChange(%d, %d), ok, same group", cur, target);
        return true;
    case Up::otherClass:
        HAS_LOG("CheckStreamChange(%d, %d), fail, no upgrade", cur, target);
        return false;
    case Up::granted:
        HAS_LOG("CheckStreamChange(%d, %d), ok, m_upTimer == 0 && !no_upgrade", cur, target);
        return true;
    case Up::withinGroup:
        HAS_LOG("CheckStreamChange(%d, %d), ok, skip up timer check for same group", cur, target);
        return true;
    case Up::timerPassed:
        HAS_LOG("CheckStreamChange(%d, %d), ok, success up timer check", cur, target);
        HAS_LOG("Bitrate Group Changed %d -> %d", params.cur.group, params.target.group);
        return true;
    case Up::timerStarted:
        HAS_LOG("start up timer check");
        return false;
    case Up::timerRuns:
        return false;
    }
    return false;
}

AdaptiveSegSwitcher::Up AdaptiveSegSwitcher::decideUp(int cur, int& target, Params& params) {
    Up result = Up::noParam;
    if (findParams(cur, target, params)) {
        if (params.cur.group == params.target.group)
            result = Up::sameGroup;
        else if (params.cur.upgradeClass != params.target.upgradeClass)
            result = Up::otherClass;
        else
            result = enterGroup(cur, target, params.cur.group);
    }
    m_upTimerRunning = result == Up::timerStarted || result == Up::timerRuns;
    return result;
}

AdaptiveSegSwitcher::Up AdaptiveSegSwitcher::enterGroup(int cur, int& target, int group) {
    if (m_upGrantCount < kFreeUpgrades || m_upTimer == 0) {
        m_upGrantCount = wrapToInt32(std::int64_t{m_upGrantCount} + 1);
        return Up::granted;
    }
    if (findWithinGroup(cur, target, group))
        return Up::withinGroup;
    if (m_upTimerRunning && upTimerSeconds() < m_upTimer)
        return Up::timerRuns;
    const bool passed = m_upTimerRunning;
    m_upTimerStart = has_getTime();
    m_upgradedByTimer = m_upgradedByTimer || passed;
    return passed ? Up::timerPassed : Up::timerStarted;
}

bool AdaptiveSegSwitcher::findWithinGroup(int cur, int& target, int group) {
    for (int index = target - 1; index > cur; --index) {
        bitrateParam_t param{};
        if (GetBitrateParam(bitrateAt(index), param) && param.group == group) {
            target = index;
            return true;
        }
    }
    return false;
}

bool AdaptiveSegSwitcher::CheckStreamDn(int cur, int& target, unsigned int bufferDurationMs) {
    const Guard guard(m_mutex);
    if (bufferDurationMs >= kComfortableBufferMs)
        return false;
    m_upTimerRunning = false;
    Params params{};
    if (!findParams(cur, target, params)) {
        HAS_LOG("CheckStreamChange(%d, %d), ok, no param", cur, target);
        return true;
    }
    if (params.cur.group == params.target.group) {
        HAS_LOG("CheckStreamChange(%d, %d), ok, same group", cur, target);
        return true;
    }
    if (isPrematureUpgrade()) {
        m_upTimer = wrapToInt32(std::int64_t{m_upTimer} + m_upTimerStep);
        HAS_LOG("Bitrate upgrade timer increased: %d", m_upTimer.load());
    }
    m_upgradedByTimer = false;
    HAS_LOG("CheckStreamChange(%d, %d), ok, diffrent group", cur, target);
    HAS_LOG("Bitrate Group Changed %d -> %d", params.cur.group, params.target.group);
    return true;
}

/// Whether the group that is being left was entered by the up timer, and not long ago.
bool AdaptiveSegSwitcher::isPrematureUpgrade() const {
    return m_upgradedByTimer && upTimerSeconds() < wrapToInt32(std::int64_t{m_upTimer} * 5);
}

std::int64_t AdaptiveSegSwitcher::upTimerSeconds() const {
    return (has_getTime() - m_upTimerStart) / 1000;
}

/// The measured bandwidth; before there is one, most of a first sample that is far above the
/// present bitrate; 0 where there is nothing to go by.
int AdaptiveSegSwitcher::usableBandwidth(int curIndex) {
    const int measured = wrapToInt32(m_bwChecker->GetCurrentAvgBandwidth());
    if (measured != 0)
        return measured;
    const int first = wrapToInt32(m_bwChecker->GetBeginingBandwidth());
    if (!isIndex(curIndex) || bitrateAt(curIndex) == 0)
        return 0;
    if (std::int64_t{first} / bitrateAt(curIndex) <= kStartUpFactor)
        return 0;
    return wrapToInt32(std::int64_t{first} * 4) / 5;
}

int AdaptiveSegSwitcher::ProcessAdaptiveSeg(int curIndex, unsigned int bufferDurationMs) {
    constexpr int kStay = -1;
    const Guard guard(m_mutex);
    if (m_bwChecker == nullptr)
        return kStay;
    const int bandwidth = usableBandwidth(curIndex);
    if (!m_enableSwitch || bandwidth < 1)
        return kStay;
    int next = GetSatisfiedStreamIndex(bandwidth, curIndex);
    // One above an index far below 0 is no stream either.
    const bool isAnswer = next >= kStay && next != curIndex;
    if (isAnswer && CheckStreamChange(curIndex, next, bufferDurationMs)) {
        HAS_LOG("\n");
        HAS_LOG("-------------------------------------------------");
        HAS_LOG("Bitrate Change: %d -> %d", curIndex, next);
        HAS_LOG("-------------------------------------------------\n");
        m_bitrateChangeCount = wrapToInt32(std::int64_t{m_bitrateChangeCount} + 1);
        HAS_LOG("Bitrate Changed Number : %d", m_bitrateChangeCount);
        HAS_LOG("-------------------------------------------------\n");
        if (next != kStay || !m_upTimerRunning)
            return next;
    }
    if (!m_upTimerRunning)
        return kStay;
    const std::int64_t elapsed = upTimerSeconds();
    const int upTimer = m_upTimer;
    if (elapsed >= wrapToInt32(std::int64_t{upTimer} + 1)) {
        m_upTimerRunning = false;
        HAS_LOG("fail up timer check: elasped(%d) upTimer(%d), level(%d)",
                static_cast<int>(elapsed), upTimer, m_level);
    }
    return kStay;
}

void AdaptiveSegSwitcher::ProcessAdaptiveSegLevel(unsigned int bufferedBytes,
                                                  unsigned int bufferDurationMs,
                                                  bool noLevelRaise) {
    const Guard guard(m_mutex);
    if (m_bwChecker == nullptr || m_bwChecker->GetCurrentBandwidth() == 0)
        return;
    const bool drains = bufferDurationMs < m_lastBufferDuration;
    if (bufferDurationMs < kComfortableBufferMs && !noLevelRaise && drains)
        m_level = std::min(m_level + 1, kHighestLevel);
    else if (bufferDurationMs > m_lastBufferDuration && m_level > 1)
        --m_level;
    m_lastBufferDuration = bufferDurationMs;
    HAS_LOG("ABS Stat: cbw %dk abw %dk mbw %dk buf %dk bdur %ums lvl %d",
            kilo(m_bwChecker->GetCurrentBandwidth()), kilo(m_bwChecker->GetCurrentAvgBandwidth()),
            kilo(m_bwChecker->GetCurrentMinBandwidth()), kilo(bufferedBytes), bufferDurationMs,
            m_level);
}

int AdaptiveSegSwitcher::GetMatchingStreamIndex(int bitrate) {
    const Guard guard(m_mutex);
    int index = static_cast<int>(m_streamBitrates.size()) - 1;
    while (index >= 0 && bitrateAt(index) != bitrate)
        --index;
    return index;
}

void AdaptiveSegSwitcher::SetBitrateLimit(const std::vector<bitrateParam_t>& params,
                                          const std::vector<std::pair<int, int>>& ranges) {
    const Guard guard(m_mutex);
    m_bitrateParams = params;
    m_bitrateRanges = ranges;
}

bool AdaptiveSegSwitcher::HasBitrateLimit() {
    const Guard guard(m_mutex);
    return !m_bitrateParams.empty();
}

bool AdaptiveSegSwitcher::CheckBitrateLimit(int bitrate) {
    const Guard guard(m_mutex);
    return detail::isBitrateAllowed(m_bitrateParams, m_bitrateRanges, bitrate);
}

bool AdaptiveSegSwitcher::GetBitrateParam(int bitrate, bitrateParam_t& out) {
    const Guard guard(m_mutex);
    const bitrateParam_t* const found = detail::findParam(m_bitrateParams, bitrate);
    if (found == nullptr)
        return false;
    out = *found;
    return true;
}

void AdaptiveSegSwitcher::SetEnableSwitch(bool enable) {
    m_enableSwitch = enable;
}

bool AdaptiveSegSwitcher::GetEnableSwitch() {
    return m_enableSwitch;
}

void AdaptiveSegSwitcher::SetAudioBitrate(int bitrate) {
    m_audioBitrate = bitrate;
}

int AdaptiveSegSwitcher::GetAudioBitrate() {
    return m_audioBitrate;
}

int AdaptiveSegSwitcher::GetStartBitrate() {
    return m_startBitrate;
}

void AdaptiveSegSwitcher::SetStartBitrate(int bitrate) {
    m_startBitrate = bitrate;
}

void AdaptiveSegSwitcher::SetStartBitrateLevel(ENUM_START_BITRATE_LEVEL level) {
    m_startBitrateLevel = level;
}

ENUM_START_BITRATE_LEVEL AdaptiveSegSwitcher::GetStartBitrateLevel() {
    return m_startBitrateLevel;
}

} // namespace hascommon
