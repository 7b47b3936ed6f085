#include <Hasnet/detail/WakeEvent.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include <poll.h>

namespace {

using Clock = std::chrono::steady_clock;
using hascommon::detail::WakeEvent;

bool readable(int descriptor) {
    pollfd fd{descriptor, POLLIN, 0};
    return poll(&fd, 1, 0) == 1;
}

bool readable(const WakeEvent& event) {
    return readable(event.Descriptor());
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

TEST(WakeEvent, ASignalBeforeTheDescriptorIsAskedForStands) {
    WakeEvent event;
    event.Signal();
    EXPECT_TRUE(readable(event));
    event.Drain();
    EXPECT_FALSE(readable(event));
    event.Signal();
    EXPECT_TRUE(readable(event));
}

TEST(WakeEvent, TheDescriptorTellsSignalsWhileSomebodyWaits) {
    WakeEvent event;
    event.Signal();
    {
        const WakeEvent::Wait first(event);
        EXPECT_TRUE(readable(first.Descriptor()));
        event.Drain();
        EXPECT_FALSE(readable(first.Descriptor()));
        const WakeEvent::Wait second(event);
        event.Signal();
        EXPECT_TRUE(readable(second.Descriptor()));
    }
    event.Drain();
    event.Signal();
    event.Drain();
    const WakeEvent::Wait third(event);
    EXPECT_FALSE(readable(third.Descriptor()));
}

TEST(WakeEvent, NoSignalIsLostBetweenAWaiterAndItsSignallers) {
    constexpr int kRounds = 20000;
    WakeEvent event;
    std::atomic<int> told{0};
    std::atomic<int> seen{0};
    std::thread signaller([&] {
        for (int round = 1; round <= kRounds; ++round) {
            told = round;
            event.Signal();
            while (round % 2 == 0 && seen < round)
                std::this_thread::yield();
        }
    });
    while (seen < kRounds) {
        const auto start = Clock::now();
        event.SleepUs(60U * 1000000U);
        ASSERT_LT(Clock::now() - start, std::chrono::seconds(30)) << seen;
        event.Drain();
        seen = told.load();
    }
    signaller.join();
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
