#include "WebServer.h"

#include <hastool/base/ToolError.h>

#include <cerrno>
#include <string>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace hastool {
namespace {

constexpr int kBacklog = 256; // players open twenty connections at once

Descriptor listenOnLoopback(const WebServer::Options& options, uint16_t& port) {
    Descriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int yes = 1;
    setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    // Set on the listener, as connections inherit it.
    if (options.sendBuffer > 0)
        setsockopt(listener.get(), SOL_SOCKET, SO_SNDBUF, &options.sendBuffer,
                   sizeof options.sendBuffer);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(options.port);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener.get(), generic, size) != 0 || listen(listener.get(), kBacklog) != 0 ||
        getsockname(listener.get(), generic, &size) != 0)
        throw ToolError("127.0.0.1:" + std::to_string(options.port), "cannot be listened on");
    port = ntohs(address.sin_port);
    return listener;
}

std::string nameOf(const sockaddr_in& address) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
    return std::string(text) + ":" + std::to_string(ntohs(address.sin_port));
}

} // namespace

WebServer::WebServer(const Options& options, Serve serve)
    : m_serve(std::move(serve))
    , m_listener(listenOnLoopback(options, m_port))
    , m_acceptor([this] { accept(); }) {}

void WebServer::stop() {
    m_stopped.open();
    if (m_acceptor.joinable())
        m_acceptor.join();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const Worker& worker : m_workers) {
            if (worker.connection)
                worker.connection->abort();
        }
    }
    for (Worker& worker : m_workers)
        worker.thread.join();
    m_workers.clear();
    m_listener.reset();
}

void WebServer::accept() {
    pollfd watched[] = {{m_stopped.fd(), POLLIN, 0}, {m_listener.get(), POLLIN, 0}};
    while (poll(watched, 2, -1) >= 0 || errno == EINTR) {
        if (watched[0].revents != 0)
            return;
        sockaddr_in address{};
        socklen_t size = sizeof address;
        Descriptor socket(
            accept4(m_listener.get(), reinterpret_cast<sockaddr*>(&address), &size, SOCK_CLOEXEC));
        if (socket)
            start(std::move(socket), nameOf(address));
    }
}

void WebServer::start(Descriptor socket, const std::string& peer) {
    joinDone();
    const int number = ++m_accepted;
    ++m_open;
    Worker& worker = m_workers.emplace_back();
    worker.connection = std::make_unique<WebConnection>(std::move(socket), peer, number);
    worker.thread = std::thread([this, &worker] { run(worker); });
}

void WebServer::run(Worker& worker) {
    m_serve(*worker.connection);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        worker.connection.reset();
    }
    --m_open;
    worker.isDone = true;
}

/// Used by the accepting thread alone.
void WebServer::joinDone() {
    for (auto worker = m_workers.begin(); worker != m_workers.end();) {
        if (!worker->isDone) {
            ++worker;
            continue;
        }
        worker->thread.join();
        worker = m_workers.erase(worker);
    }
}

} // namespace hastool
