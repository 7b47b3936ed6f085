// The way of the body from libcurl to the owner.
#pragma once

#include <Hasnet/detail/OwnerCallbacks.h>
#include <Hasnet/detail/RequestQueue.h>
#include <Hasnet/detail/UnitTable.h>

#include <cstddef>

namespace hascommon::detail {

/// Takes a chunk from libcurl, counts it, tells the bandwidth observer, and offers it to the owner
/// until it is taken; what comes while the unit is paused is held and handed out first afterwards.
class BodyDelivery {
public:
    BodyDelivery(ItemLock& lock, const OwnerCallbacks& owner, UrlInfoTable& urlInfo,
                 const RequestQueue& queue);

    /// libcurl's write function; the user pointer is the unit. Always takes everything: only the
    /// progress function stops a transfer.
    static std::size_t EasyDownloadCB(char* data, std::size_t size, std::size_t nmemb, void* unit);

    /// Hands out what is held, unless the unit is paused; LoadHeld() says so in the log.
    void LoadHeld(UnitObject* unit) HAS_REQUIRES(itemLock);
    void DeliverHeld(UnitObject* unit) HAS_REQUIRES(itemLock);

private:
    int OnBodyDownload(UnitObject* unit, unsigned char* data, unsigned int size, int easyIndex,
                       int part) HAS_REQUIRES(itemLock);
    void ProcessGetInfo(UnitObject* unit, int easyIndex) HAS_REQUIRES(itemLock);
    void KeepForLater(UnitObject* unit, const unsigned char* data, unsigned int size)
        HAS_REQUIRES(itemLock);
    void CountArrival(UnitObject* unit, unsigned int size) HAS_REQUIRES(itemLock);
    void CallTransfer(UnitObject* unit, int code, unsigned char* data, unsigned int size, int part);

    ItemLock& m_lock;
    const OwnerCallbacks& m_owner;
    UrlInfoTable& m_urlInfo;
    const RequestQueue& m_queue;
};

} // namespace hascommon::detail
