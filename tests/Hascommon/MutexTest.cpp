#include <Hascommon/LockGuard.h>
#include <Hascommon/Mutex.h>
#include <Hascommon/RecursiveMutex.h>

#include <gtest/gtest.h>

#include <thread>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define HAS_THREAD_SANITIZER
#endif
#endif

namespace {

template<typename Lockable>
bool otherThreadCanLock(Lockable& lock) HAS_NO_THREAD_SAFETY_ANALYSIS {
    bool locked = false;
    std::thread([&]() HAS_NO_THREAD_SAFETY_ANALYSIS {
        locked = lock.TryLock();
        if (locked)
            lock.Unlock();
    }).join();
    return locked;
}

TEST(Mutex, LockAndUnlockReturnTheSystemsResult) {
    hascommon::Mutex mutex;
    EXPECT_EQ(mutex.Lock(), 0);
    EXPECT_EQ(mutex.Unlock(), 0);
}

TEST(Mutex, TryLockOfAHeldMutexIsFalseWithoutBlocking) {
    hascommon::Mutex mutex;
    mutex.Lock();
    EXPECT_FALSE(otherThreadCanLock(mutex));
    mutex.Unlock();
    EXPECT_TRUE(otherThreadCanLock(mutex));
}

TEST(RecursiveMutex, IsFreeOnlyAfterAsManyUnlocksAsLocks) HAS_NO_THREAD_SAFETY_ANALYSIS {
    hascommon::RecursiveMutex mutex;
    EXPECT_EQ(mutex.Lock(), 0);
    EXPECT_EQ(mutex.Lock(), 0);
    EXPECT_TRUE(mutex.TryLock());
    EXPECT_EQ(mutex.Unlock(), 0);
    EXPECT_EQ(mutex.Unlock(), 0);
    EXPECT_FALSE(otherThreadCanLock(mutex));
    EXPECT_EQ(mutex.Unlock(), 0);
    EXPECT_TRUE(otherThreadCanLock(mutex));
}

#ifndef HAS_THREAD_SANITIZER // Which rightly reports the misuse that this is about.
TEST(RecursiveMutex, UnlockOfAMutexNotHeldReturnsTheSystemsError) HAS_NO_THREAD_SAFETY_ANALYSIS {
    hascommon::RecursiveMutex mutex;
    EXPECT_EQ(mutex.Unlock(), EPERM);
}
#endif

TEST(LockGuard, HoldsForItsScope) {
    hascommon::Mutex mutex;
    {
        const hascommon::LockGuard<hascommon::Mutex> guard(mutex);
        EXPECT_FALSE(otherThreadCanLock(mutex));
    }
    EXPECT_TRUE(otherThreadCanLock(mutex));
}

} // namespace
