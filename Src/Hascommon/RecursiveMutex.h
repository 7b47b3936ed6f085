/// @file
/// The recursive mutex.
#pragma once

#include <Hascommon/Export.h>
#include <Hascommon/ThreadAnnotations.h>

#include <pthread.h>

namespace hascommon {

/// A mutex that its holder may lock again; it is free once it was unlocked as often.
///
/// Any thread may call, but only the holder may unlock. LockGuard holds it for a scope.
class HAS_API HAS_CAPABILITY("mutex") RecursiveMutex {
public:
    /// Where the platform refuses a recursive mutex the object is left without one, and every
    /// operation returns that error.
    RecursiveMutex();
    /// The mutex must be free.
    ~RecursiveMutex();
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;

    /// Waits until no other thread holds the mutex and takes it once more.
    /// @return the result of `pthread_mutex_lock`, 0 on success
    int Lock() HAS_ACQUIRE();
    /// Takes one lock of this thread back.
    /// @return the result of `pthread_mutex_unlock`, 0 on success
    int Unlock() HAS_RELEASE();
    /// @return whether the mutex was free, or already this thread's, and is now held once more
    bool TryLock() HAS_TRY_ACQUIRE(true);

private:
    pthread_mutex_t m_mutex{};
};

} // namespace hascommon
