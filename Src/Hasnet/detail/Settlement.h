// How an outcome becomes the unit's.
#pragma once

#include <Hasnet/detail/Outcome.h>
#include <Hasnet/detail/OwnerCallbacks.h>
#include <Hasnet/detail/UnitObject.h>

namespace hascommon::detail {

/// Settles a finished transfer: writes what Outcome.h makes of it into the unit and the log, waits
/// where the owner is to retry, and tells the owner of a redirect.
class Settlement {
public:
    explicit Settlement(const OwnerCallbacks& owner)
        : m_owner(owner) {}

    /// What Curl::ResultIf() does for a unit.
    int ResultIf(UnitObject& unit, CURLcode curlCode, long httpStatus, int easyIndex)
        HAS_REQUIRES(itemLock);

private:
    static void ApplyRetryRules(UnitObject& unit, const Outcome& outcome) HAS_REQUIRES(itemLock);
    void reportRedirect(UnitObject& unit, long httpStatus) HAS_REQUIRES(itemLock);

    const OwnerCallbacks& m_owner;
};

} // namespace hascommon::detail
