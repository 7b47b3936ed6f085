#include <Hasnet/detail/ItemLock.h>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using hascommon::detail::ItemLock;

/// Runs a function on another thread and waits for its end.
template<typename Function>
void elsewhere(Function function) {
    std::thread(function).join();
}

void waitForWaiters(const ItemLock& lock) {
    while (!lock.HasWaiters())
        std::this_thread::yield();
}

TEST(ItemLock, IsFreeOnlyAfterAsManyUnlocksAsLocks) HAS_NO_THREAD_SAFETY_ANALYSIS {
    ItemLock lock([] {});
    lock.Lock();
    lock.Lock();
    EXPECT_TRUE(lock.HeldByThisThread());
    lock.Unlock();
    EXPECT_TRUE(lock.HeldByThisThread());
    lock.Unlock();
    EXPECT_FALSE(lock.HeldByThisThread());
    elsewhere([&]() HAS_NO_THREAD_SAFETY_ANALYSIS {
        lock.Lock();
        lock.Unlock();
    });
}

TEST(ItemLock, UnlockOnAThreadThatDoesNotHoldItIsIgnored) HAS_NO_THREAD_SAFETY_ANALYSIS {
    ItemLock lock([] {});
    lock.Lock();
    elsewhere([&]() HAS_NO_THREAD_SAFETY_ANALYSIS { lock.Unlock(); });
    EXPECT_TRUE(lock.HeldByThisThread());
    lock.Unlock();
    lock.Unlock();
    EXPECT_FALSE(lock.HeldByThisThread());
}

TEST(ItemLock, ReleaseAllFreesEveryDepthAndReacquireRestoresIt) HAS_NO_THREAD_SAFETY_ANALYSIS {
    ItemLock lock([] {});
    for (int i = 0; i < 5; ++i)
        lock.Lock();
    const unsigned int depth = lock.ReleaseAll();
    EXPECT_EQ(depth, 5U);
    EXPECT_FALSE(lock.HeldByThisThread());
    elsewhere([&]() HAS_NO_THREAD_SAFETY_ANALYSIS {
        lock.Lock();
        lock.Unlock();
    });
    lock.Reacquire(depth);
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(lock.HeldByThisThread());
        lock.Unlock();
    }
    EXPECT_FALSE(lock.HeldByThisThread());
}

TEST(ItemLock, ReleaseAllWithoutTheLockIsDepthZeroAndStaysSo) HAS_NO_THREAD_SAFETY_ANALYSIS {
    ItemLock lock([] {});
    EXPECT_EQ(lock.ReleaseAll(), 0U);
    lock.Reacquire(0);
    EXPECT_FALSE(lock.HeldByThisThread());
}

TEST(ItemLock, WaiterIsAnnouncedAndComesBeforeTheHolderTakesItAgain) HAS_NO_THREAD_SAFETY_ANALYSIS {
    std::atomic<int> announced{0};
    ItemLock lock([&] { ++announced; });
    for (int turn = 0; turn < 200; ++turn) {
        bool waiterWasIn = false;
        lock.Lock();
        std::thread waiter([&]() HAS_NO_THREAD_SAFETY_ANALYSIS {
            lock.Lock();
            waiterWasIn = true;
            lock.Unlock();
        });
        waitForWaiters(lock);
        lock.Unlock();
        lock.Lock(); // At once, as a transfer loop does.
        EXPECT_TRUE(waiterWasIn);
        lock.Unlock();
        waiter.join();
    }
    EXPECT_GE(announced, 200);
}

TEST(ItemLock, GuardsWhatManyThreadsTouch) {
    ItemLock lock([] {});
    int counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 2000; ++n) {
                const hascommon::detail::ItemGuard outer(lock);
                ++counter;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 8000);
}

// Where the compiler cannot check that the lock is held, debug and sanitizer builds check it.
#ifndef NDEBUG
TEST(ItemLockDeathTest, UseWithoutTheLockEndsTheProgram) {
    ItemLock lock([] {});
    EXPECT_DEATH(lock.AssertHeld(), "HeldByThisThread");
    const hascommon::detail::ItemGuard guard(lock);
    elsewhere([&] { EXPECT_DEATH(lock.AssertHeld(), "HeldByThisThread"); });
    lock.AssertHeld();
}
#endif

} // namespace
