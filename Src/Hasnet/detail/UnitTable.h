// The units of a download engine.
#pragma once

#include <Hascommon/LockGuard.h>
#include <Hascommon/Mutex.h>
#include <Hasnet/detail/HostTable.h>
#include <Hasnet/detail/UnitObject.h>
#include <Hasnet/detail/UrlInfoTable.h>
#include <Hasnet/detail/WakeEvent.h>

#include <atomic>
#include <deque>
#include <string>

namespace hascommon::detail {

/// The slots, the hosts they are bound to, the requests they remember, and which of them wait for
/// their owner to collect them.
class UnitTable {
public:
    static constexpr int kUnits = UrlInfoTable::kSlots;

    explicit UnitTable(Engine& engine);

    /// Takes the first free slot that the host may have; null when there is none. Any thread.
    UnitObject* TakeSlot(const std::string& host);
    /// Frees the slot of a request that could not be begun.
    void GiveBack(UnitObject& unit) HAS_REQUIRES(itemLock);
    /// Whether no slot is in use. Any thread.
    bool AllFree() const;

    /// Lets a unit wait for its owner.
    /// @return false for one that may not complete (any more)
    bool Complete(UnitObject& unit) HAS_REQUIRES(itemLock);
    /// The unit that has waited longest, with its code and the response's date; null, and both
    /// untouched, when none waits.
    UnitObject* TakeCompleted(int& code, long& date) HAS_REQUIRES(itemLock);
    /// Whether any waits. Any thread; without the lock it may be so no longer.
    bool AnyCompleted() const { return m_anyCompleted; }
    /// Whether a unit in use has not completed, and so may still come to wait.
    bool AnyToComplete() const HAS_REQUIRES(itemLock);
    /// Readable while a unit waits; -1 where the system had no descriptor. Any thread.
    int CompletionFd() const { return m_waiting.Descriptor(); }
    /// What fires when a unit comes to wait.
    const WakeEvent& Waiting() const { return m_waiting; }
    /// Frees the slot of a completed unit, whether or not it still waits for its owner.
    void Collect(UnitObject& unit) HAS_REQUIRES(itemLock);

    auto begin() { return m_units.begin(); }
    auto end() { return m_units.end(); }

    UrlInfoTable urlInfo; ///< has a lock of its own

private:
    void forget(const UnitObject& unit) HAS_REQUIRES(itemLock);
    void tellWhenEmpty() HAS_REQUIRES(itemLock);

    std::deque<UnitObject> m_units;
    std::deque<UnitObject*> m_completed HAS_GUARDED_BY(itemLock);
    std::atomic<bool> m_anyCompleted{false};
    WakeEvent m_waiting; ///< stands while there are completed units

    Mutex m_beginMutex;
    HostTable m_hosts HAS_GUARDED_BY(m_beginMutex);
};

} // namespace hascommon::detail
