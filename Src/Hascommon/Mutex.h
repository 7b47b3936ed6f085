/// @file
/// The plain mutex.
#pragma once

#include <Hascommon/Export.h>
#include <Hascommon/ThreadAnnotations.h>

#include <pthread.h>

namespace hascommon {

/// A mutex with the default attributes of pthreads; locking it twice from one thread deadlocks.
class HAS_API HAS_CAPABILITY("mutex") Mutex {
public:
    Mutex();
    /// The mutex must be free.
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    /// @return the result of `pthread_mutex_lock`, 0 on success
    int Lock() HAS_ACQUIRE();
    /// @return the result of `pthread_mutex_unlock`, 0 on success
    int Unlock() HAS_RELEASE();
    /// @return whether the mutex was free and is now held
    bool TryLock() HAS_TRY_ACQUIRE(true);

private:
    pthread_mutex_t m_mutex;
};

} // namespace hascommon
