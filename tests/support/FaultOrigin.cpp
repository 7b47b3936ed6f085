#include <support/FaultOrigin.h>
#include <support/detail/OriginConnection.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>

namespace test {
namespace {

constexpr int kBacklog = 256;

Descriptor listenOnLoopback(uint16_t& port) {
    Descriptor result(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(result.get(), generic, size) != 0 || listen(result.get(), kBacklog) != 0 ||
        getsockname(result.get(), generic, &size) != 0)
        throw std::runtime_error(std::string("no listening socket: ") + std::strerror(errno));
    port = ntohs(address.sin_port);
    return result;
}

std::string describe(const sockaddr_in& address) {
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
    return std::string(text) + ":" + std::to_string(ntohs(address.sin_port));
}

bool beginsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

} // namespace

std::string Request::header(const std::string& name) const {
    for (const auto& [key, value] : headers) {
        if (strcasecmp(key.c_str(), name.c_str()) == 0)
            return value;
    }
    return {};
}

FaultOrigin::FaultOrigin()
    : m_listener(listenOnLoopback(m_port))
    , m_missing(std::make_shared<Script>()) {
    m_missing->replies = {Reply().status(404).body("not here\n")};
    m_acceptor = std::thread([this] { accept(); });
}

FaultOrigin::~FaultOrigin() {
    stop();
}

void FaultOrigin::stop() {
    m_stopped.open();
    if (m_acceptor.joinable())
        m_acceptor.join();
    for (Worker& worker : m_workers)
        worker.thread.join();
    m_workers.clear();
    m_listener.reset();
}

void FaultOrigin::on(const std::string& path, std::vector<Reply> replies) {
    auto script = std::make_shared<Script>();
    script->replies = std::move(replies);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_paths[path] = std::move(script);
}

void FaultOrigin::on(const std::string& path, Handler handler) {
    auto script = std::make_shared<Script>();
    script->handler = std::move(handler);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_paths[path] = std::move(script);
}

void FaultOrigin::onPrefix(const std::string& prefix, Handler handler) {
    auto script = std::make_shared<Script>();
    script->handler = std::move(handler);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_prefixes[prefix] = std::move(script);
}

void FaultOrigin::serve(const std::string& prefix, const std::string& folder) {
    onPrefix(prefix, [prefix, folder](const Request& request) {
        const std::filesystem::path file =
            std::filesystem::path(folder) / request.path.substr(prefix.size());
        return std::filesystem::is_regular_file(file) ? Reply().file(file.string())
                                                      : Reply().status(404);
    });
}

void FaultOrigin::release(const std::string& path) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    find(path)->released.open();
}

std::string FaultOrigin::url(const std::string& path, const std::string& host) const {
    return "http://" + host + ":" + std::to_string(m_port) + path;
}

std::vector<Request> FaultOrigin::requests(const std::string& path) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<Request> result;
    for (const Request& request : m_requests) {
        if (path.empty() || request.path == path)
            result.push_back(request);
    }
    return result;
}

bool FaultOrigin::waitForRequests(const std::string& path, size_t count) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (requests(path).size() < count) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void FaultOrigin::accept() {
    pollfd watched[] = {{m_stopped.fd(), POLLIN, 0}, {m_listener.get(), POLLIN, 0}};
    while (poll(watched, 2, -1) >= 0 || errno == EINTR) {
        if (watched[0].revents != 0)
            return;
        sockaddr_in address{};
        socklen_t size = sizeof address;
        Descriptor socket(accept4(m_listener.get(), reinterpret_cast<sockaddr*>(&address), &size,
                                  SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (socket)
            start(std::move(socket), describe(address));
    }
}

void FaultOrigin::start(Descriptor socket, const std::string& peer) {
    joinDone();
    const int number = ++m_accepted;
    ++m_open;
    auto done = std::make_shared<std::atomic<bool>>(false);
    auto connection =
        std::make_shared<detail::OriginConnection>(*this, std::move(socket), peer, number);
    m_workers.push_back({std::thread([this, done, connection]() mutable {
                             connection->run();
                             connection.reset();
                             --m_open;
                             *done = true;
                         }),
                         done});
}

void FaultOrigin::joinDone() {
    for (auto worker = m_workers.begin(); worker != m_workers.end();) {
        if (!*worker->done) {
            ++worker;
            continue;
        }
        worker->thread.join();
        worker = m_workers.erase(worker);
    }
}

FaultOrigin::Answer FaultOrigin::answerTo(const Request& request) {
    std::unique_lock<std::mutex> lock(m_mutex);
    const std::shared_ptr<Script> script = find(request.path);
    if (script->handler) {
        lock.unlock();
        return {script->handler(request), script};
    }
    const size_t index = script->next;
    if (index + 1 < script->replies.size())
        ++script->next;
    return {script->replies.at(index), script};
}

std::shared_ptr<FaultOrigin::Script> FaultOrigin::find(const std::string& path) const {
    const auto exact = m_paths.find(path);
    if (exact != m_paths.end())
        return exact->second;
    std::shared_ptr<Script> result = m_missing;
    size_t longest = 0;
    for (const auto& [prefix, script] : m_prefixes) {
        if (beginsWith(path, prefix) && prefix.size() >= longest) {
            longest = prefix.size();
            result = script;
        }
    }
    return result;
}

void FaultOrigin::record(const Request& request) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_requests.push_back(request);
}

} // namespace test
