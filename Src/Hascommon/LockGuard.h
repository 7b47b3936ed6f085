/// @file
/// Holds a lock for a scope.
#pragma once

#include <Hascommon/ThreadAnnotations.h>

namespace hascommon {

/// Locks at construction and unlocks at destruction; `Lockable` is Mutex or RecursiveMutex.
///
/// The lock is borrowed and must outlive the guard. A guard belongs to one thread: the one that
/// made it also ends it. What Lock() returns is not looked at, so a lock that its platform refused
/// guards nothing.
template<typename Lockable>
class HAS_SCOPED_CAPABILITY LockGuard {
public:
    /// Waits until the lock is this thread's.
    explicit LockGuard(Lockable& lock) HAS_ACQUIRE(lock)
        : m_lock(lock) {
        m_lock.Lock();
    }
    /// Gives the lock up, once if it is a recursive one.
    ~LockGuard() HAS_RELEASE() { m_lock.Unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    Lockable& m_lock;
};

} // namespace hascommon
