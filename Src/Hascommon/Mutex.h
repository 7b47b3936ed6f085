/// @file
/// The plain mutex.
#pragma once

#include <Hascommon/Export.h>
#include <Hascommon/ThreadAnnotations.h>

#include <pthread.h>

namespace hascommon {

/// A mutex with the default attributes of pthreads; locking it twice from one thread deadlocks.
///
/// Any thread may call, but only the holder may unlock. It is not shared between processes, and
/// priorities are not inherited through it. LockGuard holds it for a scope.
class HAS_API HAS_CAPABILITY("mutex") Mutex {
public:
    /// A mutex that nobody holds.
    Mutex();
    /// The mutex must be free.
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    /// Waits until the mutex is free and takes it.
    /// @return the result of `pthread_mutex_lock`, 0 on success
    int Lock() HAS_ACQUIRE();
    /// Gives the mutex up.
    /// @return the result of `pthread_mutex_unlock`, 0 on success
    int Unlock() HAS_RELEASE();
    /// @return whether the mutex was free and is now held
    bool TryLock() HAS_TRY_ACQUIRE(true);

private:
    pthread_mutex_t m_mutex;
};

} // namespace hascommon
