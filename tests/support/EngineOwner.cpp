#include <support/EngineOwner.h>

#include <thread>
#include <utility>

#include <unistd.h>

namespace test {

using hascommon::UnitObject;

void EngineOwner::OnDownloadBegin(UnitObject* unit) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_bodies[unit].clear();
    }
    ++m_begun;
    if (onBegin)
        onBegin(unit);
}

int EngineOwner::OnDataReceived(UnitObject* unit, int, unsigned char* data, unsigned int size) {
    ++m_offers;
    const int answer = onData ? onData(unit, std::string(reinterpret_cast<char*>(data), size)) : 0;
    if (answer != 0)
        return answer;
    m_bytes += size;
    if (countOnly)
        return 0;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_bodies[unit].append(reinterpret_cast<char*>(data), size);
    return 0;
}

void EngineOwner::OnRedirected(UnitObject* unit, std::string location) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_redirects.push_back(std::move(location));
    }
    if (onRedirect)
        onRedirect(unit);
}

std::string EngineOwner::body(UnitObject* unit) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_bodies.find(unit);
    return found == m_bodies.end() ? std::string() : found->second;
}

std::vector<std::string> EngineOwner::redirects() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_redirects;
}

void TrafficRecorder::AddRxTimeInfo(unsigned int rxStart, unsigned int rxEnd, unsigned int bytes) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_chunks.push_back({rxStart, rxEnd, bytes});
}

void TrafficRecorder::ResetRxBaseTime(long long baseTime) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_resets.push_back(baseTime);
}

std::vector<TrafficRecorder::Chunk> TrafficRecorder::chunks() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_chunks;
}

std::vector<long long> TrafficRecorder::resets() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_resets;
}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds most) {
    const auto until = std::chrono::steady_clock::now() + most;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > until)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

std::string unusedAppId() {
    return "no-such-application-" + std::to_string(getpid());
}

} // namespace test
