#include <Hasnet/detail/UpTimer.h>

#include <Hasnet/detail/TimeSpan.h>

#include <algorithm>
#include <limits>

namespace hascommon::detail {
namespace {

/// A group that is left within this many waits was entered too early.
constexpr std::int64_t kPrematureWaits = 5;
constexpr std::int64_t kLongestWait = std::numeric_limits<std::int32_t>::max();

} // namespace

void UpTimer::Set(int seconds) {
    *this = UpTimer();
    m_step = std::max(seconds, 0);
    m_seconds = m_step;
}

bool UpTimer::HasPassed(std::int64_t nowMs, std::int64_t seconds) const {
    return millisecondsBetween(m_start, nowMs) / 1000 >= static_cast<std::uint64_t>(seconds);
}

bool UpTimer::MayEnter(std::int64_t nowMs) {
    if (m_seconds == 0)
        return true;
    if (!m_isRunning) {
        m_isRunning = true;
        m_start = nowMs;
        return false;
    }
    if (!HasPassed(nowMs, m_seconds))
        return false;
    m_isRunning = false;
    m_isEntered = true;
    m_start = nowMs;
    return true;
}

void UpTimer::Left(std::int64_t nowMs) {
    if (m_isEntered && !HasPassed(nowMs, m_seconds * kPrematureWaits))
        m_seconds = std::min(m_seconds + m_step, kLongestWait);
    m_isEntered = false;
    m_isRunning = false;
}

} // namespace hascommon::detail
