// A server that says nothing.
#pragma once

#include <support/Descriptor.h>

#include <cstdint>
#include <stdexcept>
#include <string>

#include <netinet/in.h>
#include <sys/socket.h>

namespace test {

/// A free port of 127.0.0.1: connections to it are made, by the system, and get no answer. Whatever
/// needs one, TLS above all, waits until it gives up.
class SilentPort {
public:
    SilentPort() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        socklen_t size = sizeof address;
        if (bind(m_socket.get(), generic, size) != 0 || listen(m_socket.get(), 20) != 0 ||
            getsockname(m_socket.get(), generic, &size) != 0)
            throw std::runtime_error("no free port");
        m_port = ntohs(address.sin_port);
    }

    uint16_t port() const { return m_port; }
    std::string url(const std::string& scheme) const {
        return scheme + "://127.0.0.1:" + std::to_string(m_port) + "/a";
    }

private:
    const Descriptor m_socket{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    uint16_t m_port = 0;
};

} // namespace test
