// How an owner waits for a completed unit.
#pragma once

#include <Hasnet/detail/Pass.h>
#include <Hasnet/detail/RequestQueue.h>
#include <Hasnet/detail/UnitTable.h>

namespace hascommon::detail {

/// Waits until a unit waits for its owner. Gives the item lock up meanwhile, at whatever depth its
/// caller holds it, and runs passes where no thread does.
class CompletionWait {
public:
    CompletionWait(UnitTable& table, RequestQueue& queue, Pass& pass)
        : m_table(table)
        , m_queue(queue)
        , m_pass(pass) {}

    /// @param code       receives the unit's
    /// @param date       receives its response's
    /// @param timeoutMs  -1 for ever
    /// @return the unit that has waited longest, taken out; null when the time is up, inside a
    ///         callback, and when the engine has quit and all units were taken
    UnitObject* Wait(int& code, long& date, int timeoutMs);

private:
    bool mayEnd() const;
    void waitStep(int timeoutMs);
    void waitForUnit(int timeoutMs);
    /// Also until there is something for a pass to do.
    void waitForWork(int timeoutMs);
    int fallback(int timeoutMs) const;

    UnitTable& m_table;
    RequestQueue& m_queue;
    Pass& m_pass;
};

} // namespace hascommon::detail
