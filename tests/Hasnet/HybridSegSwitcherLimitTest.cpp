#include <Hasnet/HybridTest.h>

namespace {

class HybridLimitTest : public test::HybridTest {
protected:
    /// Moves the clock and asks whether the stream above the first one is entered.
    int wishAfter(long long seconds) {
        now += seconds * 1000;
        switcher.SegmentBegun(0, 0, 20000, now);
        return switcher.ProcessAdaptiveSeg(0, 20000);
    }
};

TEST_F(HybridLimitTest, NeverChoosesWhatIsForbidden) {
    switcher.SetBitrateLimit({{1500000, 1, 1}}, {{200000, 400000}});
    for (unsigned int kbps = 100; kbps < 10000; kbps += 100) {
        settle(kbps * 1000);
        for (int current = -2; current <= 4; ++current) {
            const int next = switcher.ProcessAdaptiveSeg(current, 12000);
            EXPECT_TRUE(next == kStay || next == 0 || next == 2) << current << ' ' << next;
        }
        const int satisfied = switcher.GetSatisfiedStreamIndex(static_cast<int>(kbps) * 1000, 3);
        EXPECT_TRUE(satisfied == 0 || satisfied == 2) << satisfied;
    }
}

TEST_F(HybridLimitTest, StaysWhereNothingIsAllowed) {
    switcher.SetBitrateLimit({}, {{1, 2}});
    settle(20000000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), kStay);
    EXPECT_EQ(crawl(), kStay);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(5000000, 3), 0);
}

TEST_F(HybridLimitTest, LeavesAForbiddenStreamUpwardsToo) {
    switcher.SetBitrateLimit({}, {{1500000, 3000000}});
    settle(20000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 1000), 2);
}

TEST_F(HybridLimitTest, KeepsTheLimitsAsTheInterfaceSays) {
    EXPECT_FALSE(switcher.HasBitrateLimit());
    EXPECT_TRUE(switcher.CheckBitrateLimit(5));
    switcher.SetBitrateLimit({}, {{10, 20}});
    EXPECT_FALSE(switcher.HasBitrateLimit());
    EXPECT_TRUE(switcher.CheckBitrateLimit(10) && switcher.CheckBitrateLimit(20));
    EXPECT_FALSE(switcher.CheckBitrateLimit(21));
    switcher.SetBitrateLimit({{30, 1, 1}}, {{10, 20}});
    EXPECT_TRUE(switcher.HasBitrateLimit());
    EXPECT_TRUE(switcher.CheckBitrateLimit(30));
    EXPECT_FALSE(switcher.CheckBitrateLimit(31));
}

TEST_F(HybridLimitTest, ThereIsNoWayUpIntoAnotherClass) {
    setGroups({1, 1, 2, 2}, {1, 1, 2, 2});
    settle(20000000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), 1);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(1, 20000), kStay);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(2, 20000), 3);
    settle(20000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(3, 1000), 0);
}

TEST_F(HybridLimitTest, WithoutAnEntryThereAreNoGroups) {
    switcher.SetBitrateLimit({{300000, 1, 1}}, {{0, 5000000}});
    settle(20000000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), 3);
}

TEST_F(HybridLimitTest, AHigherGroupOfTheClassWaits) {
    setGroups({1, 1, 2, 2}, {1, 1, 1, 1});
    settle(20000000);
    switcher.SetSwitchParam(10, 0);
    EXPECT_EQ(wishAfter(0), 1) << "the wait begins; within the group the way is free";
    EXPECT_EQ(wishAfter(9), 1);
    EXPECT_EQ(wishAfter(1), 3);
}

TEST_F(HybridLimitTest, WithoutATimerAHigherGroupIsFree) {
    setGroups({1, 1, 2, 2}, {1, 1, 1, 1});
    settle(20000000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), 3);
    switcher.SetSwitchParam(-5, 0);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), 3);
}

TEST_F(HybridLimitTest, AWishThatEndsWaitsAnew) {
    setGroups({1, 2, 2, 2}, {1, 1, 1, 1});
    settle(20000000);
    switcher.SetSwitchParam(10, 0);
    EXPECT_EQ(wishAfter(0), kStay);
    now += 9000;
    switcher.SetAudioBitrate(2000000000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 0), kStay);
    switcher.SetAudioBitrate(0);
    EXPECT_EQ(wishAfter(1), kStay);
    EXPECT_EQ(wishAfter(9), kStay);
    EXPECT_EQ(wishAfter(1), 3);
}

TEST_F(HybridLimitTest, APrematureChangeMakesTheWaitLonger) {
    setGroups({1, 2, 2, 2}, {1, 1, 1, 1});
    settle(20000000);
    switcher.SetSwitchParam(10, 0);
    EXPECT_EQ(wishAfter(0), kStay);
    EXPECT_EQ(wishAfter(10), 3);
    switcher.SetAudioBitrate(2000000000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(3, 0), 0);
    switcher.SetAudioBitrate(0);
    EXPECT_EQ(wishAfter(1), kStay);
    EXPECT_EQ(wishAfter(19), kStay);
    EXPECT_EQ(wishAfter(1), 3);
    now += 200000; // It has lasted.
    switcher.SegmentBegun(0, 0, 20000, now);
    switcher.SetAudioBitrate(2000000000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(3, 0), 0);
    switcher.SetAudioBitrate(0);
    EXPECT_EQ(wishAfter(0), kStay);
    EXPECT_EQ(wishAfter(20), 3);
}

TEST_F(HybridLimitTest, LeavingAGroupThatNobodyWaitedForIsNotPremature) {
    setGroups({1, 2, 2, 2}, {1, 1, 1, 1});
    settle(20000000);
    switcher.SetSwitchParam(10, 0);
    switcher.SetAudioBitrate(2000000000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(3, 0), 0);
    switcher.SetAudioBitrate(0);
    EXPECT_EQ(wishAfter(1), kStay);
    EXPECT_EQ(wishAfter(10), 3);
}

TEST_F(HybridLimitTest, GivingUpLeavesAGroupToo) {
    setGroups({1, 2, 2, 2}, {1, 1, 1, 1});
    settle(20000000);
    switcher.SetSwitchParam(1, 0);
    EXPECT_EQ(wishAfter(0), kStay);
    EXPECT_EQ(wishAfter(1), 3);
    setGroups({1, 2, 2, 2}, {1, 2, 2, 2});
    switcher.SetBitrateLimit({{300000, 1, 1}, {3000000, 2, 1}}, {});
    EXPECT_EQ(crawl(), 0);
    fetch(20000000, 5);
    EXPECT_EQ(wishAfter(0), kStay);
    EXPECT_EQ(wishAfter(1), kStay) << "the wait has grown to two seconds";
    EXPECT_EQ(wishAfter(1), 3);
}

TEST_F(HybridLimitTest, GivesUpOnlyForWhatIsAllowed) {
    ASSERT_GT(crawl(), 0);
    switcher.SetBitrateLimit({}, {{0, 400000}, {3000000, 3000000}});
    EXPECT_EQ(crawl(), 0);
    switcher.SetBitrateLimit({}, {{3000000, 3000000}});
    EXPECT_EQ(crawl(), kStay);
}

} // namespace
