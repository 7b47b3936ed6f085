/// @file
/// The download engine of HLS.
#pragma once

#include <Hasnet/Curl.h>

namespace hascommon {

/// Differs from Curl in how it takes a cookie and in that it treats a receive error as a body cut
/// short. Everything else, threads and ownership included, is Curl's.
class HAS_API Curl_HLS : public Curl {
public:
    using Curl::Curl;
    /// Stops the engine while its own ResultIf() is still there; else as ~Curl().
    ~Curl_HLS() override;

    /// Adds one "Cookie:" line to every later request, whatever its host. Lines add up until
    /// Quit(); two calls give two lines, which is meant. The cookie jar does not learn of it.
    /// @param cookie  "name=value" pairs as they go into the header
    void SetCookie(const std::string& cookie) override;

    /// As Curl::ResultIf(), with CURLE_RECV_ERROR taken as CURLE_PARTIAL_FILE.
    int ResultIf(UnitObject* unit, CURLcode curlCode, long httpStatus, int easyIndex) override;
};

} // namespace hascommon
