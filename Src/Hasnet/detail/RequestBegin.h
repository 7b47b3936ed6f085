// The beginning of a request.
#pragma once

#include <Hasnet/ICurlFactory.h>
#include <Hasnet/detail/OwnerCallbacks.h>
#include <Hasnet/detail/RequestQueue.h>
#include <Hasnet/detail/RequestSetup.h>
#include <Hasnet/detail/UnitTable.h>

#include <string>

namespace hascommon::detail {

/// Takes a unit, tells the owner, has the handle set up and hands the request to the pass; all on
/// the caller's thread, which takes the item lock only to give a refused unit back.
class RequestBegin {
public:
    RequestBegin(ItemLock& lock, ICurlFactory& factory, const OwnerCallbacks& owner,
                 UnitTable& table, RequestSetup& setup, RequestQueue& queue);

    /// @param key   the request key, which a reset may make stale meanwhile
    /// @param unit  receives the unit; untouched unless the request was begun
    /// @return 0 when begun, -1 without a unit for the host or when the request was refused
    /// @throws std::exception when libcurl has no handle to give; no unit is held then
    int BeginDownloadImpl(unsigned int key, const std::string& url, const std::string& range,
                          bool keepInfo, UnitObject*& unit, bool flag, void* userData);

private:
    UnitObject* take(const std::string& url);
    bool ReqBody(UnitObject* unit, unsigned int key);

    ItemLock& m_lock;
    ICurlFactory& m_factory;
    const OwnerCallbacks& m_owner;
    UnitTable& m_table;
    RequestSetup& m_setup;
    RequestQueue& m_queue;
};

} // namespace hascommon::detail
