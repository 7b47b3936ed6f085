#include "Origin.h"

#include "Connection.h"
#include "FileAnswer.h"
#include "FolderPage.h"
#include "RangeHeader.h"
#include "RateLimiter.h"
#include "SegmentNumber.h"
#include "ServedFolder.h"
#include "Validators.h"
#include <hastool/base/ToolError.h>

#include <list>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

#include <netinet/in.h>
#include <sys/socket.h>

namespace hastool {
namespace {

namespace fs = std::filesystem;

constexpr char kHost[] = "127.0.0.1";
constexpr int kBacklog = 64; // players open twenty connections at once
/// What lies in it is not held back when a line is cut. Without a line it would only slow the
/// sender.
constexpr int kLineSendBuffer = 16384;
constexpr time_t kIdleSeconds = 120;
constexpr size_t kMaxRequests = 1000000; // over one connection; only told, never counted
constexpr time_t kHeldSeconds = 86400;   // a player may hold a transfer for as long as it likes

/// Of the listening socket; those it accepts inherit them.
void setSocketOptions(socket_t socket, bool hasLine) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (hasLine)
        setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &kLineSendBuffer, sizeof kLineSendBuffer);
}

/// A thread for each connection. Used by the accepting thread alone.
class Threads : public httplib::TaskQueue {
public:
    void enqueue(std::function<void()> task) override {
        joinDone();
        auto& worker = m_workers.emplace_back();
        worker.thread = std::thread([task = std::move(task), &worker] {
            task();
            worker.done = true;
        });
    }
    void shutdown() override {
        for (Worker& worker : m_workers)
            worker.thread.join();
        m_workers.clear();
    }

private:
    struct Worker {
        std::thread thread;
        std::atomic<bool> done{false};
    };

    void joinDone() {
        for (auto it = m_workers.begin(); it != m_workers.end();) {
            const bool isDone = it->done; // it may become so at any time
            if (isDone)
                it->thread.join();
            it = isDone ? m_workers.erase(it) : std::next(it);
        }
    }

    std::list<Worker> m_workers;
};

std::string reasonText(const Fault& fault) {
    return std::to_string(fault.status) + " on request\n";
}

} // namespace

/// Takes connections on a thread of its own.
class Origin::Server : private httplib::Server {
public:
    explicit Server(OriginOptions options);
    ~Server() override { stopServing(); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    const ServedFolder& folder() const { return m_folder; }
    uint16_t port() const { return m_port; }
    void stopServing();

private:
    bool process_and_close_socket(socket_t socket) override;
    bool admit(Connection& connection);
    void leave(Connection& connection);
    void answer(const httplib::Request& request, httplib::Response& response);
    std::optional<Fault> faultOf(const httplib::Request& request,
                                 const std::optional<fs::path>& file);
    void sendFolder(const std::string& path, httplib::Response& response) const;
    static bool judge(const httplib::Request& request, const Validators& validators,
                      httplib::Response& response);
    void sendFile(const httplib::Request& request, const fs::path& file,
                  const std::optional<Fault>& fault, httplib::Response& response);

    const ServedFolder m_folder;
    FaultRules m_faults;
    const std::function<void(const std::string&, const Fault&)> m_onFault;
    RateLimiter m_limiter;
    uint16_t m_port = 0;
    std::mutex m_mutex; // guards the connections
    std::set<Connection*> m_connections;
    bool m_stopped = false;
    std::thread m_acceptor;
};

Origin::Server::Server(OriginOptions options)
    : m_folder(std::move(options.root))
    , m_faults(options.faults)
    , m_onFault(std::move(options.onFault))
    , m_limiter(options.profile) {
    new_task_queue = [] { return new Threads; };
    set_socket_options([hasLine = options.profile.has_value()](socket_t socket) {
        setSocketOptions(socket, hasLine);
    });
    set_tcp_nodelay(true);
    set_keep_alive_timeout(kIdleSeconds);
    set_keep_alive_max_count(kMaxRequests);
    set_read_timeout(kIdleSeconds);
    set_write_timeout(kHeldSeconds);
    set_default_headers({{"Access-Control-Allow-Origin", "*"},
                         {"Access-Control-Expose-Headers", "*"},
                         {"Accept-Ranges", "bytes"}});
    set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
        if (request.method == "OPTIONS") { // a page of another origin asks first
            response.status = 204;
            response.set_header("Access-Control-Allow-Methods", "GET, HEAD");
            response.set_header("Access-Control-Allow-Headers", "*");
            return HandlerResponse::Handled;
        }
        if (request.method != "GET" && request.method != "HEAD")
            return HandlerResponse::Unhandled;
        answer(request, response);
        return HandlerResponse::Handled;
    });
    const int port = options.port == 0 ? bind_to_any_port(kHost)
                                       : (bind_to_port(kHost, options.port) ? options.port : -1);
    if (port <= 0)
        throw ToolError(std::string(kHost) + ":" + std::to_string(options.port),
                        "cannot be listened on");
    m_port = static_cast<uint16_t>(port);
    ::listen(svr_sock_, kBacklog);
    m_acceptor = std::thread([this] { listen_after_bind(); });
}

/// The listening socket is closed when nobody uses it any more, unlike by httplib's own stop().
void Origin::Server::stopServing() {
    if (!m_acceptor.joinable())
        return;
    const socket_t listener = svr_sock_.exchange(INVALID_SOCKET);
    ::shutdown(listener, SHUT_RDWR);
    m_limiter.stop();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stopped = true;
        for (Connection* const connection : m_connections)
            connection->abort();
    }
    m_acceptor.join();
    ::close(listener);
}

bool Origin::Server::process_and_close_socket(socket_t socket) {
    Connection connection(socket, m_limiter);
    bool isOpen = admit(connection);
    while (isOpen) {
        bool isLast = false;
        connection.expectAnswer();
        // Ranges are answered here, where one that is beyond the end is noticed.
        isOpen = process_request(connection, false, isLast,
                                 [](httplib::Request& request) { request.ranges.clear(); }) &&
                 !isLast;
    }
    leave(connection);
    return true;
}

bool Origin::Server::admit(Connection& connection) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_connections.insert(&connection);
    return !m_stopped;
}

void Origin::Server::leave(Connection& connection) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_connections.erase(&connection);
}

void Origin::Server::answer(const httplib::Request& request, httplib::Response& response) {
    const auto file = m_folder.find(request.path);
    const auto fault = faultOf(request, file);
    if (fault && m_onFault)
        m_onFault(request.path, *fault);
    if (fault && fault->kind == Fault::Kind::Status) {
        response.status = fault->status;
        response.set_content(reasonText(*fault), "text/plain");
    } else if (!file) {
        sendFolder(request.path, response);
    } else {
        sendFile(request, *file, fault, response);
    }
}

/// Lists a folder. Links in the page count from its path, so that has to end with a slash.
void Origin::Server::sendFolder(const std::string& path, httplib::Response& response) const {
    const auto folder = m_folder.findFolder(path);
    if (!folder) {
        response.status = 404;
        response.set_content("no such file\n", "text/plain");
    } else if (path.back() != '/') {
        response.set_redirect(encodedPath(path + "/"), 301);
    } else {
        response.set_content(folderPage(*folder, path), "text/html; charset=utf-8");
    }
}

/// Tells the file's validators. @return whether the request's conditions let it go on
bool Origin::Server::judge(const httplib::Request& request, const Validators& validators,
                           httplib::Response& response) {
    if (validators.etag().empty())
        return true;
    response.set_header("ETag", validators.etag());
    response.set_header("Last-Modified", validators.lastModified());
    const auto verdict = validators.judge(
        [&request](const std::string& name) { return request.get_header_value(name.c_str()); });
    if (verdict == Validators::Verdict::Go)
        return true;
    response.status = verdict == Validators::Verdict::NotModified ? 304 : 412;
    return false;
}

std::optional<Fault> Origin::Server::faultOf(const httplib::Request& request,
                                             const std::optional<fs::path>& file) {
    return m_faults.take(request.path, [&]() -> std::optional<uint64_t> {
        if (!file)
            return std::nullopt;
        const auto range = answerRange(request.get_header_value("Range"), fs::file_size(*file));
        return segmentNumber(*file, range.first);
    });
}

void Origin::Server::sendFile(const httplib::Request& request, const fs::path& file,
                              const std::optional<Fault>& fault, httplib::Response& response) {
    const Validators validators(file);
    if (!judge(request, validators, response))
        return;
    const uint64_t size = fs::file_size(file);
    const bool isRange = validators.allowsRange(
        [&request](const std::string& name) { return request.get_header_value(name.c_str()); });
    const RangeAnswer range = answerRange(isRange ? request.get_header_value("Range") : "", size);
    const std::string type = contentType(file);
    response.status = range.kind == RangeAnswer::Kind::Whole ? 200 : 206;
    if (range.kind == RangeAnswer::Kind::Unsatisfiable) {
        response.status = 416;
        response.set_header("Content-Range", "bytes */" + std::to_string(size));
    } else if (range.kind == RangeAnswer::Kind::Part) {
        response.set_header("Content-Range", "bytes " + std::to_string(range.first) + "-" +
                                                 std::to_string(range.first + range.length - 1) +
                                                 "/" + std::to_string(size));
    }
    if (range.length == 0) {
        response.set_content("", type);
        return;
    }
    auto body = std::make_shared<FileAnswer>(file, range.first, range.length, fault, m_limiter);
    const bool isReset = fault && fault->kind == Fault::Kind::Reset;
    response.set_content_provider(range.length, type,
                                  [body, isReset](size_t offset, size_t, httplib::DataSink& sink) {
                                      const bool goesOn = body->send(offset, sink.write);
                                      if (!goesOn && isReset)
                                          Connection::current()->reset();
                                      return goesOn;
                                  });
}

Origin::Origin(OriginOptions options)
    : m_server(std::make_unique<Server>(std::move(options))) {}

Origin::~Origin() = default;

uint16_t Origin::port() const {
    return m_server->port();
}

std::string Origin::url(const std::string& path) const {
    return "http://" + std::string(kHost) + ":" + std::to_string(port()) + encodedPath(path);
}

std::vector<std::string> Origin::presentations() const {
    std::vector<std::string> urls;
    for (const std::string& path : m_server->folder().presentations())
        urls.push_back(url(path));
    return urls;
}

void Origin::stop() {
    m_server->stopServing();
}

} // namespace hastool
