// An owner of a download engine, as a test needs it.
#pragma once

#include <Hasnet/Curl.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace test {

/// Keeps what the engine hands out; any thread may look.
class EngineOwner : public hascommon::ICurlCB {
public:
    /// Called for every piece of body before it is kept; what it returns goes to the engine.
    using DataHook = std::function<int(hascommon::UnitObject*, const std::string&)>;
    using UnitHook = std::function<void(hascommon::UnitObject*)>;

    void OnDownloadBegin(hascommon::UnitObject* unit) override;
    int OnDataReceived(hascommon::UnitObject* unit, int code, unsigned char* data,
                       unsigned int size) override;
    void OnRedirected(hascommon::UnitObject* unit, std::string location) override;

    /// Hooks; to be set before the request begins.
    DataHook onData;
    UnitHook onBegin;
    UnitHook onRedirect;
    /// Whether bodies are only counted, not kept.
    bool countOnly = false;

    std::string body(hascommon::UnitObject* unit) const;
    std::vector<std::string> redirects() const;
    int begun() const { return m_begun; }
    /// How often a piece was offered, refused ones included.
    int offers() const { return m_offers; }
    unsigned long long bytes() const { return m_bytes; }

private:
    mutable std::mutex m_mutex;
    std::map<hascommon::UnitObject*, std::string> m_bodies;
    std::vector<std::string> m_redirects;
    std::atomic<int> m_begun{0};
    std::atomic<int> m_offers{0};
    std::atomic<unsigned long long> m_bytes{0};
};

/// Keeps the arrival times that the engine reports.
class TrafficRecorder : public hascommon::IDownloadEvent {
public:
    struct Chunk {
        unsigned int start;
        unsigned int end;
        unsigned int bytes;
    };

    void AddRxTimeInfo(unsigned int rxStart, unsigned int rxEnd, unsigned int bytes) override;
    void ResetRxBaseTime(long long baseTime) override;

    std::vector<Chunk> chunks() const;
    std::vector<long long> resets() const;

private:
    mutable std::mutex m_mutex;
    std::vector<Chunk> m_chunks;
    std::vector<long long> m_resets;
};

/// Waits until a condition holds, checking it every millisecond; false when `most` has passed.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds most = std::chrono::seconds(20));

/// An application id whose cookie files do not exist.
std::string unusedAppId();

} // namespace test
