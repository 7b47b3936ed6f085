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

void WakeEvent::Signal() {
    const std::uint64_t one = 1;
    // A counter that is full is a signal too, so a failed write loses nothing.
    const ssize_t written = write(m_fd, &one, sizeof one);
    static_cast<void>(written);
}

void WakeEvent::Drain() {
    std::uint64_t count = 0;
    const ssize_t taken = read(m_fd, &count, sizeof count);
    static_cast<void>(taken);
}

void WakeEvent::SleepUs(unsigned int us) const {
    pollfd event{m_fd, POLLIN, 0};
    const timespec time{static_cast<time_t>(us / 1000000U),
                        static_cast<long>(us % 1000000U) * 1000L};
    ppoll(&event, 1, &time, nullptr);
}

} // namespace hascommon::detail
