// What ends the transfer loop's waits early.
#pragma once

namespace hascommon::detail {

/// An eventfd: any thread signals, the transfer loop waits for it together with its sockets, or
/// alone in place of a sleep.
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
