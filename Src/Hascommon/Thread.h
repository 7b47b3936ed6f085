/// @file
/// A joinable worker thread that calls one function over and over.
#pragma once

#include <Hascommon/Export.h>

#include <atomic>

#include <pthread.h>

namespace hascommon {

/// A worker thread.
///
/// Ownership: the object does not own the argument of its body. Destroying a running Thread
/// detaches it, so whoever owns one joins it first when the body touches the owner; the body may
/// not outlive the Thread object itself, from which it reads its function before every call.
///
/// Thread safety: one owner calls Create(), Join() and Detach(); the body runs on the new thread.
class HAS_API Thread {
public:
    Thread();
    /// Detaches a thread that is still running; it is never joined or cancelled.
    ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Starts the thread. Its body `fn(arg)` is called again at once, without a pause, for as long
    /// as it returns true; false ends the thread.
    ///
    /// A thread that is already running is detached first and runs on unsupervised. From then on it
    /// calls the new `fn` with the new `arg` too, because both are read before every call.
    /// @return false when the thread could not be created. IsThread() then still says true, and
    ///         a later Join() or Detach() acts on the handle that was left: the result here is the
    ///         only sign of the failure.
    bool Create(bool (*fn)(void*), void* arg);

    /// The entry of the thread; `self` is the Thread object.
    /// @return null, when the body has returned false
    static void* Routine(void* self);

    /// Waits for the thread to end.
    /// @param result  receives the thread's result (null); may be null itself
    /// @return true at once when there is no thread; otherwise whether `pthread_join` succeeded
    bool Join(void** result);

    /// Lets the thread run on by itself.
    /// @return true at once when there is no thread; otherwise whether `pthread_detach` succeeded
    bool Detach();

    /// Whether a thread has been started and neither joined nor detached since.
    bool IsThread();

private:
    pthread_t m_handle{};
    bool m_running = false;
    std::atomic<bool (*)(void*)> m_function{nullptr};
    std::atomic<void*> m_argument{nullptr};
};

} // namespace hascommon
