#include <Hasnet/HybridTest.h>

#include <atomic>
#include <limits>
#include <thread>

namespace {

class HybridTransferTest : public test::HybridTest {};

TEST_F(HybridTransferTest, GivesUpWhatWouldOutlastTheBuffer) {
    const int instead = crawl();
    EXPECT_GE(instead, 0);
    EXPECT_LT(instead, kTop);
}

TEST_F(HybridTransferTest, GoesOnWhereTheRestComesWithinTheBuffer) {
    EXPECT_EQ(crawl(20000), kStay);
    switcher.SegmentBegun(kTop, kTopBytes, 4000, now);
    EXPECT_EQ(switcher.SegmentProgress(kTopBytes - 1, 100, now + 4000), kStay);
    EXPECT_EQ(switcher.SegmentProgress(kTopBytes, 0, now + 4000), kStay);
    EXPECT_EQ(switcher.SegmentProgress(2 * kTopBytes, 0, now + 4000), kStay);
}

TEST_F(HybridTransferTest, NeverGivesUpInTheFirstMoments) {
    constexpr unsigned long long kBytesPerMs = 60; // The top stream would take 25 s.
    constexpr unsigned int kBuffer = 20000;
    switcher.SegmentBegun(kTop, kTopBytes, kBuffer, now);
    EXPECT_EQ(switcher.SegmentProgress(100, kBuffer, now - 5000), kStay);
    for (unsigned int ms = 10; ms <= 100; ms += 10)
        EXPECT_EQ(switcher.SegmentProgress(kBytesPerMs * ms, kBuffer, now + ms), kStay);
    EXPECT_GE(switcher.SegmentProgress(kBytesPerMs * 3000, kBuffer - 3000, now + 3000), 0);
}

TEST_F(HybridTransferTest, NeverGivesUpWhileNothingComes) {
    switcher.SegmentBegun(kTop, kTopBytes, 5000, now);
    for (long long ms = 0; ms <= 20000; ms += 500)
        EXPECT_EQ(switcher.SegmentProgress(0, 5000, now + ms), kStay);
}

TEST_F(HybridTransferTest, TakesALowerStreamTheSmallerTheBuffer) {
    int last = -1;
    for (unsigned int buffer = 1000; buffer <= 8000; buffer += 500) {
        const int instead = crawl(buffer);
        if (instead == kStay)
            continue;
        EXPECT_GE(instead, last) << buffer;
        last = instead;
    }
    EXPECT_GE(last, 0);
}

TEST_F(HybridTransferTest, WhatItTakesHardlyOutlastsTheBuffer) {
    for (unsigned int buffer = 500; buffer <= 8000; buffer += 500) {
        const int instead = crawl(buffer);
        const std::vector<unsigned int> ms = {1000, 2667, 5000};
        if (instead > 0) {
            EXPECT_LE(ms.at(static_cast<size_t>(instead)), buffer + 500) << buffer;
        }
    }
}

TEST_F(HybridTransferTest, GoesOnWhereAnotherStreamWouldNotComeClearlySooner) {
    switcher.ResetData({2900000, 3000000}, false);
    switcher.SegmentBegun(1, kTopBytes, 12000, now);
    EXPECT_EQ(switcher.SegmentProgress(500000, 2000, now + 4000), kStay);
}

TEST_F(HybridTransferTest, TheLowestStreamIsNeverGivenUp) {
    switcher.SegmentBegun(0, 150000, 1000, now);
    EXPECT_EQ(switcher.SegmentProgress(100, 100, now + 3000), kStay);
}

TEST_F(HybridTransferTest, SwitchedOffItNeverGivesUp) {
    switcher.SetEnableSwitch(false);
    EXPECT_EQ(crawl(), kStay);
    switcher.SetEnableSwitch(true);
    EXPECT_GE(crawl(), 0);
}

TEST_F(HybridTransferTest, OneOfNoStreamIsNeverGivenUp) {
    const auto crawlOf = [this](int index) {
        switcher.SegmentBegun(index, kTopBytes, 7000, now);
        return switcher.SegmentProgress(300000, 5000, now + 2000);
    };
    for (const int index :
         {std::numeric_limits<int>::min(), -1, 4, std::numeric_limits<int>::max()})
        EXPECT_EQ(crawlOf(index), kStay);
    ASSERT_GE(crawlOf(kTop), 0);
    switcher.SegmentBegun(kTop, kTopBytes, 7000, now);
    switcher.ResetData({300000, 800000, 1500000, 3000000}, false);
    EXPECT_EQ(switcher.SegmentProgress(300000, 5000, now + 2000), kStay);
}

TEST_F(HybridTransferTest, GoesByTheSizesOfTheSegmentThatIsFetched) {
    const int byBitrate = crawl();
    ASSERT_GT(byBitrate, 0);
    switcher.SetNextSizes({150000, 1400000, 1400000, kTopBytes});
    EXPECT_EQ(crawl(), 0);
    switcher.SetNextSizes({150000, 1400000, 1400000, kTopBytes});
    switcher.SegmentBegun(kTop, 0, 7000, now);
    EXPECT_EQ(switcher.SegmentProgress(300000, 5000, now += 2000), 0);
}

TEST_F(HybridTransferTest, TakesTheHighestThatComesInTime) {
    switcher.SetNextSizes({150000, 160000, 170000, kTopBytes});
    EXPECT_EQ(crawl(), 2);
    switcher.SetNextSizes({150000, 160000, kTopBytes, kTopBytes});
    EXPECT_EQ(crawl(), 1);
}

TEST_F(HybridTransferTest, LeavesAClassWhereItHasTo) {
    setGroups({1, 1, 1, 2}, {1, 1, 1, 2});
    EXPECT_GE(crawl(), 0);
}

TEST_F(HybridTransferTest, LogsWhatItGivesUp) {
    const test::LogCapture log;
    const int instead = crawl();
    EXPECT_EQ(log.messages("HybridSegSwitcher.cpp"),
              std::vector<std::string>{"Given up for stream " + std::to_string(instead) +
                                       " after 300000 bytes, buffer 5000 ms"});
}

TEST_F(HybridTransferTest, KeepsTheSizesForWhatIsFetchedInstead) {
    switcher.SetNextSizes({1000, 1400000, 1400000, kTopBytes});
    ASSERT_EQ(crawl(), 0);
    switcher.SegmentBegun(2, 1400000, 5000, now);
    EXPECT_EQ(switcher.SegmentProgress(60000, 4000, now + 1000), 0);
}

TEST_F(HybridTransferTest, GoesByBitratesWhereNoSizeIsKnown) {
    switcher.SegmentBegun(kTop, 0, 7000, now);
    const int instead = switcher.SegmentProgress(300000, 5000, now + 2000);
    EXPECT_EQ(instead, crawl());
}

TEST_F(HybridTransferTest, WithoutSizeAndDurationASegmentIsOfAUsualOne) {
    switcher.SetSegmentDuration(0);
    switcher.SegmentBegun(kTop, 0, 7000, now);
    EXPECT_EQ(switcher.SegmentProgress(300000, 100, now + 2000), 0);
    switcher.SegmentBegun(kTop, 0, 7000, now);
    EXPECT_EQ(switcher.SegmentProgress(1400000, 100, now + 2000), kStay); // 1.5 MB in 4 s
}

TEST_F(HybridTransferTest, WhatIsGivenUpIsNotDone) {
    ASSERT_GE(crawl(), 0);
    EXPECT_EQ(switcher.SegmentProgress(300001, 100, now + 100), kStay);
    const int before = played(0, 8000);
    switcher.SegmentDone(100000000, 0, 8000, now + 100);
    EXPECT_EQ(played(0, 8000), before);
}

TEST_F(HybridTransferTest, WhatIsFetchedInsteadMayBeGivenUpToo) {
    const int instead = crawl();
    ASSERT_GT(instead, 0);
    switcher.SegmentBegun(instead, 400000, 5000, now);
    const int next = switcher.SegmentProgress(70000, 4000, now + 1000);
    EXPECT_GE(next, 0);
    EXPECT_LT(next, instead);
}

TEST_F(HybridTransferTest, WhatIsGivenUpShowsInTheEstimate) {
    settle(20000000);
    ASSERT_EQ(played(0, 3000), kTop);
    for (int i = 0; i < 10; ++i)
        ASSERT_GE(crawl(), 0);
    EXPECT_LT(played(0, 3000), kTop);
}

TEST_F(HybridTransferTest, AllOperationsAtOnce) {
    std::atomic<bool> isOver{false};
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        for (int i = 0; i < 500; ++i) {
            const auto at = static_cast<long long>(i) * 3000;
            switcher.SetNextSizes({150000, 400000, 750000, kTopBytes});
            const int next = switcher.ProcessAdaptiveSeg(i % 4, 8000);
            EXPECT_TRUE(next >= kStay && next <= kTop);
            switcher.SegmentBegun(kTop, kTopBytes, 7000, at);
            EXPECT_LT(switcher.SegmentProgress(300000, 5000, at + 2000), kTop);
            switcher.SegmentDone(kTopBytes, 10, 5000, at + 2500);
        }
        isOver = true;
    });
    threads.emplace_back([&] {
        while (!isOver) {
            switcher.ResetData({300000, 800000, 1500000, 3000000}, false);
            switcher.SetBitrateLimit({{300000, 1, 1}}, {{0, 5000000}});
            switcher.SetSwitchParam(1, 10);
            switcher.SetAudioBitrate(64000);
            switcher.SetSegmentDuration(4000);
            switcher.SetBufferGoal(30000);
            switcher.SetEnableSwitch(true);
            switcher.SetStartBitrate(1);
            switcher.SetStartBitrateLevel(hascommon::START_BITRATE_LEVEL_LOWEST);
        }
    });
    threads.emplace_back([&] {
        while (!isOver) {
            EXPECT_TRUE(switcher.CheckBitrateLimit(800000));
            EXPECT_LE(switcher.GetSatisfiedStreamIndex(1000000, 0), 1);
            switcher.GetMatchingStreamIndex(800000);
            switcher.HasBitrateLimit();
            switcher.GetAudioBitrate();
            switcher.GetStartBitrate();
            switcher.GetStartBitrateLevel();
            switcher.GetEnableSwitch();
            switcher.ProcessAdaptiveSegLevel(1, 1, false);
        }
    });
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
