#include <Hasnet/detail/TransferThread.h>

#include <Hascommon/Datetime.h>
#include <Hascommon/LockGuard.h>
#include <Hasnet/Curl.h>
#include <Hasnet/detail/ByteCount.h>
#include <Hasnet/detail/ItemRelease.h>

#include <algorithm>

namespace hascommon::detail {
namespace {

constexpr unsigned int kPlainLoopSleepUs = 1000;
/// A loop without a period does not spin while there is nothing to do.
constexpr unsigned int kIdleSleepUs = 1000;

} // namespace

TransferThread::TransferThread(Curl& front, Pass& pass, RequestQueue& queue,
                               curl_thread_option option, int sleepTime)
    : m_front(front)
    , m_pass(pass)
    , m_queue(queue)
    , m_option(option)
    , m_sleepTime(sleepTime) {}

void TransferThread::Start() {
    if (m_pass.InPass()) {
        // A pass keeps the item lock: what calls from inside one counts on that. Whoever has the
        // mutex may be waiting for this very pass.
        if (m_mutex.TryLock()) {
            open();
            m_mutex.Unlock();
        }
        return;
    }
    // Where a Quit() has the mutex, its thread may be waiting for the lock.
    const ItemRelease release(m_pass.lock);
    const LockGuard<Mutex> guard(m_mutex);
    open();
}

void TransferThread::open() {
    if (!m_queue.Open())
        return;
    m_thread.Join(nullptr); // One that a callback's Quit() has ended.
    if (!m_thread.Create(Curl::Loop, &m_front))
        m_queue.LoopEnded();
}

void TransferThread::Stop() {
    const ItemRelease release(m_pass.lock);
    const LockGuard<Mutex> guard(m_mutex);
    // Not before: a Start() on another thread would open the engine again, and the thread would
    // never end.
    m_queue.Close();
    m_pass.wake.Signal();
    m_thread.Join(nullptr);
    m_queue.LoopEnded();
}

bool TransferThread::Turn() {
    unsigned int pause = kPlainLoopSleepUs;
    if (m_option == CURL_THREAD_PACED)
        pause = pacedPass();
    else
        m_front.RunOnce();
    // The pass may have swallowed the signal that came with the end.
    if (pause > 0 && !m_queue.Quit())
        m_pass.wake.SleepUs(pause);
    return !m_queue.EndsLoop();
}

unsigned int TransferThread::pacedPass() {
    // From start to end on purpose: the difference wraps once a pass took a millisecond, and that
    // turn does not sleep.
    const unsigned int start = low32(has_getTime());
    m_front.RunOnce();
    const unsigned int spent = (start - low32(has_getTime())) * 1000U;
    const auto period = static_cast<unsigned int>(std::max(m_sleepTime, 0));
    if (period == 0 && !m_pass.HasTransfers())
        return kIdleSleepUs;
    return spent < period ? period - spent : 0;
}

} // namespace hascommon::detail
