#include "ProbeConnection.h"

#include <hastool/base/Interrupt.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

namespace hastool {
namespace {

using Clock = ProbeConnection::Clock;

/// How long an interrupt by the user may go unnoticed.
constexpr std::chrono::milliseconds kStep{50};

struct Address {
    sockaddr_storage bytes{};
    socklen_t size = 0;
};

/// What resolving a name comes to. The thread that resolves may outlive the one that waits.
struct Resolution {
    std::mutex mutex;
    std::condition_variable changed;
    bool isDone = false;
    std::vector<Address> addresses;
    std::string failure;
};

void resolve(const std::string& host, int port, Resolution& result) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int error = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list);
    const std::lock_guard<std::mutex> lock(result.mutex);
    if (error != 0)
        result.failure = gai_strerror(error);
    for (const addrinfo* it = list; it != nullptr; it = it->ai_next) {
        Address address;
        address.size = std::min<socklen_t>(it->ai_addrlen, sizeof address.bytes);
        std::memcpy(&address.bytes, it->ai_addr, address.size);
        result.addresses.push_back(address);
    }
    if (list != nullptr)
        freeaddrinfo(list);
    result.isDone = true;
    result.changed.notify_all();
}

/// @throws ToolError when the time is up or the user interrupts
void checkTime(Clock::time_point deadline, const std::string& name) {
    if (isInterrupted())
        throw ToolError(name, "interrupted");
    if (Clock::now() >= deadline)
        throw ToolError(name, "time-out");
}

std::vector<Address> addressesOf(const std::string& host, int port, Clock::time_point deadline,
                                 const std::string& name) {
    const auto result = std::make_shared<Resolution>();
    std::thread([result, host, port] { resolve(host, port, *result); }).detach();
    std::unique_lock<std::mutex> lock(result->mutex);
    while (!result->changed.wait_for(lock, kStep, [&] { return result->isDone; }))
        checkTime(deadline, name);
    if (result->addresses.empty())
        throw ToolError(name, result->failure);
    return result->addresses;
}

} // namespace

ProbeConnection::ProbeConnection(const std::string& host, int port, Clock::time_point deadline)
    : m_deadline(deadline)
    , m_name(host + ":" + std::to_string(port))
    , m_socket(-1) {
    connect(host, port);
}

void ProbeConnection::connect(const std::string& host, int port) {
    std::string failure = "no address";
    for (const Address& address : addressesOf(host, port, m_deadline, m_name)) {
        Descriptor it(
            socket(address.bytes.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        const auto* const generic = reinterpret_cast<const sockaddr*>(&address.bytes);
        int error = ::connect(it.get(), generic, address.size) == 0 ? 0 : errno;
        if (error == EINPROGRESS) {
            await(it.get(), POLLOUT);
            socklen_t size = sizeof error;
            getsockopt(it.get(), SOL_SOCKET, SO_ERROR, &error, &size);
        }
        if (error == 0) {
            m_socket = std::move(it);
            return;
        }
        failure = std::strerror(error);
    }
    throw ToolError(m_name, failure);
}

void ProbeConnection::await(int descriptor, short events) const {
    pollfd entry{descriptor, events, 0};
    while (poll(&entry, 1, static_cast<int>(kStep.count())) <= 0)
        checkTime(m_deadline, m_name);
}

void ProbeConnection::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent > 0)
            bytes.remove_prefix(static_cast<size_t>(sent));
        else if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)
            await(m_socket.get(), POLLOUT);
        else
            throw ToolError(m_name, std::strerror(errno));
    }
}

std::string ProbeConnection::receive() {
    std::array<char, 16384> buffer{};
    for (;;) {
        await(m_socket.get(), POLLIN);
        const ssize_t size = recv(m_socket.get(), buffer.data(), buffer.size(), 0);
        if (size >= 0)
            return {buffer.data(), static_cast<size_t>(size)};
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)
            throw ToolError(m_name, std::strerror(errno));
    }
}

} // namespace hastool
