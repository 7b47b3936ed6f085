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

/// What `itemLock` is an object of; has no use but that.
class HAS_CAPABILITY("mutex") ItemCapability {};

/// The item lock as the compiler's analysis knows it: the one name that HAS_GUARDED_BY and
/// HAS_REQUIRES give it wherever it is reached from. The lock itself is an ItemLock, one to an
/// engine. The analysis cannot tell two engines' locks apart, which does no harm: nothing in the
/// library deals with two engines at once.
inline constexpr ItemCapability itemLock{};

/// A recursive lock that serves its waiters in the order they came and that its holder can give up
/// at every depth at once.
///
/// First come, first served is what lets an owner in between two passes of the transfer loop, which
/// releases the lock only to take it again.
class ItemLock {
public:
    /// @param onContention  called by a thread that is about to wait for the lock
    explicit ItemLock(std::function<void()> onContention);
    ItemLock(const ItemLock&) = delete;
    ItemLock& operator=(const ItemLock&) = delete;

    void Lock() HAS_ACQUIRE(itemLock);
    /// Ignored on a thread that does not hold the lock.
    void Unlock() HAS_RELEASE(itemLock);

    /// Gives the lock up whatever its depth, and tells the depth: 0 on a thread without it.
    unsigned int ReleaseAll() HAS_RELEASE(itemLock);
    /// Takes the lock at the depth that ReleaseAll() told.
    void Reacquire(unsigned int depth) HAS_ACQUIRE(itemLock);

    bool HeldByThisThread() const;
    /// Tells the compiler's analysis that this thread holds the lock, where it cannot see that
    /// itself: in what libcurl calls. Debug and sanitizer builds end the program where it is not
    /// so.
    void AssertHeld() const HAS_ASSERT_CAPABILITY(itemLock);
    /// How deep this thread holds the lock.
    unsigned int Depth() const HAS_REQUIRES(itemLock) { return m_depth; }
    /// Whether another thread waits for the lock.
    bool HasWaiters() const { return m_waiters > 0; }
    /// Is free at every depth for a moment where another thread waits, which then comes first.
    void LetWaitersIn() HAS_REQUIRES(itemLock);

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

/// Holds the lock for a scope.
class HAS_SCOPED_CAPABILITY ItemGuard {
public:
    explicit ItemGuard(ItemLock& lock) HAS_ACQUIRE(itemLock)
        : m_lock(lock) {
        m_lock.Lock();
    }
    ~ItemGuard() HAS_RELEASE() { m_lock.Unlock(); }
    ItemGuard(const ItemGuard&) = delete;
    ItemGuard& operator=(const ItemGuard&) = delete;

private:
    ItemLock& m_lock;
};

} // namespace hascommon::detail
