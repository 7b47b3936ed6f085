// Pausing, resuming and cancelling a unit.
#pragma once

#include <Hasnet/detail/Pass.h>
#include <Hasnet/detail/UnitObject.h>

#include <atomic>

namespace hascommon::detail {

/// Changes a unit's state as its owner asks; the next pass, which is woken, brings libcurl in line.
class UnitControl {
public:
    explicit UnitControl(Pass& pass)
        : m_pass(pass) {}

    // The results are those of ICurl's operations of these names.
    int Pause(UnitObject* unit);
    int Resume_unlock(UnitObject* unit) HAS_REQUIRES(itemLock);
    int Cancel_unlock(UnitObject* unit) HAS_REQUIRES(itemLock);

private:
    Pass& m_pass;
    // In ms, of whichever unit; kept, not used.
    std::atomic<long long> m_lastPauseTime{0};
    std::atomic<long long> m_lastResumeTime{0};
};

} // namespace hascommon::detail
