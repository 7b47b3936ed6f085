#include <Hasnet/detail/EngineLog.h>

#include <Hasnet/detail/ResetDrain.h>

namespace hascommon::detail {

void ResetDrain::Free(UnitObject& unit) {
    HAS_LOG_OF("EndDownload_unlock", ">> Curl::EndDownload()");
    if (!unit.InUse() || unit.endRequested)
        return;
    unit.endRequested = true;
    m_table.Collect(unit);
}

bool ResetDrain::DrainReset() {
    bool drained = true;
    for (UnitObject& unit : m_table) {
        if (!unit.resetMark)
            continue; // Begun after the reset.
        if (unit.IsCompleted())
            Free(unit);
        // A request that is still being begun finds its key stale and frees its slot itself.
        drained = drained && (!unit.InUse() || !unit.queued);
    }
    return drained;
}

void ResetDrain::FinishReset() {
    HAS_LOG("<< Reset");
    HAS_LOG("The end of Curl::Reset");
}

void ResetDrain::AfterPass() {
    if (!m_byPass || !DrainReset())
        return;
    m_byPass = false;
    FinishReset();
}

} // namespace hascommon::detail
