// A web server that leaves its answers to its user.
#pragma once

#include "WebConnection.h"
#include <hastool/base/Descriptor.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

namespace hastool {

/// Takes connections on 127.0.0.1 from construction to stop(), each on a thread of its own: an
/// answer may take its time without holding up others.
class WebServer {
public:
    struct Options {
        uint16_t port = 0;  ///< 0 for a free one
        int sendBuffer = 0; ///< of each connection, in bytes; 0 for the system's own
    };
    /// Serves a connection to its end, on its thread.
    using Serve = std::function<void(WebConnection& connection)>;

    /// @throws ToolError for a port that is taken
    WebServer(const Options& options, Serve serve);
    ~WebServer() { stop(); }
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    uint16_t port() const { return m_port; }
    /// Connections so far, and those open now. Any thread.
    int accepted() const { return m_accepted; }
    int open() const { return m_open; }

    /// Ends all connections and waits for their threads. If these wait for anything but their
    /// client, the caller has to end that wait before.
    void stop();

private:
    struct Worker {
        std::unique_ptr<WebConnection> connection; ///< null once it has been served
        std::thread thread;
        std::atomic<bool> isDone{false};
    };

    void accept();
    void start(Descriptor socket, const std::string& peer);
    void run(Worker& worker);
    void joinDone();

    const Serve m_serve;
    uint16_t m_port = 0;
    Descriptor m_listener;
    Gate m_stopped;
    std::atomic<int> m_accepted{0};
    std::atomic<int> m_open{0};
    std::mutex m_mutex; // guards the pointers to connections, as stop() looks at them too
    std::list<Worker> m_workers;
    std::thread m_acceptor;
};

} // namespace hastool
