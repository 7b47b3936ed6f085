#include <support/Reply.h>

namespace test {

Reply& Reply::status(int code) {
    m_plan.status = code;
    return *this;
}

Reply& Reply::body(std::string bytes) {
    m_plan.body = std::move(bytes);
    return *this;
}

Reply& Reply::body(Pattern bytes) {
    m_plan.body = bytes;
    return *this;
}

Reply& Reply::file(std::string path) {
    m_plan.body = FileBody{std::move(path)};
    return *this;
}

Reply& Reply::header(std::string name, std::string value) {
    m_plan.headers.emplace_back(std::move(name), std::move(value));
    return *this;
}

Reply& Reply::headerFlood(int count, size_t size) {
    for (int i = 0; i < count; ++i)
        header("X-Flood-" + std::to_string(i), std::string(size, 'f'));
    return *this;
}

Reply& Reply::redirect(std::string location, int code) {
    return status(code).header("Location", std::move(location));
}

Reply& Reply::lowerCaseNames() {
    m_plan.lowerCase = true;
    return *this;
}

Reply& Reply::chunked(size_t size) {
    m_plan.chunk = size;
    return *this;
}

Reply& Reply::untilClose() {
    m_plan.untilClose = true;
    return closing();
}

Reply& Reply::claimedLength(uint64_t length) {
    m_plan.claims = true;
    m_plan.claimedLength = length;
    return closing();
}

Reply& Reply::gzip() {
    m_plan.gzip = true;
    return *this;
}

Reply& Reply::withoutRanges() {
    m_plan.ranges = false;
    return *this;
}

Reply& Reply::lastModified(time_t when) {
    m_plan.lastModified = when;
    return *this;
}

Reply& Reply::delayed(std::chrono::milliseconds time) {
    m_plan.delay = time;
    return *this;
}

Reply& Reply::dripped(size_t bytes, std::chrono::milliseconds interval) {
    m_plan.dripBytes = bytes;
    m_plan.dripInterval = interval;
    return *this;
}

Reply& Reply::rate(uint64_t bytesPerSecond) {
    m_plan.rate = bytesPerSecond;
    return *this;
}

Reply& Reply::closing() {
    m_plan.close = true;
    return *this;
}

Reply& Reply::closedAt(Stage stage, uint64_t bodyBytes) {
    return fault(stage, bodyBytes, Fault::Action::Close, {});
}

Reply& Reply::resetAt(Stage stage, uint64_t bodyBytes) {
    return fault(stage, bodyBytes, Fault::Action::Reset, {});
}

Reply& Reply::stalledAt(Stage stage, uint64_t bodyBytes, std::chrono::milliseconds time) {
    return fault(stage, bodyBytes, Fault::Action::Stall, time);
}

Reply& Reply::fault(Stage stage, uint64_t bodyBytes, Fault::Action action,
                    std::chrono::milliseconds time) {
    m_plan.faults.push_back(Fault{stage, bodyBytes, action, time});
    return *this;
}

} // namespace test
