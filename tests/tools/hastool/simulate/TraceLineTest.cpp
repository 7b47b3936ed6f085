#include <hastool/simulate/TraceLine.h>

#include <gtest/gtest.h>

namespace {

using hastool::NetworkTrace;
using hastool::TraceLine;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// A second of 1 Mbit/s, then two of 4.
NetworkTrace steps(milliseconds latency = milliseconds(0)) {
    return {"steps", "", {{seconds(1), 1e6, latency}, {seconds(2), 4e6, latency * 2}}};
}

constexpr double kSecond = 1e6;
constexpr double kAll = 0; // no minima: receive() ends with the bits

} // namespace

TEST(TraceLine, TakesTheTimeThatTheRateNeeds) {
    const NetworkTrace trace = steps();
    TraceLine line(trace);
    const auto came = line.receive(500'000, 500'000, kAll);
    EXPECT_DOUBLE_EQ(came.bits, 500'000);
    EXPECT_NEAR(came.time, kSecond / 2, 1e-3);
}

TEST(TraceLine, GoesOverFromOneRateToTheNext) {
    const NetworkTrace trace = steps();
    TraceLine line(trace);
    EXPECT_NEAR(line.receive(3e6, 3e6, kAll).time, 1.5 * kSecond, 1e-3);
}

TEST(TraceLine, BeginsAnewAtTheEnd) {
    const NetworkTrace trace = steps();
    TraceLine line(trace);
    EXPECT_NEAR(line.receive(9e6 + 5e5, 9e6 + 5e5, kAll).time, 3.5 * kSecond, 1e-3);
}

TEST(TraceLine, TimeWithoutATransferIsLost) {
    const NetworkTrace trace = steps();
    TraceLine line(trace);
    line.wait(1.5 * kSecond);
    EXPECT_NEAR(line.receive(4e6, 4e6, kAll).time, kSecond, 1e-3);
    line.wait(0.5 * kSecond + 3 * kSecond); // the rest, and the whole trace once more
    EXPECT_NEAR(line.receive(1e6, 1e6, kAll).time, kSecond, 1e-3);
}

TEST(TraceLine, NothingComesWhileTheRateIsNothing) {
    const NetworkTrace trace{"outage", "", {{seconds(1), 1e6, {}}, {seconds(5), 0, {}}}};
    TraceLine line(trace);
    EXPECT_NEAR(line.receive(1.5e6, 1.5e6, kAll).time, 6.5 * kSecond, 1e-3);
}

TEST(TraceLine, ReceivesUntilBothMinimaAreReached) {
    const NetworkTrace trace = steps();
    TraceLine line(trace);
    const auto byTime = line.receive(1e9, 10'000, 50'000);
    EXPECT_NEAR(byTime.time, 50'000, 1e-3);
    EXPECT_NEAR(byTime.bits, 50'000, 1e-3);
    const auto byBits = line.receive(1e9, 80'000, 50'000);
    EXPECT_NEAR(byBits.bits, 80'000, 1e-3);
    EXPECT_NEAR(byBits.time, 80'000, 1e-3);
}

TEST(TraceLine, ReceivesNoMoreThanThereIs) {
    const NetworkTrace trace = steps();
    TraceLine line(trace);
    EXPECT_DOUBLE_EQ(line.receive(1000, 10'000, 50'000).bits, 1000);
}

TEST(TraceLine, ALatencyPassesAsThePeriodHasIt) {
    const NetworkTrace trace = steps(milliseconds(100));
    TraceLine line(trace);
    EXPECT_NEAR(line.request(), 100'000, 1e-3);
    EXPECT_NEAR(line.receive(900'000, 900'000, kAll).time, 900'000, 1e-3);
    EXPECT_NEAR(line.request(), 200'000, 1e-3);
}

TEST(TraceLine, ALatencyThatPassesFromOnePeriodToTheNextHasItsShareOfBoth) {
    const NetworkTrace trace = steps(milliseconds(400));
    TraceLine line(trace);
    line.wait(0.8 * kSecond);
    EXPECT_NEAR(line.request(), 200'000 + 400'000, 1e-3); // half of 400 ms, then half of 800
}

TEST(TraceLine, WithoutALatencyNoTimePasses) {
    const NetworkTrace trace = steps();
    TraceLine line(trace);
    EXPECT_DOUBLE_EQ(line.request(), 0);
}
