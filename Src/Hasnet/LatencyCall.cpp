#include <Hasnet/LatencyCall.h>

#include <Hascommon/Datetime.h>

namespace hascommon {

LatencyCall::LatencyCall()
    : m_startTime(has_getTime()) {}

void LatencyCall::Start(long long delay, int level) {
    m_startTime = has_getTime();
    m_delay = delay;
    m_level = level;
    m_stopped = false;
}

void LatencyCall::Stop() {
    m_stopped = true;
}

bool LatencyCall::IsStop() const {
    return m_stopped;
}

bool LatencyCall::IsCheck() {
    if (m_stopped || has_getTime() - m_startTime <= m_delay)
        return false;
    m_stopped = true;
    return true;
}

int LatencyCall::GetLevel() const {
    return m_level;
}

long long LatencyCall::GetStartTime() const {
    return m_startTime;
}

long long LatencyCall::GetDelay() const {
    return m_delay;
}

} // namespace hascommon
