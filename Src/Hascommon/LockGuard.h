/// @file
/// Holds a lock for a scope.
#pragma once

#include <Hascommon/ThreadAnnotations.h>

namespace hascommon {

/// Locks at construction and unlocks at destruction; `Lockable` is Mutex or RecursiveMutex.
template<typename Lockable>
class HAS_SCOPED_CAPABILITY LockGuard {
public:
    explicit LockGuard(Lockable& lock) HAS_ACQUIRE(lock)
        : m_lock(lock) {
        m_lock.Lock();
    }
    ~LockGuard() HAS_RELEASE() { m_lock.Unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    Lockable& m_lock;
};

} // namespace hascommon
