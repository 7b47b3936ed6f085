/// @file
/// What an observer of the download engine's traffic is told.
#pragma once

#include <Hascommon/Export.h>

namespace hascommon {

/// Arrival times of body chunks; BandwidthChecker implements it.
///
/// Threads: both operations are called on the transfer thread with the engine's item lock held.
class HAS_API IDownloadEvent {
public:
    virtual ~IDownloadEvent();

    /// One body chunk arrived.
    /// @param rxStart  arrival of the unit's previous chunk, or its begin: the low 32 bits of the
    ///                 milliseconds of has_getTime()
    /// @param rxEnd    arrival of this chunk, likewise
    /// @param bytes    its length
    virtual void AddRxTimeInfo(unsigned int rxStart, unsigned int rxEnd, unsigned int bytes) = 0;

    /// Restarts the time base; called instead of AddRxTimeInfo() for 100 ms after a resume.
    /// @param baseTime  milliseconds of has_getTime()
    virtual void ResetRxBaseTime(long long baseTime) = 0;
};

} // namespace hascommon
