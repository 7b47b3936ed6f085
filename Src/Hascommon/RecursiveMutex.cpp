#include <Hascommon/RecursiveMutex.h>

namespace hascommon {

RecursiveMutex::RecursiveMutex() {
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0)
        return;
    if (pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE) != 0)
        return;
    pthread_mutex_init(&m_mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

RecursiveMutex::~RecursiveMutex() {
    pthread_mutex_destroy(&m_mutex);
}

int RecursiveMutex::Lock() HAS_NO_THREAD_SAFETY_ANALYSIS {
    return pthread_mutex_lock(&m_mutex);
}

int RecursiveMutex::Unlock() HAS_NO_THREAD_SAFETY_ANALYSIS {
    return pthread_mutex_unlock(&m_mutex);
}

bool RecursiveMutex::TryLock() HAS_NO_THREAD_SAFETY_ANALYSIS {
    return pthread_mutex_trylock(&m_mutex) == 0;
}

} // namespace hascommon
