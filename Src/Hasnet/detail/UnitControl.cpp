#include <Hasnet/detail/EngineLog.h>

#include <Hasnet/detail/UnitControl.h>

#include <Hascommon/Datetime.h>
#include <Hasnet/detail/ResultCode.h>

namespace hascommon::detail {
namespace {

int seconds(long long ms) {
    return static_cast<int>(ms / 1000);
}

} // namespace

int UnitControl::Pause(UnitObject* unit) {
    if (unit->notPausable)
        return 0;
    const ItemGuard lock(m_pass.lock);
    if (!unit->IsPaused()) {
        HAS_LOG("curl pause: %d, %p", unit->slot, unit->userData.load());
        if (!unit->state.Change(UnitState::Paused))
            return 0;
        const long long now = has_getTime();
        unit->lastRxTime = now;
        m_lastPauseTime = now;
        unit->limitsDue = true;
        if (unit->pauseStart == 0)
            unit->pauseStart = now;
        m_pass.PauseLater();
    }
    HAS_LOG("<< Curl::Pause");
    return 1;
}

int UnitControl::Resume_unlock(UnitObject* unit) {
    HAS_LOG(">> Curl::Resume_unlock");
    if (!unit->IsPaused())
        return 1;
    HAS_LOG("curl Resume_unlock: %d, %p", unit->slot, unit->userData.load());
    const long long now = has_getTime();
    unit->lastRxTime = now;
    unit->resumeTime = now;
    m_lastPauseTime = now;
    m_lastResumeTime = now;
    HAS_LOG("Resume_unlock, %p, %d", static_cast<void*>(unit), seconds(now));
    if (unit->pauseStart < now) {
        unit->pausedTotal += now - unit->pauseStart;
        HAS_LOG("process paused for %d seconds", seconds(unit->pausedTotal));
        unit->pauseStart = 0;
    }
    unit->limitsDue = true;
    unit->state.Change(UnitState::Running);
    m_pass.PauseLater();
    HAS_LOG("<< Curl::Resume_unlock");
    return 1;
}

int UnitControl::Cancel_unlock(UnitObject* unit) {
    HAS_LOG(">> Curl::Cancel_unlock %p", static_cast<void*>(unit));
    Resume_unlock(unit);
    const bool first = unit->InUse() && !unit->aborted.exchange(true);
    if (first) {
        if (unit->IsCompleted())
            unit->code = RESULT_CANCELLED;
        else
            unit->state.Change(UnitState::Aborted);
        m_pass.wake.Signal();
    }
    HAS_LOG("<< Curl::Cancel_unlock");
    return first ? 1 : 0;
}

} // namespace hascommon::detail
