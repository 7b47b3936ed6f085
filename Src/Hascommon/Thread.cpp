#include <Hascommon/Thread.h>

#include <Hascommon/detail/Log.h>

namespace hascommon {

Thread::Thread() = default;

Thread::~Thread() {
    Detach();
}

bool Thread::Create(bool (*fn)(void*), void* arg) {
    m_function = fn;
    m_argument = arg;
    if (m_running)
        Detach();

    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0)
        return false;
    if (pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_JOINABLE) != 0)
        return false;

    // Set before the thread exists: a failed start leaves the flag up for Join() and Detach().
    m_running = true;
    const int error = pthread_create(&m_handle, &attributes, Routine, this);
    if (error != 0)
        HAS_LOG("thread::create => fail, %d", error);
    pthread_attr_destroy(&attributes);
    return error == 0;
}

void* Thread::Routine(void* self) {
    auto* thread = static_cast<Thread*>(self);
    bool again = true;
    while (again) {
        bool (*function)(void*) = thread->m_function;
        again = function(thread->m_argument);
    }
    return nullptr;
}

bool Thread::Join(void** result) {
    if (!m_running)
        return true;
    const int error = pthread_join(m_handle, result);
    if (error != 0)
        HAS_LOG("thread::join => fail, %d", error);
    m_running = false;
    return error == 0;
}

bool Thread::Detach() {
    if (!m_running)
        return true;
    const int error = pthread_detach(m_handle);
    if (error != 0)
        HAS_LOG("thread::detach => fail, %d", error);
    m_running = false;
    return error == 0;
}

bool Thread::IsThread() {
    return m_running;
}

} // namespace hascommon
