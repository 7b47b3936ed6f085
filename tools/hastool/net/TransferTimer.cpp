#include "TransferTimer.h"

#include <cstdio>

namespace hastool {
namespace {

using std::chrono::milliseconds;

/// "5 s", "0.25 s".
std::string secondsText(milliseconds time) {
    char text[32];
    std::snprintf(text, sizeof text, "%g s", static_cast<double>(time.count()) / 1000);
    return text;
}

bool isPassed(milliseconds limit, std::chrono::steady_clock::duration time) {
    return limit.count() > 0 && time >= limit;
}

} // namespace

void TransferTimer::begin(TimePoint now) {
    if (!m_hasBegun)
        m_begun = now;
    m_hasBegun = true;
    m_runs = true;
    m_lastByte = now;
}

void TransferTimer::hold(std::chrono::steady_clock::duration time) {
    m_begun += time;
    m_lastByte += time;
}

std::string TransferTimer::overdue(const TimeLimits& limits, TimePoint now) const {
    if (m_hasBegun && isPassed(limits.total, now - m_begun))
        return "not done after " + secondsText(limits.total) + ", see --max-time";
    if (m_runs && isPassed(limits.idle, now - m_lastByte))
        return "no byte for " + secondsText(limits.idle) + ", see --timeout";
    return {};
}

} // namespace hastool
