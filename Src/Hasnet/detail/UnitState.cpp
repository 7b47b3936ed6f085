#include <Hasnet/detail/UnitState.h>

namespace hascommon::detail {
namespace {

// clang-format off
constexpr bool kLegal[kUnitStates][kUnitStates] = {
    //             Free   Prep.  Run.   Paused Abort. Compl. Ended
    /* Free */      {false, true,  false, false, false, false, false},
    /* Preparing */ {true,  false, true,  false, false, false, false},
    /* Running */   {true,  false, false, true,  true,  true,  false},
    /* Paused */    {true,  false, true,  false, false, true,  false},
    /* Aborted */   {true,  false, false, false, false, true,  false},
    /* Completed */ {false, false, false, false, false, false, true },
    /* Ended */     {false, true,  false, false, false, false, false},
};
// clang-format on

} // namespace

bool isLegalChange(UnitState from, UnitState to) {
    return kLegal[static_cast<int>(from)][static_cast<int>(to)];
}

bool UnitStateMachine::InUse() const {
    const UnitState state = m_state;
    return state != UnitState::Free && state != UnitState::Ended;
}

bool UnitStateMachine::Change(UnitState to) {
    UnitState from = m_state;
    while (isLegalChange(from, to)) {
        if (m_state.compare_exchange_weak(from, to))
            return true;
    }
    return false;
}

} // namespace hascommon::detail
