#include <Hasnet/detail/RequestQueue.h>

#include <utility>

namespace hascommon::detail {

using Guard = LockGuard<Mutex>;

bool RequestQueue::Enqueue(UnitObject& unit, unsigned int key) {
    {
        const Guard guard(m_mutex);
        if (m_closed || key < m_key)
            return false;
        m_begun.push_back(&unit);
        m_anyBegun = true;
        unit.queued = true;
    }
    m_wake.Signal();
    return true;
}

std::vector<UnitObject*> RequestQueue::TakeBegun() {
    if (!m_anyBegun)
        return {};
    const Guard guard(m_mutex);
    m_anyBegun = false;
    return std::exchange(m_begun, {});
}

void RequestQueue::NextKey() {
    const Guard guard(m_mutex);
    ++m_key;
}

void RequestQueue::Close() {
    const Guard guard(m_mutex);
    m_closed = true; // First: what ends the units finds nobody handing over another.
    m_quit = true;
    m_ended.Signal();
}

bool RequestQueue::Open() {
    const Guard guard(m_mutex);
    m_quit = false;
    m_ended.Drain();
    m_closed = false;
    return !m_looping.exchange(true);
}

bool RequestQueue::EndsLoop() {
    // Under the lock, so that an Open() either comes before and keeps the thread going, or comes
    // after, finds it ended and has another one started.
    const Guard guard(m_mutex);
    if (m_quit)
        m_looping = false;
    return m_quit;
}

} // namespace hascommon::detail
