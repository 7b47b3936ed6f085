#include <Hasnet/Curl_HLS.h>

#include <Hascommon/detail/Log.h>

namespace hascommon {

Curl_HLS::~Curl_HLS() {
    Stop();
}

void Curl_HLS::SetCookie(const std::string& cookie) {
    HAS_LOG_HIGHLIGHTED(" HLS Specific setcookie");
    const std::string line = "Cookie:" + cookie;
    KeepUserCookie(line);
    if (!AddHeaderLine(line))
        HAS_LOG(" failed to set cookie header in curl");
}

int Curl_HLS::ResultIf(UnitObject* unit, CURLcode curlCode, long httpStatus, int easyIndex) {
    HAS_LOG_HIGHLIGHTED(" HLS Specific ResultIf");
    if (curlCode == CURLE_RECV_ERROR)
        return Curl::ResultIf(unit, CURLE_PARTIAL_FILE, httpStatus, easyIndex);
    return Curl::ResultIf(unit, curlCode, httpStatus, easyIndex);
}

} // namespace hascommon
