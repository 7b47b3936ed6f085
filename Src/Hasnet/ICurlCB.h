/// @file
/// What the owner of a download engine is told.
#pragma once

#include <Hascommon/Export.h>

#include <string>

namespace hascommon {

class UnitObject;

/// The owner's callbacks.
///
/// Ownership: the engine borrows the object from Curl::Init() until the engine is destroyed.
///
/// Threads: OnDownloadBegin() runs on the thread that begins the request; the others run on the
/// transfer thread (or inside RunOnce() where the owner drives the engine itself) with the engine's
/// item lock held. Every operation of the engine may be called from inside a callback; what those
/// do that would have to wait for the callback itself is told at ICurl ("Inside a callback"). A
/// callback must not throw.
class HAS_API ICurlCB {
public:
    virtual ~ICurlCB();

    /// A request was accepted; its unit is prepared, its transfer not yet begun.
    virtual void OnDownloadBegin(UnitObject* unit) = 0;

    /// A piece of body, in order.
    /// @param unit  the download
    /// @param code  the unit's code, 0 while it runs
    /// @param data  the bytes; valid until the call returns
    /// @param size  how many
    /// @return 0 when the bytes were taken. With any other value the engine offers the same bytes
    ///         again every 3 ms, for as long as it takes; all other transfers wait meanwhile, but
    ///         the item lock is free between two offers.
    virtual int OnDataReceived(UnitObject* unit, int code, unsigned char* data,
                               unsigned int size) = 0;

    /// The transfer ended with HTTP status 200 after at least one redirect.
    /// @param location  the last redirect's target, absolute
    virtual void OnRedirected(UnitObject* unit, std::string location) = 0;
};

} // namespace hascommon
