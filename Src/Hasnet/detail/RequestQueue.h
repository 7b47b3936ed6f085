// The requests on their way to the pass.
#pragma once

#include <Hascommon/LockGuard.h>
#include <Hascommon/Mutex.h>
#include <Hasnet/detail/UnitObject.h>
#include <Hasnet/detail/WakeEvent.h>

#include <atomic>
#include <vector>

namespace hascommon::detail {

/// What has been begun and no pass has seen yet; and whether the engine takes requests at all,
/// which has to be settled under the same lock. Any thread may call.
class RequestQueue {
public:
    /// @param wake  tells the pass of a request
    explicit RequestQueue(WakeEvent& wake)
        : m_wake(wake)
        , m_endedFd(m_ended.Descriptor()) {}

    /// Hands a request to the pass; refused once the engine has quit, and when a reset has made
    /// the request's key stale.
    bool Enqueue(UnitObject& unit, unsigned int key);
    /// Takes the requests that are there.
    std::vector<UnitObject*> TakeBegun();

    unsigned int Key() const { return m_key; }
    /// Makes the keys handed out so far stale.
    void NextKey();

    /// Ends the engine: no request is taken any more.
    void Close();
    /// Lets the engine run; @return whether a transfer thread has to be started for it.
    bool Open();
    /// Whether the engine has been ended and not opened again.
    bool Quit() const { return m_quit; }
    /// Readable while that is so; -1 where the system had no descriptor.
    int EndedFd() const { return m_endedFd; }

    /// Whether the transfer thread is to end; it counts as ended from then on.
    bool EndsLoop();
    /// Whether a transfer thread runs.
    bool Looping() const { return m_looping; }
    void LoopEnded() { m_looping = false; }

private:
    WakeEvent& m_wake;
    std::atomic<unsigned int> m_key{0};
    std::atomic<bool> m_quit{false};
    WakeEvent m_ended;
    const int m_endedFd;
    std::atomic<bool> m_looping{false};
    /// Whether there are any requests, for a pass that looks often.
    std::atomic<bool> m_anyBegun{false};

    Mutex m_mutex;
    std::vector<UnitObject*> m_begun HAS_GUARDED_BY(m_mutex);
    bool m_closed HAS_GUARDED_BY(m_mutex) = false;
};

} // namespace hascommon::detail
