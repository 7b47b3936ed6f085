// The thread that runs pass after pass.
#pragma once

#include <Hascommon/Mutex.h>
#include <Hascommon/Thread.h>
#include <Hasnet/curl_thread_option.h>
#include <Hasnet/detail/Pass.h>
#include <Hasnet/detail/RequestQueue.h>

namespace hascommon::detail {

/// Starts and ends the engine's thread, and is its body.
class TransferThread {
public:
    /// @param sleepTime  the paced loop's period in microseconds
    TransferThread(Curl& front, Pass& pass, RequestQueue& queue, curl_thread_option option,
                   int sleepTime);

    /// Lets the engine run, on a new thread where none does. Inside a callback it does nothing
    /// while another thread is starting or stopping the engine.
    void Start();
    /// Ends the engine and waits for the thread, which may need the item lock to come to its end:
    /// a caller that holds it gives it up meanwhile. Not for a callback.
    void Stop();
    /// A pass and its pause. @return false to end the thread
    bool Turn();

private:
    void open() HAS_REQUIRES(m_mutex);
    unsigned int pacedPass();

    Curl& m_front;
    Pass& m_pass;
    RequestQueue& m_queue;
    const curl_thread_option m_option;
    const int m_sleepTime;
    Mutex m_mutex;
    Thread m_thread HAS_GUARDED_BY(m_mutex);
};

} // namespace hascommon::detail
