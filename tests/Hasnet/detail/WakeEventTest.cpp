#include <Hasnet/detail/WakeEvent.h>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include <poll.h>

namespace {

using Clock = std::chrono::steady_clock;
using hascommon::detail::WakeEvent;

bool readable(const WakeEvent& event) {
    pollfd fd{event.Descriptor(), POLLIN, 0};
    return poll(&fd, 1, 0) == 1;
}

TEST(WakeEvent, SignalStandsUntilItIsDrained) {
    WakeEvent event;
    EXPECT_FALSE(readable(event));
    event.Signal();
    event.Signal();
    EXPECT_TRUE(readable(event));
    event.Drain();
    EXPECT_FALSE(readable(event));
    event.Drain();
}

TEST(WakeEvent, SleepLastsItsFullTimeWithoutASignal) {
    const WakeEvent event;
    const auto start = Clock::now();
    event.SleepUs(20000);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(20));
}

TEST(WakeEvent, SignalEndsASleep) {
    WakeEvent event;
    std::thread signaller([&] { event.Signal(); });
    const auto start = Clock::now();
    event.SleepUs(60U * 1000000U);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(30));
    signaller.join();
}

TEST(WakeEvent, SignalBeforeASleepEndsItToo) {
    WakeEvent event;
    event.Signal();
    const auto start = Clock::now();
    event.SleepUs(60U * 1000000U);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(30));
}

} // namespace
