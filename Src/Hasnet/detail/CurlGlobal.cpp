#include <Hasnet/detail/CurlGlobal.h>

#include <curl/curl.h>

namespace hascommon::detail {

void ensureCurlGlobal() {
    // Never undone: an embedder may use libcurl on its own after the last engine is gone.
    static const CURLcode result = curl_global_init(CURL_GLOBAL_ALL);
    static_cast<void>(result);
}

} // namespace hascommon::detail
