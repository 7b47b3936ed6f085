#include <Hasnet/detail/UnitTable.h>

#include <algorithm>

namespace hascommon::detail {

UnitTable::UnitTable(Engine& engine) {
    for (int slot = 0; slot < kUnits; ++slot)
        m_units.emplace_back(slot, engine);
}

UnitObject* UnitTable::TakeSlot(const std::string& host) {
    const LockGuard<Mutex> guard(m_beginMutex);
    const int hostIndex = m_hosts.IndexOf(host);
    for (UnitObject& unit : m_units) {
        const bool fits = unit.hostIndex == -1 || unit.hostIndex == hostIndex;
        if (!unit.InUse() && fits && unit.state.Change(UnitState::Preparing)) {
            unit.hostIndex = hostIndex;
            return &unit;
        }
    }
    return nullptr;
}

void UnitTable::GiveBack(UnitObject& unit) {
    forget(unit);
    if (!unit.state.Change(UnitState::Free))
        unit.state.Change(UnitState::Ended);
}

bool UnitTable::AllFree() const {
    return std::none_of(m_units.begin(), m_units.end(),
                        [](const UnitObject& unit) { return unit.InUse(); });
}

bool UnitTable::Complete(UnitObject& unit) {
    if (!unit.state.Change(UnitState::Completed))
        return false;
    m_completed.push_back(&unit);
    m_anyCompleted = true;
    m_waiting.Signal();
    return true;
}

UnitObject* UnitTable::TakeCompleted(int& code, long& date) {
    if (m_completed.empty()) {
        tellWhenEmpty();
        return nullptr;
    }
    UnitObject* unit = m_completed.front();
    m_completed.pop_front();
    tellWhenEmpty();
    code = unit->code;
    date = urlInfo.Date(unit->infoIndex);
    return unit;
}

void UnitTable::Collect(UnitObject& unit) {
    forget(unit);
    unit.queued = false;
    unit.state.Change(UnitState::Ended);
}

void UnitTable::forget(const UnitObject& unit) {
    m_completed.erase(std::remove(m_completed.begin(), m_completed.end(), &unit),
                      m_completed.end());
    tellWhenEmpty();
}

/// Also where nothing was there to take: a wait that began just as the last unit was taken may have
/// brought its signal back.
void UnitTable::tellWhenEmpty() {
    if (!m_completed.empty())
        return;
    m_anyCompleted = false;
    m_waiting.Drain();
}

bool UnitTable::AnyToComplete() const {
    return std::any_of(m_units.begin(), m_units.end(),
                       [](const UnitObject& unit) { return unit.InUse() && !unit.IsCompleted(); });
}

} // namespace hascommon::detail
