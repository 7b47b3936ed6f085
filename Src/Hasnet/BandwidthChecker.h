/// @file
/// The bandwidth estimate behind the choice of a stream.
#pragma once

#include <Hascommon/Export.h>
#include <Hascommon/RecursiveMutex.h>
#include <Hascommon/ThreadAnnotations.h>
#include <Hasnet/IBandwidthChecker.h>
#include <Hasnet/IDownloadEvent.h>

#include <array>
#include <atomic>
#include <cstdint>

namespace hascommon {

/// Estimates throughput from the arrival times that a download engine reports.
///
/// **Order of calls.** Construct; hand to Curl::Init() as the traffic observer; ParseComp() once
/// the manifest is parsed; Start(); OnPolling() about every 250 ms; Stop().
///
/// **Samples.** A poll divides the bytes since the last poll by the time from the first chunk's
/// begin to the last chunk's end since the last sample, and keeps the newest few (5 by default). A
/// transfer shorter than a twentieth of the polling period makes no sample, and its bytes are not
/// counted later either: this is meant, such transfers say nothing about the network.
///
/// **Threads.** The download engine reports on its transfer thread, the owner polls on its own;
/// everything may be called from any thread.
///
/// The object must live as long as the engine that it was handed to.
class HAS_API BandwidthChecker : public IBandwidthChecker, public IDownloadEvent {
public:
    BandwidthChecker();
    ~BandwidthChecker() override;
    BandwidthChecker(const BandwidthChecker&) = delete;
    BandwidthChecker& operator=(const BandwidthChecker&) = delete;

    /// @name The owner's part, see IBandwidthChecker
    /// Rates are bits per second and cut to 32 bits: a network of more than 4.29 Gbit/s wraps.
    /// @{

    bool Start() override;
    /// Chunks are counted on, but no poll makes a sample of them.
    bool Stop() override;
    /// Whether Start() came and no Stop() behind it; false at first.
    bool IsMonitoring() override;
    void OnPolling(long long now) override;
    /// 250 ms at first. A sample takes a transfer of at least a twentieth of it.
    void SetMonitorInterval(unsigned int ms) override;
    unsigned int GetMonitorInterval() override;
    unsigned int GetCurrentBandwidth() override;
    unsigned int GetBeginingBandwidth() override;
    unsigned int GetCurrentMinBandwidth() override;
    unsigned int GetCurrentAvgBandwidth() override;
    unsigned int GetAverageBandwidth() override;
    int GetVariationRateBandwidth() override;
    unsigned int GetDownloadPerHour() override;
    /// @}

    /// @name The engine's part, see IDownloadEvent
    /// @{
    void AddRxTimeInfo(unsigned int rxStart, unsigned int rxEnd, unsigned int bytes) override;
    /// Leaves what came since the last poll out of the next sample, so that the time in which the
    /// transfer was paused does not count.
    void ResetRxBaseTime(long long baseTime) override;
    /// @}

    /// Says that the manifest is parsed. Polls do nothing before, so that the download of the
    /// manifest itself does not count.
    void ParseComp();

    /// Sets how many samples make a window.
    ///
    /// To be called before the first sample; later on the means are off until the window has been
    /// filled anew.
    /// @param count  1 to 50; what lies outside is taken for the nearer of the two
    void setBwSampleCount(int count);

private:
    static constexpr std::size_t kRingSize = 50;

    /// Whether more than a mebibyte has come since the last poll, and not all at once.
    bool isWorthAnEarlyPoll() const;
    /// From the first chunk's begin to the last chunk's end, in ms.
    std::int64_t transferTime() const;
    void pushSample(std::uint32_t sample) HAS_REQUIRES(mutex);
    void updateStatistics() HAS_REQUIRES(mutex);
    /// What the getters tell, from a window that is full; one of zeros changes nothing.
    void updateFromWindow(std::uint32_t count) HAS_REQUIRES(mutex);

    /// Guards the ring, and the receive counters against changes in the middle of a poll. What is
    /// read without it is atomic.
    RecursiveMutex mutex;
    std::atomic<std::uint32_t> currentBandwidth{0};    ///< the window's highest sample
    std::atomic<std::uint32_t> currentMinBandwidth{0}; ///< its lowest
    std::atomic<std::uint32_t> currentAvgBandwidth{0}; ///< its mean
    std::atomic<std::uint32_t> beginingBandwidth{0};   ///< the newest until the window is full
    std::atomic<std::int32_t> variationRateBandwidth{0};
    std::atomic<std::uint32_t> downloadPerHour{0}; ///< bytes
    std::atomic<std::uint64_t> startBytes{0};      ///< of totalRxBytes, at Start()
    std::atomic<std::int64_t> startTime{0};
    std::atomic<std::int64_t> rxStartMin{0}; ///< begin of the first chunk since the last poll
    std::atomic<std::uint64_t> lastBytes{0}; ///< of totalRxBytes, at the last poll
    std::atomic<std::int64_t> lastPollTime{0};
    std::array<std::uint32_t, kRingSize> samples HAS_GUARDED_BY(mutex){};
    std::uint32_t sampleFill HAS_GUARDED_BY(mutex) = 0;  ///< how many there are
    std::uint32_t sampleIndex HAS_GUARDED_BY(mutex) = 0; ///< where the next one goes
    std::atomic<bool> monitoring{false};
    std::atomic<bool> parseComplete{false};
    std::atomic<std::uint32_t> monitorInterval{0}; ///< ms
    std::atomic<std::uint32_t> bwSampleCount{5};   ///< the window's size
    std::atomic<std::uint64_t> totalRxBytes{0};    ///< since the object was made
    std::atomic<std::int64_t> rxEndMax{0};         ///< end of the last chunk
};

} // namespace hascommon
