// How a reset gets rid of the units it has cancelled.
#pragma once

#include <Hasnet/detail/UnitTable.h>

namespace hascommon::detail {

/// Frees the units that carry a reset's mark as they complete. Whoever asked for the reset calls
/// again until all are free; a reset from inside a callback is left to the pass.
class ResetDrain {
public:
    explicit ResetDrain(UnitTable& table)
        : m_table(table) {}

    /// Frees a completed unit, unless somebody collects it already.
    void Free(UnitObject& unit) HAS_REQUIRES(itemLock);
    /// Frees what has completed. @return whether all marked units are free
    bool DrainReset() HAS_REQUIRES(itemLock);
    /// Says that the reset is done.
    static void FinishReset();

    /// @param byPass  the pass that is running completes the reset, not who asked for it
    void LeaveToPass(bool byPass) HAS_REQUIRES(itemLock) { m_byPass = byPass; }
    /// What the pass does at its end.
    void AfterPass() HAS_REQUIRES(itemLock);

private:
    UnitTable& m_table;
    bool m_byPass HAS_GUARDED_BY(itemLock) = false;
};

} // namespace hascommon::detail
