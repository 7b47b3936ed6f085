#include <Hasnet/BandwidthChecker.h>

#include <Hascommon/Datetime.h>
#include <support/LogCapture.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using hascommon::BandwidthChecker;
using hascommon::has_getTime;

constexpr unsigned int kMebibyte = 1048576;

/// A checker that is running, with a clock of the test's own from a fixed base on.
class RunningChecker : public testing::Test {
protected:
    void SetUp() override {
        checker.ParseComp();
        checker.Start();
        checker.ResetRxBaseTime(kBase);
        now = kBase;
    }

    /// `bytes` over `duration` ms, then a poll that is due.
    void transferAndPoll(unsigned int duration, unsigned int bytes) {
        const auto start = static_cast<unsigned int>(now);
        checker.AddRxTimeInfo(start, start + duration, bytes);
        now += std::max(duration + 1, 251U);
        checker.OnPolling(now);
    }
    void fillWindow(unsigned int bytes) {
        for (int i = 0; i < 5; ++i)
            transferAndPoll(200, bytes);
    }
    std::vector<std::string> pushed() const {
        std::vector<std::string> result;
        for (const std::string& line : log.messages("BandwidthChecker.cpp")) {
            if (line.find("Push") != std::string::npos)
                result.push_back(line);
        }
        return result;
    }

    static constexpr long long kBase = 1000000;
    test::LogCapture log;
    BandwidthChecker checker;
    long long now = 0;
};

TEST(BandwidthChecker, BeginsIdleWithItsDefaults) {
    BandwidthChecker checker;
    EXPECT_FALSE(checker.IsMonitoring());
    EXPECT_EQ(checker.GetMonitorInterval(), 250U);
    EXPECT_EQ(checker.GetCurrentBandwidth(), 0U);
    EXPECT_EQ(checker.GetBeginingBandwidth(), 0U);
    EXPECT_EQ(checker.GetCurrentMinBandwidth(), 0U);
    EXPECT_EQ(checker.GetCurrentAvgBandwidth(), 0U);
    EXPECT_EQ(checker.GetVariationRateBandwidth(), 0);
    EXPECT_EQ(checker.GetDownloadPerHour(), 0U);
    checker.SetMonitorInterval(7);
    EXPECT_EQ(checker.GetMonitorInterval(), 7U);
}

TEST(BandwidthChecker, BothBasesReachTheSameObject) {
    auto checker = std::make_unique<BandwidthChecker>();
    BandwidthChecker& object = *checker;
    hascommon::IDownloadEvent& events = object;
    hascommon::IBandwidthChecker& owner = object;
    EXPECT_NE(static_cast<void*>(&events), static_cast<void*>(&owner));
    object.ParseComp();
    owner.Start();
    events.ResetRxBaseTime(1000);
    events.AddRxTimeInfo(1000, 1200, 25000);
    object.setBwSampleCount(1);
    owner.OnPolling(1300);
    EXPECT_EQ(owner.GetCurrentBandwidth(), 1000000U);
    // Deleted through its second base.
    const std::unique_ptr<hascommon::IDownloadEvent> second(checker.release());
}

TEST(BandwidthChecker, StartAndStopLogAndSucceed) {
    BandwidthChecker checker;
    test::LogCapture log;
    EXPECT_TRUE(checker.Start());
    EXPECT_TRUE(checker.IsMonitoring());
    EXPECT_TRUE(checker.Stop());
    EXPECT_FALSE(checker.IsMonitoring());
    EXPECT_EQ(log.messages("BandwidthChecker.cpp"),
              (std::vector<std::string>{"!! BandwidthChecker::Start", "BandwidthChecker::Start",
                                        "!! BandwidthChecker::Stop", "BandwidthChecker::Stop"}));
    EXPECT_EQ(log.lines().front().priority, 4);
    EXPECT_EQ(log.lines().front().function, "Start");
}

TEST(BandwidthChecker, PollsBeforeTheManifestOrWhileStoppedDoNothing) {
    BandwidthChecker checker;
    checker.setBwSampleCount(1);
    checker.Start();
    checker.ResetRxBaseTime(1000);
    checker.AddRxTimeInfo(1000, 1200, 25000);
    test::LogCapture log;
    checker.OnPolling(1300);
    EXPECT_TRUE(log.lines().empty());
    checker.ParseComp();
    checker.Stop();
    log.clear();
    checker.OnPolling(1300);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(checker.GetCurrentBandwidth(), 0U);
    checker.Start();
    checker.ResetRxBaseTime(1000);
    checker.AddRxTimeInfo(1000, 1200, 25000);
    checker.OnPolling(1300);
    EXPECT_EQ(checker.GetCurrentBandwidth(), 1000000U);
}

TEST_F(RunningChecker, CurrentStaysZeroUntilTheWindowIsFull) {
    for (unsigned int i = 1; i <= 4; ++i) {
        transferAndPoll(200, 25000 * i);
        EXPECT_EQ(checker.GetCurrentBandwidth(), 0U);
        EXPECT_EQ(checker.GetCurrentAvgBandwidth(), 0U);
        EXPECT_EQ(checker.GetBeginingBandwidth(), 1000000 * i);
    }
    transferAndPoll(200, 25000 * 5);
    EXPECT_EQ(checker.GetCurrentBandwidth(), 5000000U);
    EXPECT_EQ(checker.GetCurrentMinBandwidth(), 1000000U);
    EXPECT_EQ(checker.GetCurrentAvgBandwidth(), 3000000U);
    EXPECT_EQ(checker.GetDownloadPerHour(), 450U * 5000000U);
    EXPECT_EQ(checker.GetVariationRateBandwidth(), 5000000);
    EXPECT_EQ(checker.GetBeginingBandwidth(), 4000000U);
}

TEST_F(RunningChecker, OldSamplesLeaveTheWindow) {
    fillWindow(25000);
    transferAndPoll(200, 250000);
    EXPECT_EQ(checker.GetCurrentBandwidth(), 10000000U);
    EXPECT_EQ(checker.GetVariationRateBandwidth(), 9000000);
    fillWindow(12500);
    EXPECT_EQ(checker.GetCurrentBandwidth(), 500000U);
    EXPECT_EQ(checker.GetCurrentAvgBandwidth(), 500000U);
    EXPECT_EQ(checker.GetVariationRateBandwidth(), -9500000);
    transferAndPoll(200, 12500);
    EXPECT_EQ(checker.GetVariationRateBandwidth(), 0);
}

TEST_F(RunningChecker, RatesAndPerHourWrapAt32Bits) {
    checker.setBwSampleCount(1);
    transferAndPoll(100, 20000000);
    EXPECT_EQ(checker.GetCurrentBandwidth(), 1600000000U);
    EXPECT_EQ(checker.GetDownloadPerHour(), static_cast<unsigned int>(450ULL * 1600000000ULL));
}

TEST_F(RunningChecker, MeanWrapsAndBitThirtyTwoIsASign) {
    checker.setBwSampleCount(2);
    transferAndPoll(100, 20000000);
    transferAndPoll(100, 37500000);
    EXPECT_EQ(pushed().back(), "Bandwidth : Push -1294967296 bps");
    EXPECT_EQ(checker.GetCurrentBandwidth(), 1600000000U);
    EXPECT_EQ(checker.GetCurrentMinBandwidth(), 3000000000U);
    EXPECT_EQ(checker.GetCurrentAvgBandwidth(), (1600000000U + 3000000000U) / 2);
}

TEST_F(RunningChecker, AnEarlyPollRunsWhenMoreThanAMebibyteArrived) {
    checker.AddRxTimeInfo(kBase, kBase + 100, 2 * kMebibyte);
    checker.AddRxTimeInfo(kBase, kBase + 200, 0);
    checker.OnPolling(kBase + 100);
    EXPECT_EQ(pushed(), std::vector<std::string>{"Bandwidth : Push 83886080 bps"});
}

TEST_F(RunningChecker, AnEarlyPollWithAMebibyteExactlyDoesNothing) {
    checker.AddRxTimeInfo(kBase, kBase + 200, kMebibyte);
    log.clear();
    checker.OnPolling(kBase + 100);
    EXPECT_TRUE(log.lines().empty());
    checker.AddRxTimeInfo(kBase, kBase + 200, 1);
    checker.OnPolling(kBase + 100);
    EXPECT_EQ(pushed().size(), 1U);
}

TEST_F(RunningChecker, AnEarlyPollNeedsMoreThanAFortiethOfThePeriod) {
    checker.AddRxTimeInfo(kBase, kBase + 6, 2 * kMebibyte);
    log.clear();
    checker.OnPolling(kBase + 100);
    EXPECT_TRUE(log.lines().empty());
    checker.AddRxTimeInfo(kBase, kBase + 7, 0);
    checker.OnPolling(kBase + 100);
    EXPECT_EQ(log.messages("BandwidthChecker.cpp").size(), 1U);
    EXPECT_TRUE(pushed().empty());
}

TEST_F(RunningChecker, APollAfterExactlyThePeriodIsNotDue) {
    checker.AddRxTimeInfo(kBase, kBase + 200, 25000);
    log.clear();
    checker.OnPolling(kBase + 250);
    EXPECT_TRUE(log.lines().empty());
    checker.OnPolling(kBase + 251);
    EXPECT_EQ(pushed().size(), 1U);
}

TEST_F(RunningChecker, BytesOfAShortTransferAreDropped) {
    checker.AddRxTimeInfo(kBase, kBase + 11, 1000000);
    log.clear();
    checker.OnPolling(kBase + 300);
    EXPECT_TRUE(pushed().empty());
    EXPECT_EQ(log.messages("BandwidthChecker.cpp"),
              std::vector<std::string>{"dur  300 ms\t tdur   11 ms\t maxbw  0.00 Kbps\t "
                                       "curbw  0.00 Kbps\t recv 1000000 bytes"});
    checker.AddRxTimeInfo(kBase + 300, kBase + 500, 25000);
    checker.OnPolling(kBase + 551);
    EXPECT_EQ(pushed(), std::vector<std::string>{"Bandwidth : Push 1000000 bps"});
}

TEST_F(RunningChecker, ATransferOfATwentiethOfThePeriodIsASample) {
    checker.AddRxTimeInfo(kBase, kBase + 12, 1500);
    checker.OnPolling(kBase + 300);
    EXPECT_EQ(pushed(), std::vector<std::string>{"Bandwidth : Push 1000000 bps"});
}

TEST_F(RunningChecker, APollWithoutChunksMakesNoSample) {
    transferAndPoll(200, 25000);
    log.clear();
    now += 300;
    checker.OnPolling(now);
    EXPECT_TRUE(pushed().empty());
    EXPECT_EQ(log.messages("BandwidthChecker.cpp").size(), 1U);
}

TEST_F(RunningChecker, APollRightAfterANewTimeBaseMakesNoSample) {
    checker.AddRxTimeInfo(kBase, kBase + 200, 25000);
    checker.ResetRxBaseTime(kBase + 1000);
    checker.OnPolling(kBase + 1300);
    EXPECT_TRUE(pushed().empty());
}

TEST_F(RunningChecker, SamplesReachFromTheFirstBeginToTheLastEnd) {
    checker.AddRxTimeInfo(kBase + 100, kBase + 150, 10000);
    checker.AddRxTimeInfo(kBase + 50, kBase + 120, 10000);
    checker.AddRxTimeInfo(kBase + 150, kBase + 250, 5000);
    checker.OnPolling(kBase + 300);
    // Until the first poll the base counts as the begin of a chunk.
    EXPECT_EQ(pushed().back(), "Bandwidth : Push 800000 bps");
    checker.AddRxTimeInfo(kBase + 400, kBase + 450, 10000);
    checker.AddRxTimeInfo(kBase + 350, kBase + 550, 15000);
    checker.OnPolling(kBase + 600);
    EXPECT_EQ(pushed().back(), "Bandwidth : Push 1000000 bps");
}

TEST_F(RunningChecker, AWindowOfZerosLeavesTheStatistics) {
    fillWindow(25000);
    fillWindow(0);
    EXPECT_EQ(checker.GetCurrentBandwidth(), 1000000U);
    // They are the figures of the window with one sample left.
    EXPECT_EQ(checker.GetCurrentAvgBandwidth(), 200000U);
    EXPECT_EQ(checker.GetVariationRateBandwidth(), 0);
}

TEST_F(RunningChecker, LogsAPollInKilobits) {
    fillWindow(31250);
    EXPECT_EQ(log.messages("BandwidthChecker.cpp").back(),
              "dur  251 ms\t tdur  200 ms\t maxbw 1250.00 Kbps\t curbw 1250.00 Kbps\t "
              "recv 31250 bytes");
    EXPECT_EQ(log.lines().back().function, "OnPolling");
}

TEST_F(RunningChecker, StopAndStartKeepTheSamples) {
    fillWindow(25000);
    checker.Stop();
    checker.Start();
    EXPECT_EQ(checker.GetCurrentBandwidth(), 1000000U);
    EXPECT_EQ(checker.GetCurrentAvgBandwidth(), 1000000U);
}

TEST_F(RunningChecker, BytesWhileStoppedDoNotCountInTheNextSample) {
    checker.Stop();
    checker.AddRxTimeInfo(kBase, kBase + 200, 1000000);
    checker.Start();
    checker.AddRxTimeInfo(kBase, kBase + 200, 25000);
    checker.OnPolling(has_getTime() + 300);
    EXPECT_EQ(pushed(), std::vector<std::string>{"Bandwidth : Push 1000000 bps"});
}

TEST_F(RunningChecker, SamplesOfTheRealClockStaySaneAfterANewTimeBase) {
    const long long base = has_getTime();
    const auto low = static_cast<unsigned int>(base);
    checker.ResetRxBaseTime(base);
    checker.OnPolling(base + 251);
    EXPECT_TRUE(pushed().empty());
    checker.AddRxTimeInfo(low + 300, low + 500, 25000);
    checker.OnPolling(base + 600);
    EXPECT_EQ(pushed(), std::vector<std::string>{"Bandwidth : Push 1000000 bps"});
}

TEST_F(RunningChecker, TheWindowHasFromOneToFiftySamples) {
    for (const int count : {0, -7, 1}) {
        checker.setBwSampleCount(count);
        transferAndPoll(200, 25000);
        EXPECT_EQ(checker.GetCurrentBandwidth(), 1000000U) << count;
    }
}

TEST_F(RunningChecker, AWindowBeyondTheRingIsOneOfFifty) {
    checker.setBwSampleCount(51);
    for (int i = 0; i < 49; ++i)
        transferAndPoll(200, 25000);
    EXPECT_EQ(checker.GetCurrentBandwidth(), 0U);
    for (int i = 0; i < 60; ++i)
        transferAndPoll(200, 25000);
    EXPECT_EQ(checker.GetCurrentBandwidth(), 1000000U);
}

TEST_F(RunningChecker, AWindowMadeSmallerAndLargerStaysInsideTheRing) {
    checker.setBwSampleCount(50);
    for (int i = 0; i < 49; ++i)
        transferAndPoll(200, 25000);
    checker.setBwSampleCount(2);
    transferAndPoll(200, 25000);
    EXPECT_EQ(checker.GetCurrentBandwidth(), 1000000U);
    checker.setBwSampleCount(50);
    for (int i = 0; i < 120; ++i)
        transferAndPoll(200, 25000);
    EXPECT_EQ(checker.GetCurrentAvgBandwidth(), 1000000U);
}

TEST_F(RunningChecker, ExtremeTimesDoNotTrap) {
    checker.OnPolling(std::numeric_limits<long long>::max());
    checker.ResetRxBaseTime(std::numeric_limits<long long>::min());
    checker.AddRxTimeInfo(0, 0xFFFFFFFF, 0xFFFFFFFF);
    checker.OnPolling(std::numeric_limits<long long>::max());
    checker.ResetRxBaseTime(-5);
    checker.OnPolling(0);
    EXPECT_EQ(checker.GetCurrentBandwidth(), 0U);
}

TEST(BandwidthCheckerAverage, IsZeroInTheMillisecondOfStart) {
    BandwidthChecker checker;
    for (int tries = 0; tries < 1000; ++tries) {
        const long long before = has_getTime();
        checker.Start();
        checker.AddRxTimeInfo(0, 1, 1000000);
        const unsigned int average = checker.GetAverageBandwidth();
        if (has_getTime() == before) {
            EXPECT_EQ(average, 0U);
            return;
        }
    }
    FAIL() << "never within a millisecond";
}

TEST(BandwidthCheckerAverage, CountsBytesSinceStart) {
    BandwidthChecker checker;
    checker.AddRxTimeInfo(0, 1, 1000000000);
    const long long before = has_getTime();
    checker.Start();
    const long long started = has_getTime();
    checker.AddRxTimeInfo(0, 1, 1000);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const long long asked = has_getTime();
    const unsigned int average = checker.GetAverageBandwidth();
    const long long answered = has_getTime();
    EXPECT_LE(average, 8000000 / (asked - started));
    EXPECT_GE(average, 8000000 / (answered - before));
}

TEST(BandwidthCheckerThreads, ReportsPollsAndReadersMayMeet) {
    BandwidthChecker checker;
    checker.ParseComp();
    checker.Start();
    const auto base = static_cast<unsigned int>(has_getTime());
    std::thread reports([&] {
        for (unsigned int i = 0; i < 2000; ++i) {
            checker.AddRxTimeInfo(base + i, base + i + 20, 100000);
            if (i % 500 == 499)
                checker.ResetRxBaseTime(base + i);
        }
    });
    std::thread polls([&] {
        for (int i = 0; i < 2000; ++i)
            checker.OnPolling(has_getTime() + 300LL * i);
    });
    unsigned long long sum = 0;
    for (int i = 0; i < 2000; ++i) {
        sum += checker.GetCurrentBandwidth() + checker.GetAverageBandwidth();
        checker.setBwSampleCount(i % 50 + 1);
        checker.SetMonitorInterval(static_cast<unsigned int>(i % 300));
    }
    reports.join();
    polls.join();
    EXPECT_GE(sum, 0U);
    EXPECT_TRUE(checker.IsMonitoring());
}

} // namespace
