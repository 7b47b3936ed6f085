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
        {
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

void CompletionWait::waitStep(int timeoutMs) {
    pollfd watched[] = {{m_table.CompletionFd(), POLLIN, 0},
                        {m_queue.EndedFd(), POLLIN, 0},
                        {m_pass.wake.Descriptor(), POLLIN, 0}};
    if (m_queue.Quit()) {
        poll(watched, 1, shorter(timeoutMs, kLookMs));
    } else if (m_queue.Looping()) {
        poll(watched, 2, fallback(timeoutMs));
    } else if (m_pass.Runs()) {
        poll(watched, 2, shorter(timeoutMs, kLookMs));
    } else if (m_pass.Process(shorter(timeoutMs, Pass::kMaxWaitMs)) == 0 &&
               !m_pass.HasTransfers()) {
        poll(watched, 3, fallback(timeoutMs)); // until there is something for a pass to do
    }
}

/// Without a descriptor nothing would end the wait.
int CompletionWait::fallback(int timeoutMs) const {
    const bool hasAll = m_table.CompletionFd() >= 0 && m_queue.EndedFd() >= 0;
    return hasAll ? timeoutMs : shorter(timeoutMs, kLookMs);
}

} // namespace hascommon::detail
