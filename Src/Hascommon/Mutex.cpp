#include <Hascommon/Mutex.h>

namespace hascommon {

Mutex::Mutex() {
    pthread_mutex_init(&m_mutex, nullptr);
}

Mutex::~Mutex() {
    pthread_mutex_destroy(&m_mutex);
}

int Mutex::Lock() HAS_NO_THREAD_SAFETY_ANALYSIS {
    return pthread_mutex_lock(&m_mutex);
}

int Mutex::Unlock() HAS_NO_THREAD_SAFETY_ANALYSIS {
    return pthread_mutex_unlock(&m_mutex);
}

bool Mutex::TryLock() HAS_NO_THREAD_SAFETY_ANALYSIS {
    return pthread_mutex_trylock(&m_mutex) == 0;
}

} // namespace hascommon
