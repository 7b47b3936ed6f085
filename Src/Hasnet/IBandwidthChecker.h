/// @file
/// The owner's view of a bandwidth estimate.
#pragma once

#include <Hascommon/Export.h>

namespace hascommon {

/// Estimates the throughput of the network; BandwidthChecker implements it.
///
/// Rates are bits per second, times milliseconds of has_getTime().
///
/// Threads: OnPolling() is called from one thread, Start() and Stop() from the owner's; the getters
/// may be called from any thread at any time and never wait.
class HAS_API IBandwidthChecker {
public:
    virtual ~IBandwidthChecker();

    /// Begins monitoring; called again it restarts the average but keeps all samples.
    /// @return true
    virtual bool Start() = 0;

    /// Ends monitoring; the estimate stays as it is.
    /// @return true
    virtual bool Stop() = 0;

    virtual bool IsMonitoring() = 0;

    /// Turns what arrived since the last poll into a sample.
    ///
    /// To be called about every GetMonitorInterval(); an earlier call is answered only when more
    /// than a mebibyte has arrived. Without monitoring it does nothing.
    /// @param now  has_getTime()
    virtual void OnPolling(long long now) = 0;

    /// @param ms  the polling period in milliseconds
    virtual void SetMonitorInterval(unsigned int ms) = 0;
    virtual unsigned int GetMonitorInterval() = 0;

    /// @return the highest sample of the window; 0 until the window has been full once
    virtual unsigned int GetCurrentBandwidth() = 0;

    /// @return the newest sample while the window is being filled for the first time, afterwards
    ///         the last such one; 0 before the first
    virtual unsigned int GetBeginingBandwidth() = 0;

    /// @return the lowest sample of the window; 0 until the window has been full once
    virtual unsigned int GetCurrentMinBandwidth() = 0;

    /// @return the mean of the window; 0 until the window has been full once
    virtual unsigned int GetCurrentAvgBandwidth() = 0;

    /// @return the mean rate since Start(), pauses included; 0 within its first millisecond
    virtual unsigned int GetAverageBandwidth() = 0;

    /// @return by how much the last poll changed GetCurrentBandwidth()
    virtual int GetVariationRateBandwidth() = 0;

    /// @return the bytes that one hour at GetCurrentBandwidth() carries, cut to 32 bits
    virtual unsigned int GetDownloadPerHour() = 0;
};

} // namespace hascommon
