// What ends a wait early.
#pragma once

#include <atomic>

namespace hascommon::detail {

/// An eventfd: any thread signals. The transfer loop waits for one together with its sockets, or
/// alone in place of a sleep; owners wait for another one.
///
/// While nobody waits, a signal is a mark in memory and costs no system call.
class WakeEvent {
public:
    /// Where the system has no descriptor left the event never fires, and waits run to their end.
    WakeEvent();
    ~WakeEvent();
    WakeEvent(const WakeEvent&) = delete;
    WakeEvent& operator=(const WakeEvent&) = delete;

    /// For its lifetime the descriptor is readable while a signal stands, an earlier one included.
    class Wait {
    public:
        explicit Wait(const WakeEvent& event)
            : m_event(event) {
            m_event.beginWait();
        }
        ~Wait() { --m_event.m_waits; }
        Wait(const Wait&) = delete;
        Wait& operator=(const Wait&) = delete;

        int Descriptor() const { return m_event.m_fd; }

    private:
        const WakeEvent& m_event;
    };

    /// Any thread may call.
    void Signal();
    /// Forgets the signals so far. What a signal told of is looked at behind this.
    void Drain();
    /// Sleeps until a signal, at most `us` microseconds; the signal stays.
    void SleepUs(unsigned int us) const;
    /// The descriptor for somebody who waits without a Wait: from now on it is readable whenever a
    /// signal stands. -1 when there is none.
    int Descriptor() const;
    /// Whether the system had a descriptor.
    bool CanFire() const { return m_fd >= 0; }

private:
    void beginWait() const;
    void publish() const;

    const int m_fd;
    mutable std::atomic<unsigned int> m_waits{0};
    std::atomic<bool> m_stands{false};
    /// Something has been, or is about to be, written to the descriptor and not been read.
    mutable std::atomic<bool> m_written{false};
    mutable std::atomic<bool> m_watched{false};
};

} // namespace hascommon::detail
