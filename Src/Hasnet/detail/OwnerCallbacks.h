// Whom a download engine tells.
#pragma once

#include <Hasnet/ICurlCB.h>
#include <Hasnet/IDownloadEvent.h>

#include <atomic>

namespace hascommon::detail {

/// Borrowed from Init() on; null where the owner has none.
struct OwnerCallbacks {
    std::atomic<ICurlCB*> cb{nullptr};
    std::atomic<IDownloadEvent*> ev{nullptr};
};

} // namespace hascommon::detail
