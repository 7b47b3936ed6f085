// The traffic of bodies that come as they are made.
#pragma once

#include <Hasnet/IDownloadEvent.h>

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>

namespace hastool {

/// Stands between the download engine and the bandwidth checker. A body that comes as its encoder
/// makes it, or an answer that a server holds back, says nothing of the line while nothing flows:
/// counted with their waits, they would look like a slow line. So while such transfers are under
/// way, only the time in which bytes flowed counts, and what broke a wait counts not at all, as it
/// cannot be told how much of its time was the line's. Everything else is handed on as it comes.
///
/// Bytes are told on the engine's thread; any thread may call anything.
class PacedTraffic : public hascommon::IDownloadEvent {
public:
    /// @param checker  borrowed
    explicit PacedTraffic(hascommon::IDownloadEvent& checker)
        : m_checker(checker) {}

    void AddRxTimeInfo(unsigned int rxStart, unsigned int rxEnd, unsigned int bytes) override;
    void ResetRxBaseTime(long long baseTime) override;

    /// A transfer whose server may make it wait begins, or has ended.
    void begin();
    void end();
    /// The bytes that were told of last had been waited for.
    void waited();
    /// What came of such transfers, and how long it flowed, all together.
    struct Flow {
        uint64_t bytes = 0;
        std::chrono::milliseconds time{0};
    };
    Flow flow();
    /// Hands on what was gathered; to be called before the checker is polled.
    void flush();

private:
    struct Bytes {
        unsigned int start = 0;
        unsigned int end = 0;
        unsigned int count = 0;
    };

    void take();
    void handOn();

    hascommon::IDownloadEvent& m_checker;
    std::mutex m_mutex;          // guards everything below
    int m_paced = 0;             ///< such transfers under way
    std::optional<Bytes> m_last; ///< may turn out to have been waited for
    unsigned int m_busy = 0;     ///< milliseconds in which bytes flowed
    unsigned int m_end = 0;      ///< of the last of them
    unsigned int m_count = 0;    ///< these bytes
    Flow m_flow;
};

} // namespace hastool
