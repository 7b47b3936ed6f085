#include <Hasnet/detail/ItemLock.h>

#include <cassert>
#include <utility>

namespace hascommon::detail {

ItemLock::ItemLock(std::function<void()> onContention)
    : m_onContention(std::move(onContention)) {}

bool ItemLock::HeldByThisThread() const {
    return m_holder == std::this_thread::get_id();
}

void ItemLock::Lock() HAS_NO_THREAD_SAFETY_ANALYSIS {
    if (HeldByThisThread())
        ++m_depth;
    else
        acquire(1);
}

void ItemLock::Unlock() HAS_NO_THREAD_SAFETY_ANALYSIS {
    if (HeldByThisThread() && --m_depth == 0)
        release();
}

unsigned int ItemLock::ReleaseAll() HAS_NO_THREAD_SAFETY_ANALYSIS {
    if (!HeldByThisThread())
        return 0;
    const unsigned int depth = std::exchange(m_depth, 0U);
    release();
    return depth;
}

void ItemLock::Reacquire(unsigned int depth) HAS_NO_THREAD_SAFETY_ANALYSIS {
    if (depth > 0)
        acquire(depth);
}

void ItemLock::AssertHeld() const {
    assert(HeldByThisThread());
}

void ItemLock::LetWaitersIn() HAS_NO_THREAD_SAFETY_ANALYSIS {
    if (HasWaiters())
        Reacquire(ReleaseAll());
}

void ItemLock::acquire(unsigned int depth) {
    std::unique_lock<std::mutex> lock(m_mutex);
    const std::uint64_t ticket = m_nextTicket++;
    if (ticket != m_serving) {
        ++m_waiters;
        m_onContention();
        m_turn.wait(lock, [&] { return ticket == m_serving; });
        --m_waiters;
    }
    m_holder = std::this_thread::get_id();
    m_depth = depth;
}

void ItemLock::release() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_holder = std::thread::id();
    ++m_serving;
    if (m_waiters > 0)
        m_turn.notify_all();
}

} // namespace hascommon::detail
