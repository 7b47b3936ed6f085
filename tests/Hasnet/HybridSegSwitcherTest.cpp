#include <Hasnet/HybridTest.h>

#include <limits>

namespace {

class HybridChoiceTest : public test::HybridTest {
protected:
    /// Whether the third stream is played at a rate.
    bool playsThird(int current, unsigned int rate) {
        settle(rate);
        return played(current, 8000) >= 2;
    }
    /// The lowest rate, in kbit/s, that the third stream is played at.
    unsigned int thirdBegins(int current) {
        unsigned int kbps = 500;
        while (kbps < 10000 && !playsThird(current, kbps * 1000))
            kbps += 5;
        return kbps;
    }
};

TEST_F(HybridChoiceTest, GoesAnyNumberOfStepsUpAndDown) {
    settle(20000000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), 3);
    settle(350000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(3, 2000), 0);
}

TEST_F(HybridChoiceTest, TakesTheLowestWhereNoneFits) {
    settle(20000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(2, 1000), 0);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 1000), kStay);
}

TEST_F(HybridChoiceTest, MoreBufferNeverChoosesALowerStream) {
    settle(2000000);
    for (int current = 0; current <= kTop; ++current) {
        int last = 0;
        for (unsigned int buffer = 0; buffer <= 2 * kGoalMs; buffer += 250) {
            const int next = played(current, buffer);
            EXPECT_GE(next, last) << buffer;
            last = next;
        }
    }
}

TEST_F(HybridChoiceTest, MoreThroughputNeverChoosesALowerStream) {
    int last = 0;
    for (unsigned int kbps = 50; kbps < 8000; kbps += 50) {
        settle(kbps * 1000);
        const int next = played(1, 8000);
        EXPECT_GE(next, last) << kbps;
        last = next;
    }
    EXPECT_EQ(last, kTop);
}

TEST_F(HybridChoiceTest, SpendsAPartOfTheThroughputWithLittleBufferAndMoreThanAllNearTheGoal) {
    settle(1600000);
    EXPECT_LT(played(0, 0), 2);
    settle(1400000);
    EXPECT_GE(played(0, kGoalMs), 2);
}

TEST_F(HybridChoiceTest, StretchesWithTheGoal) {
    settle(2800000);
    std::vector<int> with25;
    for (unsigned int buffer = 8000; buffer <= 30000; buffer += 500) // nothing stands still there
        with25.push_back(played(0, buffer));
    const int before = played(0, 10000);
    switcher.SetBufferGoal(4 * kGoalMs);
    std::vector<int> with100;
    for (unsigned int buffer = 8000; buffer <= 30000; buffer += 500)
        with100.push_back(played(0, 4 * buffer));
    EXPECT_EQ(with100, with25);
    EXPECT_LT(played(0, 10000), before);
    switcher.SetBufferGoal(0);
    EXPECT_EQ(played(0, 10000), before);
}

TEST_F(HybridChoiceTest, CountsTheLatencyAsTimeOfTheDownload) {
    for (int i = 0; i < 5; ++i)
        fetchBytes(1000000, 2000, 0);
    const int without = played(0, 8000);
    begin(switcher);
    for (int i = 0; i < 5; ++i)
        fetchBytes(1000000, 4500, 2500);
    EXPECT_LT(played(0, 8000), without);
}

TEST_F(HybridChoiceTest, OneOddSegmentDoesNotTurnTheEstimate) {
    settle(700000);
    fetch(700000, 30);
    const int before = played(0, 8000);
    fetch(3000000, 1, 500);
    EXPECT_LT(played(0, 8000), kTop);
    EXPECT_LE(played(0, 8000), before + 1);
    fetch(6000000, 20);
    EXPECT_EQ(played(0, 8000), kTop);
}

TEST_F(HybridChoiceTest, RemembersLongerThanAFewSeconds) {
    settle(6000000);
    fetch(6000000, 30);
    fetch(1000000, 4);
    // A mean of the last segments alone would be below the second stream's need.
    EXPECT_GE(played(0, 10000), 2);
}

TEST_F(HybridChoiceTest, GoesByTheSizesOfTheNextSegment) {
    settle(1600000);
    const int byBitrate = played(0, 10000);
    EXPECT_LT(byBitrate, kTop);
    switcher.SetNextSizes({10000, 20000, 30000, 40000});
    EXPECT_EQ(played(0, 10000), kTop);
    switcher.SetNextSizes({100000, 2000000, 3000000, 4000000});
    EXPECT_EQ(played(kTop, 10000), 0);
    // One size of a wrong number of streams is none at all, nor is a size of 0.
    switcher.SetNextSizes({1});
    EXPECT_EQ(played(0, 10000), byBitrate);
    switcher.SetNextSizes({0, 0, 0, 0});
    EXPECT_EQ(played(0, 10000), byBitrate);
    switcher.SetNextSizes({});
    EXPECT_EQ(played(0, 10000), byBitrate);
}

TEST_F(HybridChoiceTest, SizesHoldForOneSegment) {
    settle(1600000);
    const int byBitrate = played(0, 10000);
    switcher.SetNextSizes({10000, 20000, 30000, 40000});
    fetch(1600000);
    EXPECT_EQ(played(0, 10000), byBitrate);
}

TEST_F(HybridChoiceTest, SizesToldDuringATransferAreOfTheNextSegment) {
    settle(1600000);
    switcher.SegmentBegun(0, 400000, 10000, now);
    switcher.SetNextSizes({10000, 20000, 30000, 40000});
    switcher.SegmentDone(400000, 0, 12000, now + 2000);
    EXPECT_EQ(played(0, 10000), kTop);
}

TEST_F(HybridChoiceTest, CountsTheAudioAndTheMarginOnTopOfBitratesAndSizes) {
    settle(4000000);
    ASSERT_EQ(played(0, 12000), kTop);
    switcher.SetAudioBitrate(2000000);
    EXPECT_LT(played(0, 12000), kTop);
    switcher.SetNextSizes({1, 1, 1, kTopBytes});
    EXPECT_EQ(played(0, 12000), 2);
    switcher.SetAudioBitrate(-2000000);
    EXPECT_EQ(played(0, 12000), kTop);
    switcher.SetSwitchParam(0, 2000);
    EXPECT_EQ(played(0, 12000), 2);
    switcher.SetSwitchParam(0, -2000);
    EXPECT_EQ(played(0, 12000), kTop);
}

TEST_F(HybridChoiceTest, FavoursThePresentStream) {
    const unsigned int toEnter = thirdBegins(1);
    const unsigned int toStay = thirdBegins(2);
    EXPECT_LT(toStay, toEnter);
    EXPECT_GT(toStay, toEnter / 2);
}

TEST_F(HybridChoiceTest, GoesByTheCheckerUntilASegmentIsMeasured) {
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), kStay);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(kTop, 0), kStay);
    checker.begining = 20000000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), kTop);
    checker.avg = 350000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(kTop, 2000), 0);
    fetch(20000000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), kTop);
}

TEST_F(HybridChoiceTest, NeedsNoChecker) {
    switcher.Init(nullptr);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), kStay);
    fetch(20000000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), kTop);
}

TEST_F(HybridChoiceTest, LearnsTheDurationOfSegments) {
    const auto isTopAt = [this](unsigned int durationMs) {
        switcher.SetSegmentDuration(0);
        // Playing drains the buffer by a second and a half before the segment is in.
        for (int i = 0; i < 3; ++i) {
            switcher.SegmentBegun(0, 500000, 10000, now);
            now += 1500;
            switcher.SegmentDone(500000, 0, 8500 + durationMs, now);
        }
        switcher.SetNextSizes(kSizes); // at the top 3 Mbit/s with 4 s, 12 with one
        return played(0, 10000) == kTop;
    };
    EXPECT_TRUE(isTopAt(4000));
    begin(switcher);
    EXPECT_FALSE(isTopAt(1000));
}

TEST_F(HybridChoiceTest, LearnsTheDurationBeforePlayingBegins) {
    switcher.SetSegmentDuration(0);
    unsigned int buffer = 0;
    for (int i = 0; i < 4; ++i) {
        switcher.SegmentBegun(0, 1500000, buffer, now);
        for (int step = 0; step < 60; ++step)
            switcher.SegmentProgress(25000U * static_cast<unsigned int>(step), buffer, now += 50);
        buffer += 1000;
        switcher.SegmentDone(1500000, 0, buffer, now);
    }
    // Had the buffer been taken to drain, a segment would seem to last 2 s and this one to fit.
    switcher.SetNextSizes({1, 1, 1, 700000});
    EXPECT_LT(played(0, 10000), kTop);
}

TEST_F(HybridChoiceTest, AShortSegmentChangesNothingOfTheDurationThatIsLearnt) {
    switcher.SetSegmentDuration(0);
    for (const unsigned int durationMs : {4000U, 4000U, 4000U, 300U}) {
        switcher.SegmentBegun(0, 500000, 10000, now);
        now += 1500;
        switcher.SegmentDone(500000, 0, 8500 + durationMs, now);
    }
    switcher.SetNextSizes(kSizes);
    EXPECT_EQ(played(0, 10000), kTop);
}

TEST_F(HybridChoiceTest, LearnsTheDurationOfWhatComesBehindAStall) {
    switcher.SetSegmentDuration(0);
    for (int i = 0; i < 3; ++i) {
        switcher.SegmentBegun(0, 3000000, 2000, now);
        now += 9000; // The buffer is empty for seven of these seconds.
        switcher.SegmentDone(3000000, 0, 1000, now);
    }
    switcher.SetNextSizes(kSizes); // at the top 12 Mbit/s with segments of one second
    EXPECT_LT(played(0, 10000), kTop);
}

TEST_F(HybridChoiceTest, LogsChangesOnly) {
    const test::LogCapture log;
    settle(20000000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(kTop, 20000), kStay);
    EXPECT_TRUE(log.messages("HybridSegSwitcher.cpp").empty());
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), kTop);
    EXPECT_EQ(log.messages("HybridSegSwitcher.cpp"),
              std::vector<std::string>{"Bitrate Change: 0 -> 3, buffer 20000 ms"});
}

TEST_F(HybridChoiceTest, WithoutADurationSegmentsAreOfAUsualOne) {
    const auto played25 = [this](unsigned int durationMs) {
        begin(switcher);
        checker.avg = 3200000;
        switcher.SetSegmentDuration(durationMs);
        switcher.SetNextSizes(kSizes);
        return played(0, 10000);
    };
    EXPECT_EQ(played25(0), played25(4000));
    EXPECT_LT(played25(1000), played25(0));
}

TEST_F(HybridChoiceTest, InitForgetsAllButStreamsAndLimits) {
    switcher.SetBitrateLimit({}, {{0, 900000}});
    settle(20000000);
    switcher.SetEnableSwitch(false);
    switcher.SetAudioBitrate(1);
    switcher.SetStartBitrate(2);
    switcher.SetStartBitrateLevel(hascommon::START_BITRATE_LEVEL_HIGHEST);
    switcher.Init(&checker);
    EXPECT_TRUE(switcher.GetEnableSwitch());
    EXPECT_EQ(switcher.GetAudioBitrate(), 0);
    EXPECT_EQ(switcher.GetStartBitrate(), 0);
    EXPECT_EQ(switcher.GetStartBitrateLevel(), hascommon::START_BITRATE_LEVEL_DEFAULT);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), kStay);
    checker.avg = 20000000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), 1);
}

TEST_F(HybridChoiceTest, KeepsWhatItHasMeasuredForOtherStreams) {
    settle(20000000);
    switcher.ResetData({100000, 200000}, true);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), 1);
}

TEST_F(HybridChoiceTest, SwitchedOffItStays) {
    settle(20000000);
    switcher.SetEnableSwitch(false);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), kStay);
    switcher.SetEnableSwitch(true);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), kTop);
}

TEST_F(HybridChoiceTest, LevelsAreOfNoEffect) {
    settle(20000000);
    checker.current = 1000;
    for (unsigned int buffer = 7000; buffer > 1000; buffer -= 1000)
        switcher.ProcessAdaptiveSegLevel(0, buffer, false);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), kTop);
}

TEST_F(HybridChoiceTest, WithoutStreamsItStays) {
    settle(20000000);
    switcher.ResetData({}, false);
    for (const int current : {-2, -1, 0, 1})
        EXPECT_EQ(switcher.ProcessAdaptiveSeg(current, 20000), kStay);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(1000000, 0), 0);
    EXPECT_EQ(switcher.GetMatchingStreamIndex(300000), -1);
}

TEST_F(HybridChoiceTest, ChoosesForAPresentIndexThatIsNoStream) {
    settle(20000000);
    for (const int current :
         {std::numeric_limits<int>::min(), -2, -1, 4, std::numeric_limits<int>::max()})
        EXPECT_EQ(switcher.ProcessAdaptiveSeg(current, 20000), kTop);
}

TEST_F(HybridChoiceTest, AClockThatGoesBackwardsTellsNothing) {
    settle(600000);
    const int before = played(0, 8000);
    for (int i = 0; i < 20; ++i) {
        switcher.SegmentBegun(0, 100000000, 10000, now);
        switcher.SegmentDone(100000000, 0, 10000, now - 5000);
    }
    EXPECT_EQ(played(0, 8000), before);
    switcher.SegmentDone(100000000, 0, 10000, now + 1); // and neither what was never begun
    EXPECT_EQ(played(0, 8000), before);
}

TEST_F(HybridChoiceTest, WhatComesWithinAMillisecondIsFast) {
    for (int i = 0; i < 3; ++i)
        fetchBytes(1000000, 0);
    EXPECT_EQ(played(0, 20000), kTop);
}

TEST_F(HybridChoiceTest, LimitsOfNumbersAreHarmless) {
    using std::numeric_limits;
    constexpr auto kBytes = numeric_limits<unsigned long long>::max();
    constexpr auto kMs = numeric_limits<unsigned int>::max();
    switcher.SetSegmentDuration(0);
    switcher.SetBufferGoal(kMs);
    switcher.SetAudioBitrate(numeric_limits<int>::max());
    switcher.SetSwitchParam(numeric_limits<int>::max(), numeric_limits<int>::max());
    switcher.SetNextSizes({kBytes, kBytes, kBytes, kBytes});
    switcher.SegmentBegun(3, kBytes, kMs, numeric_limits<long long>::min());
    switcher.SegmentProgress(kBytes, kMs, numeric_limits<long long>::max());
    switcher.SegmentDone(kBytes, kMs, kMs, numeric_limits<long long>::max());
    EXPECT_EQ(played(2, kMs), 0);
    switcher.ResetData({numeric_limits<int>::min(), numeric_limits<int>::max()}, false);
    EXPECT_LE(played(1, kMs), 1);
}

TEST_F(HybridChoiceTest, SatisfiedIsAtMostOneAboveThePresentOne) {
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(5000000, 1), 2);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(5000000, 2), 3);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(5000000, std::numeric_limits<int>::max()), 3);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(5000000, -1), 0);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(5000000, -2), 0);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(800000, 3), 1);
    switcher.SetAudioBitrate(1);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(800000, 3), 0);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(1, 3), 0);
}

TEST_F(HybridChoiceTest, MatchesTheHighestIndexOfABitrate) {
    switcher.ResetData({100, 200, 200}, false);
    EXPECT_EQ(switcher.GetMatchingStreamIndex(200), 2);
    EXPECT_EQ(switcher.GetMatchingStreamIndex(150), -1);
}

} // namespace
