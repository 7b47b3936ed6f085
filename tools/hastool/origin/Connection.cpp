#include "Connection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace hastool {
namespace {

using NameOf = int (*)(int, sockaddr*, socklen_t*);

void readName(int socket, NameOf nameOf, std::string& ip, int& port) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    char text[INET_ADDRSTRLEN] = "";
    if (nameOf(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        return;
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
    ip = text;
    port = ntohs(address.sin_port);
}

} // namespace

Connection::Connection(int socket, RateLimiter& limiter)
    : m_socket(socket)
    , m_limiter(limiter) {
    current() = this;
}

Connection::~Connection() {
    current() = nullptr;
    close(m_socket);
}

Connection*& Connection::current() {
    static thread_local Connection* connection = nullptr;
    return connection;
}

void Connection::reset() {
    const linger atOnce{1, 0};
    setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

void Connection::abort() {
    shutdown(m_socket, SHUT_RDWR);
}

ssize_t Connection::read(char* bytes, size_t size) {
    if (m_begin == m_end) {
        ssize_t received = 0;
        do
            received = recv(m_socket, m_buffer.data(), m_buffer.size(), 0);
        while (received < 0 && errno == EINTR);
        if (received <= 0)
            return received;
        m_begin = 0;
        m_end = static_cast<size_t>(received);
    }
    const size_t count = std::min(size, m_end - m_begin);
    std::memcpy(bytes, m_buffer.data() + m_begin, count);
    m_begin += count;
    return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* bytes, size_t size) {
    if (!m_isAnswering && !m_limiter.beginAnswer())
        return -1;
    m_isAnswering = true;
    for (size_t sent = 0; sent < size;) {
        const size_t piece = std::min(size - sent, m_limiter.pieceSize());
        if (!m_limiter.pass(piece) || !sendAll(bytes + sent, piece))
            return -1;
        sent += piece;
    }
    return static_cast<ssize_t>(size);
}

bool Connection::sendAll(const char* bytes, size_t size) {
    while (size > 0) {
        const ssize_t sent = send(m_socket, bytes, size, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return false;
        bytes += sent;
        size -= static_cast<size_t>(sent);
    }
    return true;
}

void Connection::get_remote_ip_and_port(std::string& ip, int& port) const {
    readName(m_socket, getpeername, ip, port);
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const {
    readName(m_socket, getsockname, ip, port);
}

} // namespace hastool
