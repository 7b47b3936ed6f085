// A plain libcurl transfer, to judge servers and to compare with.
#pragma once

#include <functional>
#include <string>

#include <curl/curl.h>

namespace test {

/// What a transfer came to.
struct Fetched {
    CURLcode code = CURLE_OK;
    long status = 0;
    long redirects = 0;
    long httpVersion = 0; ///< CURL_HTTP_VERSION_1_1 and so on
    std::string head;     ///< all header lines
    std::string body;
};

/// Sets further options before a transfer.
using FetchOptions = std::function<void(CURL*)>;

/// Downloads a URL on this thread; the environment's proxies are not used.
Fetched fetch(const std::string& url, const FetchOptions& options = {});

} // namespace test
