// Owners of file descriptors.
#pragma once

#include <cstdint>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace hastool {

/// Closes its file descriptor.
class Descriptor {
public:
    explicit Descriptor(int fd = -1)
        : m_fd(fd) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept
        : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        reset(std::exchange(other.m_fd, -1));
        return *this;
    }

    int get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    void reset(int fd = -1) {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = fd;
    }

private:
    int m_fd;
};

/// A door that is opened once; its descriptor is readable from then on.
class Gate {
public:
    Gate()
        : m_event(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}
    int fd() const { return m_event.get(); }
    void open() const {
        const uint64_t one = 1;
        // The write can fail only on a full counter, and then the gate is open already.
        const ssize_t written = ::write(fd(), &one, sizeof one);
        static_cast<void>(written);
    }

private:
    Descriptor m_event;
};

} // namespace hastool
