#include <Hasnet/detail/UnitState.h>

#include <gtest/gtest.h>

#include <set>
#include <utility>

namespace {

using hascommon::detail::isLegalChange;
using hascommon::detail::kUnitStates;
using hascommon::detail::UnitState;
using hascommon::detail::UnitStateMachine;

const std::set<std::pair<UnitState, UnitState>> kLegal{
    {UnitState::Free, UnitState::Preparing},    // a request takes the slot
    {UnitState::Ended, UnitState::Preparing},   // ... or takes it again
    {UnitState::Preparing, UnitState::Running}, // the owner is told of it
    {UnitState::Preparing, UnitState::Free},    // libcurl has no handle
    {UnitState::Running, UnitState::Free},      // the request was refused
    {UnitState::Running, UnitState::Paused},    // Pause
    {UnitState::Running, UnitState::Aborted},   // Cancel
    {UnitState::Running, UnitState::Completed}, // the transfer ended
    {UnitState::Paused, UnitState::Running},    // Resume
    {UnitState::Paused, UnitState::Completed},  // the transfer failed while it was paused
    {UnitState::Paused, UnitState::Free},       // refused after the owner had paused it
    {UnitState::Aborted, UnitState::Completed}, // the transfer noticed
    {UnitState::Aborted, UnitState::Free},      // refused after the owner had cancelled it
    {UnitState::Completed, UnitState::Ended},   // the owner collected it
};

TEST(UnitState, ExactlyTheListedChangesAreLegal) {
    for (int from = 0; from < kUnitStates; ++from) {
        for (int to = 0; to < kUnitStates; ++to) {
            const auto change =
                std::make_pair(static_cast<UnitState>(from), static_cast<UnitState>(to));
            EXPECT_EQ(isLegalChange(change.first, change.second), kLegal.count(change) > 0)
                << from << " to " << to;
        }
    }
}

TEST(UnitState, IllegalChangeIsRefusedAndChangesNothing) {
    UnitStateMachine state;
    EXPECT_FALSE(state.Change(UnitState::Running));
    EXPECT_TRUE(state.Is(UnitState::Free));
    EXPECT_TRUE(state.Change(UnitState::Preparing));
    EXPECT_TRUE(state.Change(UnitState::Running));
    EXPECT_FALSE(state.Change(UnitState::Ended));
    EXPECT_EQ(state.Get(), UnitState::Running);
}

TEST(UnitState, SlotIsInUseFromThePreparationToTheEnd) {
    UnitStateMachine state;
    EXPECT_FALSE(state.InUse());
    for (const UnitState next : {UnitState::Preparing, UnitState::Running, UnitState::Paused,
                                 UnitState::Running, UnitState::Aborted, UnitState::Completed}) {
        ASSERT_TRUE(state.Change(next));
        EXPECT_TRUE(state.InUse());
    }
    ASSERT_TRUE(state.Change(UnitState::Ended));
    EXPECT_FALSE(state.InUse());
    EXPECT_TRUE(state.Change(UnitState::Preparing));
}

} // namespace
