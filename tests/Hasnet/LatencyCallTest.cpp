#include <Hasnet/LatencyCall.h>

#include <Hascommon/Datetime.h>

#include <gtest/gtest.h>

#include <limits>

namespace {

using hascommon::has_getTime;
using hascommon::LatencyCall;

void waitUntilAfter(long long time) {
    while (has_getTime() <= time) {
    }
}

TEST(LatencyCall, ANewOneNeverFires) {
    const long long before = has_getTime();
    LatencyCall call;
    EXPECT_TRUE(call.IsStop());
    EXPECT_GE(call.GetStartTime(), before);
    EXPECT_EQ(call.GetDelay(), 0);
    EXPECT_EQ(call.GetLevel(), 0);
    waitUntilAfter(call.GetStartTime() + 1);
    EXPECT_FALSE(call.IsCheck());
}

TEST(LatencyCall, KeepsWhatItIsGiven) {
    LatencyCall call;
    const long long before = has_getTime();
    call.Start(5000, -3);
    EXPECT_GE(call.GetStartTime(), before);
    EXPECT_EQ(call.GetDelay(), 5000);
    EXPECT_EQ(call.GetLevel(), -3);
    EXPECT_FALSE(call.IsStop());
    EXPECT_FALSE(call.IsCheck());
    EXPECT_FALSE(call.IsStop());
}

TEST(LatencyCall, FiresOnceWhenMoreThanTheDelayHasPassed) {
    LatencyCall call;
    call.Start(0, 1);
    for (;;) {
        const bool fired = call.IsCheck();
        if (fired) {
            EXPECT_GT(has_getTime(), call.GetStartTime());
            break;
        }
    }
    EXPECT_TRUE(call.IsStop());
    EXPECT_FALSE(call.IsCheck());
    call.Start(0, 1);
    waitUntilAfter(call.GetStartTime());
    EXPECT_TRUE(call.IsCheck());
}

TEST(LatencyCall, DoesNotFireInTheMillisecondOfItsStart) {
    LatencyCall call;
    for (int tries = 0; tries < 1000; ++tries) {
        call.Start(0, 0);
        const bool fired = call.IsCheck();
        if (has_getTime() == call.GetStartTime()) {
            EXPECT_FALSE(fired);
            return;
        }
    }
    FAIL() << "never within a millisecond";
}

TEST(LatencyCall, ANegativeDelayFiresAtOnce) {
    LatencyCall call;
    call.Start(-1, 0);
    EXPECT_TRUE(call.IsCheck());
    call.Start(std::numeric_limits<long long>::min(), 0);
    EXPECT_TRUE(call.IsCheck());
}

TEST(LatencyCall, TheLongestDelayDoesNotFire) {
    LatencyCall call;
    call.Start(std::numeric_limits<long long>::max(), 0);
    EXPECT_FALSE(call.IsCheck());
}

TEST(LatencyCall, StopDisarms) {
    LatencyCall call;
    call.Start(-1, 0);
    call.Stop();
    EXPECT_TRUE(call.IsStop());
    EXPECT_FALSE(call.IsCheck());
}

TEST(LatencyCall, StartingAgainRestartsTheDelay) {
    LatencyCall call;
    call.Start(-1, 1);
    call.Start(60000, 2);
    EXPECT_FALSE(call.IsCheck());
    EXPECT_EQ(call.GetLevel(), 2);
}

} // namespace
