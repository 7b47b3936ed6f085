// The lock of the unit table.
#pragma once

#include <Hascommon/ThreadAnnotations.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace hascommon::detail {

/// A recursive lock that serves its waiters in the order they came and that its holder can give up
/// at every depth at once.
///
/// First come, first served is what lets an owner in between two passes of the transfer loop, which
/// releases the lock only to take it again.
class HAS_CAPABILITY("mutex") ItemLock {
public:
    /// @param onContention  called by a thread that is about to wait for the lock
    explicit ItemLock(std::function<void()> onContention);
    ItemLock(const ItemLock&) = delete;
    ItemLock& operator=(const ItemLock&) = delete;

    void Lock() HAS_ACQUIRE();
    /// Ignored on a thread that does not hold the lock.
    void Unlock() HAS_RELEASE();

    /// Gives the lock up whatever its depth, and tells the depth: 0 on a thread without it.
    unsigned int ReleaseAll() HAS_RELEASE();
    /// Takes the lock at the depth that ReleaseAll() told.
    void Reacquire(unsigned int depth) HAS_ACQUIRE();

    bool HeldByThisThread() const;
    /// For the compiler's analysis, where a callback runs under a lock taken far below.
    void AssertHeld() const HAS_ASSERT_CAPABILITY(this) {}
    /// Whether another thread waits for the lock.
    bool HasWaiters() const { return m_waiters > 0; }

private:
    void acquire(unsigned int depth);
    void release();

    const std::function<void()> m_onContention;
    std::mutex m_mutex;
    std::condition_variable m_turn;
    std::uint64_t m_nextTicket = 0;
    std::uint64_t m_serving = 0;
    std::atomic<unsigned int> m_waiters{0};
    std::atomic<std::thread::id> m_holder{};
    /// Touched by the holder only.
    unsigned int m_depth = 0;
};

} // namespace hascommon::detail
