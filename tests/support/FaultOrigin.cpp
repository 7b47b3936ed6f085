#include <support/FaultOrigin.h>
#include <support/detail/OriginConnection.h>

#include <filesystem>
#include <thread>

namespace test {
namespace {

bool beginsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

} // namespace

FaultOrigin::FaultOrigin()
    : m_missing(std::make_shared<Script>())
    , m_server({}, [this](hastool::WebConnection& connection) {
        detail::OriginConnection(*this, connection).run();
    }) {
    m_missing->replies = {Reply().status(404).body("not here\n")};
}

FaultOrigin::~FaultOrigin() {
    stop();
}

void FaultOrigin::stop() {
    m_stopped.open();
    m_server.stop();
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
    return "http://" + host + ":" + std::to_string(port()) + path;
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
