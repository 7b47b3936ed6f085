// An HTTP server inside the test that misbehaves on request.
#pragma once

#include <hastool/origin/WebServer.h>
#include <support/Descriptor.h>
#include <support/Reply.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace test {

/// One request that arrived.
struct Request : hastool::WebRequest {
    std::string peer;   ///< "127.0.0.1:41234"
    int connection = 0; ///< number of the connection it came over, from 1
    std::chrono::steady_clock::time_point time;
};

namespace detail {
class OriginConnection;
}

/// Serves HTTP/1.1 on a free port of 127.0.0.1 from construction until stop(), one thread per
/// connection, with keep-alive. Paths that are not scripted are answered with 404.
///
/// All operations may be called from any thread at any time.
class FaultOrigin {
public:
    /// Makes an answer; runs on the connection's thread.
    using Handler = std::function<Reply(const Request&)>;

    FaultOrigin();
    ~FaultOrigin();
    FaultOrigin(const FaultOrigin&) = delete;
    FaultOrigin& operator=(const FaultOrigin&) = delete;

    /// Scripts a path: gives the replies in turn, and then the last one again and again. Replaces
    /// the path's earlier script.
    void on(const std::string& path, std::vector<Reply> replies);
    void on(const std::string& path, const Reply& reply) { on(path, std::vector<Reply>{reply}); }
    void on(const std::string& path, Handler handler);
    /// Scripts all paths with a prefix that have no script of their own; the longest prefix wins.
    void onPrefix(const std::string& prefix, Handler handler);
    /// Serves the files of a folder below a prefix, which ends in a slash.
    void serve(const std::string& prefix, const std::string& folder);

    /// Ends all stalls on the path, those under way and those to come.
    void release(const std::string& path);
    /// Sends all bodies at this many bytes per second per connection, from the next piece on; 0 for
    /// no limit.
    void limitRate(uint64_t bytesPerSecond) { m_rate = bytesPerSecond; }

    uint16_t port() const { return m_server.port(); }
    /// An absolute URL. With the host "localhost" the same server counts as another host.
    std::string url(const std::string& path, const std::string& host = "127.0.0.1") const;

    /// The requests so far, in order of arrival; with a path only those of that path.
    std::vector<Request> requests(const std::string& path = {}) const;
    /// Waits until so many requests for the path have arrived; false after five seconds.
    bool waitForRequests(const std::string& path, size_t count) const;
    /// Connections accepted so far, and those open now.
    int connections() const { return m_server.accepted(); }
    int openConnections() const { return m_server.open(); }

    /// Ends every connection at once, stalled ones included. Nothing is answered any more.
    void stop();

private:
    friend class detail::OriginConnection;

    struct Script {
        std::vector<Reply> replies;
        Handler handler;
        size_t next = 0;
        Gate released;
    };
    /// A reply with the script that it came from: the script's gate ends its stalls.
    struct Answer {
        Reply reply;
        std::shared_ptr<const Script> script;
    };
    Answer answerTo(const Request& request);
    std::shared_ptr<Script> find(const std::string& path) const;
    void record(const Request& request);

    Gate m_stopped;
    std::atomic<uint64_t> m_rate{0};
    mutable std::mutex m_mutex; // guards the scripts and the requests
    std::map<std::string, std::shared_ptr<Script>> m_paths;
    std::map<std::string, std::shared_ptr<Script>> m_prefixes;
    std::shared_ptr<Script> m_missing;
    std::vector<Request> m_requests;
    hastool::WebServer m_server;
};

} // namespace test
