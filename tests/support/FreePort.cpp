#include <support/Descriptor.h>
#include <support/FreePort.h>

#include <stdexcept>

#include <netinet/in.h>
#include <sys/socket.h>

namespace test {
namespace {

sockaddr_in loopback(uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return result;
}

} // namespace

uint16_t freePort() {
    const Descriptor probe(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = loopback(0);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    if (bind(probe.get(), generic, size) != 0 || getsockname(probe.get(), generic, &size) != 0)
        throw std::runtime_error("no free port");
    return ntohs(address.sin_port);
}

bool accepts(uint16_t port) {
    const Descriptor probe(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in address = loopback(port);
    return connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

} // namespace test
