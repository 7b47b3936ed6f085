// The states of a download unit.
#pragma once

#include <atomic>

namespace hascommon::detail {

enum class UnitState {
    Free,      ///< never used, or its request could not be begun
    Preparing, ///< taken by a request that is being set up; nobody else has seen it
    Running,
    Paused,
    Aborted,   ///< cancelled, its transfer not yet ended
    Completed, ///< its transfer has ended; the owner has not collected it
    Ended,     ///< collected; the slot may be taken again
};

constexpr int kUnitStates = 7;

/// Whether a unit may go from one state to the other.
bool isLegalChange(UnitState from, UnitState to);

/// A unit's state. Every change goes through Change(), from any thread.
class UnitStateMachine {
public:
    UnitState Get() const { return m_state; }
    bool Is(UnitState state) const { return m_state == state; }
    /// Whether a request holds the unit.
    bool InUse() const;
    /// Changes the state; an illegal change is refused and leaves it as it is.
    bool Change(UnitState to);

private:
    std::atomic<UnitState> m_state{UnitState::Free};
};

} // namespace hascommon::detail
