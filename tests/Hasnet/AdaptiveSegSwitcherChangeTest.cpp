// Which changes of stream the switcher allows.
#include "SwitcherTest.h"

#include <chrono>
#include <climits>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using hascommon::AdaptiveSegSwitcher;
using hascommon::bitrateParam_t;
using Switcher = test::SwitcherTest;

TEST_F(Switcher, WithoutLimitsEveryChangeIsAccepted) {
    int target = 1;
    EXPECT_TRUE(switcher.CheckStreamChange(0, target, 0));
    target = 0;
    EXPECT_TRUE(switcher.CheckStreamChange(1, target, 0));
    EXPECT_EQ(messages(), (std::vector<std::string>{"CheckStreamChange(0, 1), ok, no param",
                                                    "Bandwidth Switch OK : 0 -> 1",
                                                    "CheckStreamChange(1, 0), ok, no param",
                                                    "Bandwidth Switch OK : 1 -> 0"}));
    EXPECT_EQ(log.lines()[0].function, "CheckStreamUp");
    EXPECT_EQ(log.lines()[1].function, "CheckStreamChange");
    EXPECT_EQ(log.lines()[2].function, "CheckStreamDn");
}

TEST_F(Switcher, NoChangeIsPassedOver) {
    int target = 1;
    EXPECT_FALSE(switcher.CheckStreamChange(1, target, 0));
    EXPECT_EQ(messages(), std::vector<std::string>{"Bandwidth Switch Pass : 1 -> 1"});
}

TEST_F(Switcher, ALevelAboveTwoRefusesToGoUp) {
    raiseLevelTo(3);
    int target = 1;
    EXPECT_FALSE(switcher.CheckStreamChange(0, target, 9000));
    EXPECT_EQ(messages(), std::vector<std::string>{"Bandwidth Switch Pass : 0 -> 1"});
}

TEST_F(Switcher, ALevelOfTwoLetsGoUp) {
    raiseLevelTo(2);
    int target = 1;
    EXPECT_TRUE(switcher.CheckStreamUp(0, target, 9000));
}

TEST_F(Switcher, TheLevelCanBeIgnored) {
    raiseLevelTo(4);
    switcher.ResetData({300000, 800000}, true);
    int target = 1;
    EXPECT_TRUE(switcher.CheckStreamUp(0, target, 9000));
}

TEST_F(Switcher, ALargeJumpFromAHighBitrateNeedsFiveSeconds) {
    switcher.ResetData({512000, 600000, 1112000, 1200000}, false);
    int target = 3;
    EXPECT_FALSE(switcher.CheckStreamUp(1, target, 4900));
    EXPECT_FALSE(switcher.CheckStreamUp(1, target, 4999));
    EXPECT_TRUE(switcher.CheckStreamUp(1, target, 5000));
    target = 2;
    EXPECT_TRUE(switcher.CheckStreamUp(1, target, 0)) << "512 kbit/s are not more than that";
    target = 3;
    EXPECT_TRUE(switcher.CheckStreamUp(0, target, 0)) << "512 kbit/s are not above that";
}

TEST_F(Switcher, AFullBufferRefusesToGoDown) {
    int target = 0;
    EXPECT_FALSE(switcher.CheckStreamDn(1, target, 8000));
    EXPECT_TRUE(messages().empty());
    EXPECT_TRUE(switcher.CheckStreamDn(1, target, 7999));
}

TEST_F(Switcher, WithinAGroupChangesAreFree) {
    setGroups({1, 1, 2, 2}, {1, 2, 3, 4});
    int target = 1;
    EXPECT_TRUE(switcher.CheckStreamUp(0, target, 0));
    target = 0;
    EXPECT_TRUE(switcher.CheckStreamDn(1, target, 0));
    EXPECT_EQ(messages(), (std::vector<std::string>{"CheckStreamChange(0, 1), ok, same group",
                                                    "CheckStreamChange(1, 0), ok, same group"}));
}

TEST_F(Switcher, AcrossClassesThereIsNoWayUp) {
    setGroups({1, 2, 3, 4}, {1, 2, 2, 2});
    int target = 1;
    EXPECT_FALSE(switcher.CheckStreamUp(0, target, 9000));
    EXPECT_EQ(messages(), std::vector<std::string>{"CheckStreamChange(0, 1), fail, no upgrade"});
}

TEST_F(Switcher, AnEntryMissingForEitherStreamIsNoLimit) {
    switcher.SetBitrateLimit({{300000, 1, 1}}, {});
    int target = 1;
    EXPECT_TRUE(switcher.CheckStreamUp(0, target, 9000));
    target = 0;
    EXPECT_TRUE(switcher.CheckStreamDn(1, target, 0));
    EXPECT_EQ(log.count("CheckStreamChange(0, 1), ok, no param"), 1);
    EXPECT_EQ(log.count("CheckStreamChange(1, 0), ok, no param"), 1);
}

TEST_F(Switcher, TwoChangesOfGroupAreFreeThenTheTimerStarts) {
    setGroups({1, 2, 3, 4}, {1, 1, 1, 1});
    switcher.SetSwitchParam(100, 0);
    int target = 1;
    EXPECT_TRUE(switcher.CheckStreamUp(0, target, 9000));
    EXPECT_TRUE(switcher.CheckStreamUp(0, target, 9000));
    EXPECT_FALSE(switcher.CheckStreamUp(0, target, 9000));
    EXPECT_FALSE(switcher.CheckStreamUp(0, target, 9000));
    EXPECT_EQ(messages(), (std::vector<std::string>{
                              "CheckStreamChange(0, 1), ok, m_upTimer == 0 && !no_upgrade",
                              "CheckStreamChange(0, 1), ok, m_upTimer == 0 && !no_upgrade",
                              "start up timer check"}));
}

TEST_F(Switcher, WithoutATimerEveryChangeOfGroupIsFree) {
    setGroups({1, 2, 3, 4}, {1, 1, 1, 1});
    int target = 1;
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(switcher.CheckStreamUp(0, target, 9000));
}

TEST_F(Switcher, AStreamOfThePresentGroupOnTheWayNeedsNoTimer) {
    setGroups({1, 1, 1, 2}, {1, 1, 1, 1});
    switcher.SetSwitchParam(100, 0);
    int target = 3;
    EXPECT_TRUE(switcher.CheckStreamUp(0, target, 9000));
    EXPECT_TRUE(switcher.CheckStreamUp(0, target, 9000));
    EXPECT_EQ(target, 3);
    EXPECT_TRUE(switcher.CheckStreamUp(0, target, 9000));
    EXPECT_EQ(target, 2);
    EXPECT_EQ(messages().back(), "CheckStreamChange(0, 2), ok, skip up timer check for same group");
}

TEST_F(Switcher, ARunningTimerThatHasRunOutLetsGoUp) {
    setGroups({1, 2, 3, 4}, {1, 1, 1, 1});
    switcher.SetSwitchParam(100, 0);
    useUpGrants();
    int target = 1;
    EXPECT_FALSE(switcher.CheckStreamUp(0, target, 9000));
    switcher.SetSwitchParam(-1, 0);
    EXPECT_TRUE(switcher.CheckStreamChange(0, target, 9000));
    EXPECT_EQ(messages(),
              (std::vector<std::string>{
                  "start up timer check", "CheckStreamChange(0, 1), ok, success up timer check",
                  "Bitrate Group Changed 1 -> 2", "Bandwidth Switch OK : 0 -> 1"}));
    EXPECT_FALSE(switcher.CheckStreamUp(0, target, 9000)) << "the timer starts afresh";
}

TEST_F(Switcher, AChangeWithinTheGroupStopsTheTimer) {
    setGroups({1, 1, 2, 2}, {1, 1, 1, 1});
    switcher.SetSwitchParam(100, 0);
    int target = 2;
    for (int i = 0; i < 3; ++i)
        switcher.CheckStreamUp(1, target, 9000);
    EXPECT_EQ(messages().back(), "start up timer check");
    target = 1;
    EXPECT_TRUE(switcher.CheckStreamUp(0, target, 9000));
    target = 2;
    EXPECT_FALSE(switcher.CheckStreamUp(1, target, 9000));
    EXPECT_EQ(log.count("start up timer check"), 2);
}

TEST_F(Switcher, AGroupLeftSoonMakesTheTimerLonger) {
    setGroups({1, 2, 3, 4}, {1, 1, 1, 1});
    switcher.SetSwitchParam(100, 0);
    useUpGrants();
    int target = 1;
    switcher.CheckStreamUp(0, target, 9000);
    switcher.SetSwitchParam(-1, 0);
    EXPECT_TRUE(switcher.CheckStreamUp(0, target, 9000));
    switcher.SetSwitchParam(100, 0);
    log.clear();
    target = 0;
    EXPECT_TRUE(switcher.CheckStreamDn(1, target, 0));
    EXPECT_TRUE(switcher.CheckStreamDn(1, target, 0));
    EXPECT_EQ(messages(), (std::vector<std::string>{"Bitrate upgrade timer increased: 200",
                                                    "CheckStreamChange(1, 0), ok, diffrent group",
                                                    "Bitrate Group Changed 2 -> 1",
                                                    "CheckStreamChange(1, 0), ok, diffrent group",
                                                    "Bitrate Group Changed 2 -> 1"}));
}

TEST_F(Switcher, AGroupLeftLateKeepsTheTimer) {
    setGroups({1, 2, 3, 4}, {1, 1, 1, 1});
    switcher.SetSwitchParam(100, 0);
    useUpGrants();
    int target = 1;
    switcher.CheckStreamUp(0, target, 9000);
    switcher.SetSwitchParam(-1, 0);
    EXPECT_TRUE(switcher.CheckStreamUp(0, target, 9000));
    target = 0;
    EXPECT_TRUE(switcher.CheckStreamDn(1, target, 0));
    switcher.SetSwitchParam(100, 0);
    EXPECT_TRUE(switcher.CheckStreamDn(1, target, 0));
    EXPECT_EQ(log.count("Bitrate upgrade timer increased: 200"), 0);
    EXPECT_EQ(log.count("Bitrate upgrade timer increased: -2"), 0);
}

TEST_F(Switcher, AnIndexOutsideTheListIsTakenForOneWithoutLimits) {
    setGroups({1, 2, 3, 4}, {1, 2, 3, 4});
    for (const int cur : {-1, -2, -100, INT_MIN}) {
        int target = 0;
        EXPECT_TRUE(switcher.CheckStreamUp(cur, target, 0)) << cur;
    }
    for (const int cur : {4, 100, INT_MAX}) {
        int target = 3;
        EXPECT_TRUE(switcher.CheckStreamDn(cur, target, 0)) << cur;
    }
    int target = INT_MAX;
    EXPECT_TRUE(switcher.CheckStreamUp(0, target, 0));
}

} // namespace
