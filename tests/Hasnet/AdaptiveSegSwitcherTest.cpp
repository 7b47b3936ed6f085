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
using test::Ranges;
using Switcher = test::SwitcherTest;

TEST_F(Switcher, EstimateOfALowBitrateHasATenthOfMargin) {
    EXPECT_EQ(switcher.GetEstimateBandwidth(300000), 30000 + 375000);
    EXPECT_EQ(switcher.GetEstimateBandwidth(809999), 80000 + 1012498);
    EXPECT_EQ(switcher.GetEstimateBandwidth(0), 0);
    EXPECT_EQ(switcher.GetEstimateBandwidth(1279999), 127000 + 1599998);
}

TEST_F(Switcher, EstimateCountsTheAudio) {
    switcher.SetAudioBitrate(128000);
    EXPECT_EQ(switcher.GetAudioBitrate(), 128000);
    EXPECT_EQ(switcher.GetEstimateBandwidth(300000), 42000 + 375000 + 128000);
}

TEST_F(Switcher, FirstHighBitrateLatchesAFixedMargin) {
    EXPECT_EQ(switcher.GetEstimateBandwidth(3000000), 3750000);
    EXPECT_EQ(switcher.GetEstimateBandwidth(3000000), 3878000);
    EXPECT_EQ(switcher.GetEstimateBandwidth(300000), 375000 + 128000);
    switcher.SetSwitchParam(0, 0);
    EXPECT_EQ(switcher.GetEstimateBandwidth(300000), 30000 + 375000);
    EXPECT_EQ(switcher.GetEstimateBandwidth(1280000), 1600000);
    switcher.Init(&checker);
    EXPECT_EQ(switcher.GetEstimateBandwidth(300000), 30000 + 375000);
}

TEST_F(Switcher, AudioCountsForTheLatchToo) {
    switcher.SetAudioBitrate(1000000);
    EXPECT_EQ(switcher.GetEstimateBandwidth(280000), 350000 + 1000000);
    EXPECT_EQ(switcher.GetEstimateBandwidth(280000), 128000 + 350000 + 1000000);
}

TEST_F(Switcher, EstimateTakesAGivenMargin) {
    switcher.SetSwitchParam(0, 50);
    EXPECT_EQ(switcher.GetEstimateBandwidth(3000000), 3800000);
    switcher.SetSwitchParam(0, -50);
    EXPECT_EQ(switcher.GetEstimateBandwidth(3000000), 3700000);
}

TEST_F(Switcher, EstimateWrapsAt32Bits) {
    switcher.SetSwitchParam(0, INT_MAX);
    EXPECT_EQ(switcher.GetEstimateBandwidth(0), -1000);
    switcher.SetSwitchParam(0, 1);
    EXPECT_EQ(switcher.GetEstimateBandwidth(INT_MAX), 1000 + 2147483643 / 4);
    switcher.SetAudioBitrate(INT_MAX);
    switcher.SetSwitchParam(0, 0);
    EXPECT_EQ(switcher.GetEstimateBandwidth(INT_MAX), -1610612739);
}

TEST_F(Switcher, GoesUpOneStepHoweverMuchBandwidthThereIs) {
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(5000000, 1), 2);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(5000000, 0), 1);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(5000000, -1), 0);
}

TEST_F(Switcher, GoesDownAnyNumberOfSteps) {
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(600000, 3), 0);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(2100000, 3), 2);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(5000000, 3), 3);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(5000000, 77), 3);
}

TEST_F(Switcher, AStreamHasToNeedLessThanThereIs) {
    switcher.SetSwitchParam(0, 100);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(1100000, 3), 0);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(1100001, 3), 1);
}

TEST_F(Switcher, WhereNothingFitsTheLowestBitrateIsChosen) {
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(1, 3), 0);
    switcher.ResetData({500, 300, 400, 300}, false);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(-1, 3), 3);
    switcher.ResetData({}, false);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(5000000, 3), 0);
}

TEST_F(Switcher, WithoutAStreamYetTheSmallestSeenIsChosen) {
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(1500000, -2), 1);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(9000000, -2), 3);
}

TEST_F(Switcher, MatchingStreamIsTheHighestOfItsBitrate) {
    switcher.ResetData({100, 200, 200, 300}, false);
    EXPECT_EQ(switcher.GetMatchingStreamIndex(200), 2);
    EXPECT_EQ(switcher.GetMatchingStreamIndex(100), 0);
    EXPECT_EQ(switcher.GetMatchingStreamIndex(250), -1);
}

TEST_F(Switcher, LimitsAllowRangesAndEntries) {
    EXPECT_FALSE(switcher.HasBitrateLimit());
    EXPECT_TRUE(switcher.CheckBitrateLimit(12345));
    switcher.SetBitrateLimit({}, Ranges{{100, 200}});
    EXPECT_FALSE(switcher.HasBitrateLimit());
    EXPECT_TRUE(switcher.CheckBitrateLimit(100));
    EXPECT_TRUE(switcher.CheckBitrateLimit(200));
    EXPECT_FALSE(switcher.CheckBitrateLimit(99));
    EXPECT_FALSE(switcher.CheckBitrateLimit(201));
    switcher.SetBitrateLimit({{300, 1, 2}, {300, 3, 4}}, Ranges{{100, 200}});
    EXPECT_TRUE(switcher.HasBitrateLimit());
    EXPECT_TRUE(switcher.CheckBitrateLimit(300));
    EXPECT_TRUE(switcher.CheckBitrateLimit(150));
    EXPECT_FALSE(switcher.CheckBitrateLimit(301));
}

TEST_F(Switcher, FirstEntryOfABitrateCounts) {
    switcher.SetBitrateLimit({{300, 1, 2}, {300, 3, 4}}, {});
    bitrateParam_t param{7, 7, 7};
    EXPECT_FALSE(switcher.GetBitrateParam(1, param));
    EXPECT_EQ(param.bitrate, 7);
    EXPECT_TRUE(switcher.GetBitrateParam(300, param));
    EXPECT_EQ(param.group, 1);
    EXPECT_EQ(param.upgradeClass, 2);
}

TEST_F(Switcher, SettersAreReadBackAndInitClearsThem) {
    switcher.SetStartBitrate(5);
    switcher.SetStartBitrateLevel(hascommon::START_BITRATE_LEVEL_HIGHEST);
    switcher.SetEnableSwitch(false);
    switcher.SetAudioBitrate(9);
    EXPECT_EQ(switcher.GetStartBitrate(), 5);
    EXPECT_EQ(switcher.GetStartBitrateLevel(), hascommon::START_BITRATE_LEVEL_HIGHEST);
    EXPECT_FALSE(switcher.GetEnableSwitch());
    switcher.SetBitrateLimit({{300, 1, 2}}, {});
    switcher.Init(&checker);
    EXPECT_EQ(switcher.GetStartBitrate(), 0);
    EXPECT_EQ(switcher.GetStartBitrateLevel(), hascommon::START_BITRATE_LEVEL_DEFAULT);
    EXPECT_TRUE(switcher.GetEnableSwitch());
    EXPECT_EQ(switcher.GetAudioBitrate(), 0);
    EXPECT_TRUE(switcher.HasBitrateLimit());
    EXPECT_EQ(switcher.GetMatchingStreamIndex(800000), 1);
}

TEST_F(Switcher, ASegmentChangesTheStreamWithItsLogLines) {
    checker.avg = 5000000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(1, 9000), 2);
    const std::string dashes(49, '-');
    EXPECT_EQ(messages(), (std::vector<std::string>{"CheckStreamChange(1, 2), ok, no param",
                                                    "Bandwidth Switch OK : 1 -> 2", "\n", dashes,
                                                    "Bitrate Change: 1 -> 2", dashes + "\n",
                                                    "Bitrate Changed Number : 1", dashes + "\n"}));
    EXPECT_EQ(log.lines().back().function, "ProcessAdaptiveSeg");
    EXPECT_EQ(log.lines().back().priority, 4);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(2, 9000), 3);
    EXPECT_EQ(log.count("Bitrate Changed Number : 2"), 1);
}

TEST_F(Switcher, ASegmentThatNeedsNoChangeStays) {
    checker.avg = 5000000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(3, 9000), -1);
    EXPECT_TRUE(messages().empty());
}

TEST_F(Switcher, ARefusedChangeStays) {
    checker.avg = 500000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(3, 8000), -1);
    EXPECT_EQ(messages(), std::vector<std::string>{"Bandwidth Switch Pass : 3 -> 0"});
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(3, 7999), 0);
}

TEST_F(Switcher, SwitchedOffItStays) {
    checker.avg = 5000000;
    switcher.SetEnableSwitch(false);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(1, 9000), -1);
    switcher.SetEnableSwitch(true);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(1, 9000), 2);
}

TEST_F(Switcher, WithoutACheckerItStays) {
    switcher.Init(nullptr);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(1, 9000), -1);
    switcher.ProcessAdaptiveSegLevel(1, 2, false);
    EXPECT_TRUE(messages().empty());
    AdaptiveSegSwitcher never;
    EXPECT_EQ(never.ProcessAdaptiveSeg(0, 9000), -1);
}

TEST_F(Switcher, AtTheStartAFirstSampleHasToBeSixTimesTheBitrate) {
    checker.begining = 6 * 300000 - 1;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 9000), -1);
    checker.begining = 6 * 300000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 9000), 1);
}

TEST_F(Switcher, AtTheStartFourFifthsOfTheSampleAreTrusted) {
    switcher.SetSwitchParam(0, 1);
    switcher.ResetData({100000, 1000000}, false);
    // A stream of 1 Mbit/s needs 1,251,000; four fifths of 1,563,750 are exactly that.
    checker.begining = 1563750;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 9000), -1);
    checker.begining = 1563752;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 9000), 1);
}

TEST_F(Switcher, AtTheStartABitrateOfZeroStays) {
    switcher.ResetData({0, 1000}, false);
    checker.begining = 5000000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 9000), -1);
}

TEST_F(Switcher, AtTheStartAHugeSampleWrapsToNothing) {
    checker.begining = 600000000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 9000), -1);
    checker.begining = 3000000000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 9000), -1);
    switcher.ResetData({-1, 5}, false);
    checker.begining = 0x80000000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 9000), -1);
}

TEST_F(Switcher, AnInvalidPresentIndexNeverReadsOutside) {
    for (const int cur : {-1, -2, -3, 4, INT_MAX, INT_MIN}) {
        checker.avg = 0;
        checker.begining = 50000000;
        EXPECT_EQ(switcher.ProcessAdaptiveSeg(cur, 0), -1) << cur;
    }
    checker.avg = 50000000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(-1, 0), 0);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(-2, 0), 3);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(7, 0), 3);
    EXPECT_EQ(log.count("CheckStreamChange(-1, 0), ok, no param"), 1);
}

TEST_F(Switcher, APresentIndexFarBelowZeroStaysWithMinusOne) {
    checker.avg = 50000000;
    for (const int cur : {-3, -4, -100, INT_MIN}) {
        EXPECT_EQ(switcher.ProcessAdaptiveSeg(cur, 0), -1) << cur;
        EXPECT_FALSE(log.contains("Bitrate Change: " + std::to_string(cur) + " -> " +
                                  std::to_string(cur + 1)));
    }
    EXPECT_FALSE(log.contains("Bitrate Changed Number : 1"));
}

TEST_F(Switcher, AnEmptyListChangesToItsFirstPlaceOnly) {
    switcher.ResetData({}, false);
    checker.avg = 50000000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 0), -1);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(2, 0), 0);
}

TEST_F(Switcher, BandwidthBeyondThirtyOneBitsIsNone) {
    checker.avg = 0x80000000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 9000), -1);
    EXPECT_TRUE(messages().empty());
}

TEST_F(Switcher, ATimerThatRanOutWithoutAChangeIsDropped) {
    setGroups({1, 2, 3, 4}, {1, 1, 1, 1});
    switcher.SetSwitchParam(100, 0);
    useUpGrants();
    checker.avg = 5000000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 9000), -1);
    EXPECT_EQ(messages(),
              (std::vector<std::string>{"start up timer check", "Bandwidth Switch Pass : 0 -> 1"}));
    switcher.SetSwitchParam(-1, 0);
    checker.avg = 500000;
    log.clear();
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 9000), -1);
    EXPECT_EQ(messages(),
              std::vector<std::string>{"fail up timer check: elasped(0) upTimer(-1), level(1)"});
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 9000), -1);
    EXPECT_EQ(messages().size(), 1U);
}

TEST_F(Switcher, ATimerOfASecondLetsGoUpAfterASecond) {
    setGroups({1, 2, 3, 4}, {1, 1, 1, 1});
    switcher.SetSwitchParam(1, 0);
    useUpGrants();
    checker.avg = 5000000;
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 9000), -1);
    std::this_thread::sleep_for(std::chrono::milliseconds(1005));
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 9000), 1);
    EXPECT_EQ(log.count("CheckStreamChange(0, 1), ok, success up timer check"), 1);
}

TEST_F(Switcher, ADrainingBufferRaisesTheLevelToFour) {
    checker.current = 2500000;
    checker.avg = 2000000;
    checker.min = 1999;
    for (const unsigned int duration : {7000U, 6000U, 5000U, 4000U, 3000U, 2000U})
        switcher.ProcessAdaptiveSegLevel(123456, duration, false);
    EXPECT_EQ(messages(), (std::vector<std::string>{
                              "ABS Stat: cbw 2500k abw 2000k mbw 1k buf 123k bdur 7000ms lvl 1",
                              "ABS Stat: cbw 2500k abw 2000k mbw 1k buf 123k bdur 6000ms lvl 2",
                              "ABS Stat: cbw 2500k abw 2000k mbw 1k buf 123k bdur 5000ms lvl 3",
                              "ABS Stat: cbw 2500k abw 2000k mbw 1k buf 123k bdur 4000ms lvl 4",
                              "ABS Stat: cbw 2500k abw 2000k mbw 1k buf 123k bdur 3000ms lvl 4",
                              "ABS Stat: cbw 2500k abw 2000k mbw 1k buf 123k bdur 2000ms lvl 4"}));
}

TEST_F(Switcher, AFillingBufferLowersTheLevelToOne) {
    raiseLevelTo(4);
    std::vector<char> levels;
    for (const unsigned int duration : {7100U, 7200U, 7300U, 7400U, 7400U}) {
        switcher.ProcessAdaptiveSegLevel(0, duration, false);
        levels.push_back(messages().back().back());
    }
    EXPECT_EQ(levels, (std::vector<char>{'3', '2', '1', '1', '1'}));
}

TEST_F(Switcher, TheLevelStaysWithAFullBufferOrWhenAsked) {
    checker.current = 1000;
    switcher.ProcessAdaptiveSegLevel(0, 9000, false);
    switcher.ProcessAdaptiveSegLevel(0, 8000, false);
    EXPECT_EQ(messages().back().back(), '1');
    switcher.ProcessAdaptiveSegLevel(0, 7000, true);
    EXPECT_EQ(messages().back().back(), '1');
    switcher.ProcessAdaptiveSegLevel(0, 6999, false);
    EXPECT_EQ(messages().back().back(), '2');
    switcher.ProcessAdaptiveSegLevel(0, 6999, false);
    EXPECT_EQ(messages().back().back(), '2');
}

TEST_F(Switcher, TheLevelIsLeftAloneWithoutABandwidth) {
    checker.current = 0;
    switcher.ProcessAdaptiveSegLevel(0, 7000, false);
    switcher.ProcessAdaptiveSegLevel(0, 6000, false);
    EXPECT_TRUE(messages().empty());
    checker.current = 1;
    switcher.ProcessAdaptiveSegLevel(0, 5000, false);
    EXPECT_EQ(messages().back().back(), '1') << "the durations before do not count";
}

TEST_F(Switcher, DecisionsLevelsAndSettersMayMeet) {
    checker.current = 1000000;
    checker.avg = 5000000;
    std::thread setters([&] {
        for (int i = 0; i < 300; ++i) {
            switcher.SetBitrateLimit({{300000, i % 2, 1}, {800000, 1, 1}}, Ranges{{1, 2}});
            switcher.SetSwitchParam(i % 3, i % 5);
            switcher.SetAudioBitrate(i);
            switcher.ResetData({300000, 800000}, i % 2 == 0);
        }
    });
    std::thread levels([&] {
        for (unsigned int i = 0; i < 300; ++i)
            switcher.ProcessAdaptiveSegLevel(i, 8000 - i, false);
    });
    for (int i = 0; i < 300; ++i) {
        const int next = switcher.ProcessAdaptiveSeg(i % 4, 9000);
        EXPECT_TRUE(next >= -1 && next < 4) << next;
    }
    setters.join();
    levels.join();
}

} // namespace
