// What ends a wait early.
#pragma once

namespace hascommon::detail {

/// An eventfd: any thread signals. The transfer loop waits for one together with its sockets, or
/// alone in place of a sleep; owners wait for another one.
class WakeEvent {
public:
    /// Where the system has no descriptor left the event never fires, and waits run to their end.
    WakeEvent();
    ~WakeEvent();
    WakeEvent(const WakeEvent&) = delete;
    WakeEvent& operator=(const WakeEvent&) = delete;

    /// Any thread may call.
    void Signal();
    /// Forgets the signals so far.
    void Drain();
    /// Sleeps until a signal, at most `us` microseconds; the signal stays.
    void SleepUs(unsigned int us) const;
    /// The descriptor, readable while a signal stands; -1 when there is none.
    int Descriptor() const { return m_fd; }

private:
    const int m_fd;
};

} // namespace hascommon::detail
