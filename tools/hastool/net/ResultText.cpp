#include "ResultText.h"

#include <Hasnet/ResultCode.h>

#include <algorithm>
#include <cstring>

#include <curl/curl.h>

namespace hastool {
namespace {

struct Meaning {
    int code;
    const char* text;
};

/// libcurl's results by number, since it renames and retires their constants.
constexpr Meaning kFailures[] = {
    {3, "not a URL that can be requested"},
    {5, "proxy not found"},
    {6, "host not found"},
    {9, "access denied"},
    {16, "HTTP/2 failed"},
    {18, "body cut short"},
    {28, "timed out"},
    {35, "TLS failed"},
    {47, "too many redirects"},
    {51, "TLS certificate not accepted"},
    {52, "no answer"},
    {53, "TLS failed"},
    {54, "TLS failed"},
    {55, "sending failed"},
    {56, "connection broken"},
    {58, "TLS failed"},
    {59, "TLS failed"},
    {60, "TLS certificate not accepted"},
    {61, "body cannot be decoded"},
    {66, "TLS failed"},
    {77, "TLS certificates cannot be read"},
    {83, "TLS certificate not accepted"},
    {90, "TLS certificate not accepted"},
    {91, "TLS certificate not accepted"},
    {92, "HTTP/2 failed"},
    {97, "proxy failed"},
};

constexpr long kFirstErrorStatus = 400;

const char* meaningOf(int curlCode) {
    for (const Meaning& meaning : kFailures) {
        if (meaning.code == curlCode)
            return meaning.text;
    }
    return "transfer failed";
}

/// "connection refused", "network is unreachable".
std::string connectFailure(int osError) {
    if (osError == 0)
        return "no connection";
    std::string text = std::strerror(osError);
    if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z')
        text[0] = static_cast<char>(text[0] - 'A' + 'a');
    return text;
}

/// libcurl's messages quote servers and playlists: what they send must not control a terminal.
std::string onOneLine(std::string text) {
    const auto isForeign = [](char c) { return c < ' ' || c > '~'; };
    std::replace_if(text.begin(), text.end(), isForeign, '?');
    return text;
}

} // namespace

std::string resultText(int code, long httpStatus) {
    std::string text = hascommon::resultText(code);
    if (httpStatus >= kFirstErrorStatus)
        text = "HTTP " + std::to_string(httpStatus);
    return code == hascommon::RESULT_OK ? text : text + " (code " + std::to_string(code) + ")";
}

std::string shortFailureText(int code, const hascommon::DownloadFailure& failure) {
    if (code == hascommon::RESULT_CANCELLED || failure.curlCode == CURLE_OK)
        return hascommon::resultText(code);
    if (failure.curlCode == CURLE_HTTP_RETURNED_ERROR)
        return "HTTP " + std::to_string(failure.httpStatus);
    if (failure.curlCode == CURLE_COULDNT_CONNECT)
        return connectFailure(failure.osError);
    return meaningOf(failure.curlCode);
}

std::string failureText(int code, const hascommon::DownloadFailure& failure, bool viaProxy) {
    // Where libcurl tells no failure, the download's owner has ended it, not the network.
    if (code == hascommon::RESULT_CANCELLED || failure.curlCode == CURLE_OK)
        return resultText(code, failure.httpStatus);
    std::string text = shortFailureText(code, failure);
    if (failure.curlCode != CURLE_HTTP_RETURNED_ERROR)
        text += ": " + onOneLine(failure.text);
    text += " (code " + std::to_string(code);
    if (!failure.peer.empty())
        text += (viaProxy ? ", proxy " : ", ") + failure.peer;
    return text + ")";
}

} // namespace hastool
