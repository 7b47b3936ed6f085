#include <Hasnet/detail/CompletionWait.h>

#include <Hasnet/detail/ItemRelease.h>

#include <algorithm>
#include <chrono>

#include <poll.h>

namespace hascommon::detail {
namespace {

using Clock = std::chrono::steady_clock;

/// Between two looks at what has no descriptor: another owner's thread in a pass, which may run no
/// further one, or units that a Quit() is about to end.
constexpr int kLookMs = 3;

/// -1 for a time that never comes; rounded up, so that a wait does not end before it.
int msUntil(Clock::time_point end) {
    if (end == Clock::time_point::max())
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    return static_cast<int>(std::max<long long>(left.count(), 0));
}

/// The shorter of two waits, of which the first may be endless.
int shorter(int timeoutMs, int other) {
    return timeoutMs < 0 ? other : std::min(timeoutMs, other);
}

} // namespace

UnitObject* CompletionWait::Wait(int& code, long& date, int timeoutMs) {
    const auto end = timeoutMs < 0 ? Clock::time_point::max()
                                   : Clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        if (timeoutMs == 0 || mayEnd()) {
            const ItemGuard lock(m_pass.lock);
            if (UnitObject* unit = m_table.TakeCompleted(code, date))
                return unit;
            if (m_pass.InPass() || (m_queue.Quit() && !m_table.AnyToComplete()))
                return nullptr;
        }
        const int left = msUntil(end);
        if (left == 0)
            return nullptr;
        const ItemRelease release(m_pass.lock);
        waitStep(left);
    }
}

/// Whether it is worth taking the lock, which a pass is likely to hold.
bool CompletionWait::mayEnd() const {
    return m_table.AnyCompleted() || m_queue.Quit() || m_pass.InPass();
}

void CompletionWait::waitStep(int timeoutMs) {
    if (m_queue.Quit())
        waitForUnit(shorter(timeoutMs, kLookMs));
    else if (m_queue.Looping())
        waitForUnit(fallback(timeoutMs));
    else if (m_pass.Runs())
        waitForUnit(shorter(timeoutMs, kLookMs));
    else if (m_pass.Process(shorter(timeoutMs, Pass::kMaxWaitMs)) == 0 && !m_pass.HasTransfers())
        waitForWork(fallback(timeoutMs));
}

void CompletionWait::waitForUnit(int timeoutMs) {
    const WakeEvent::Wait completion(m_table.Waiting());
    pollfd watched[] = {{completion.Descriptor(), POLLIN, 0}, {m_queue.EndedFd(), POLLIN, 0}};
    poll(watched, m_queue.Quit() ? 1 : 2, timeoutMs);
}

void CompletionWait::waitForWork(int timeoutMs) {
    const WakeEvent::Wait completion(m_table.Waiting());
    const WakeEvent::Wait work(m_pass.wake);
    pollfd watched[] = {{completion.Descriptor(), POLLIN, 0},
                        {m_queue.EndedFd(), POLLIN, 0},
                        {work.Descriptor(), POLLIN, 0}};
    poll(watched, 3, timeoutMs);
}

/// Without a descriptor nothing would end the wait.
int CompletionWait::fallback(int timeoutMs) const {
    const bool hasAll = m_table.Waiting().CanFire() && m_queue.EndedFd() >= 0;
    return hasAll ? timeoutMs : shorter(timeoutMs, kLookMs);
}

} // namespace hascommon::detail
