#include <Hasnet/detail/WakeEvent.h>

#include <cstdint>
#include <ctime>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace hascommon::detail {

WakeEvent::WakeEvent()
    : m_fd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

WakeEvent::~WakeEvent() {
    if (m_fd >= 0)
        close(m_fd);
}

// A waiter counts itself before it looks for a signal, and a signal is marked before waiters are
// looked for: one of the two sees the other.
void WakeEvent::Signal() {
    m_stands = true;
    if (m_waits > 0)
        publish();
}

void WakeEvent::beginWait() const {
    ++m_waits;
    if (m_stands)
        publish();
}

void WakeEvent::publish() const {
    if (m_written.exchange(true))
        return;
    const std::uint64_t one = 1;
    const ssize_t written = write(m_fd, &one, sizeof one);
    static_cast<void>(written);
}

void WakeEvent::Drain() {
    // In this order: a signal that finds the descriptor written is marked before the mark is taken
    // back. One that is still being written stays for the next time.
    std::uint64_t count = 0;
    if (m_written && read(m_fd, &count, sizeof count) == sizeof count)
        m_written = false;
    m_stands = false;
}

int WakeEvent::Descriptor() const {
    if (!m_watched.exchange(true))
        beginWait();
    return m_fd;
}

void WakeEvent::SleepUs(unsigned int us) const {
    const Wait wait(*this);
    pollfd event{wait.Descriptor(), POLLIN, 0};
    const timespec time{static_cast<time_t>(us / 1000000U),
                        static_cast<long>(us % 1000000U) * 1000L};
    ppoll(&event, 1, &time, nullptr);
}

} // namespace hascommon::detail
