// The download engine's codes in words.
#pragma once

#include <Hasnet/DownloadFailure.h>

#include <string>

namespace hastool {

/// What a unit code and the last response's status mean: "HTTP 404 (code -23)", "host not resolved
/// (code -17)".
std::string resultText(int code, long httpStatus);

/// How a download failed, in one line: what it was, libcurl's words and the peer, as in "connection
/// refused: Failed to connect to ... (code -20, 127.0.0.1:80)".
/// @param viaProxy  the peer is a proxy
std::string failureText(int code, const hascommon::DownloadFailure& failure, bool viaProxy);

/// The same in a few words: "HTTP 404", "connection refused".
std::string shortFailureText(int code, const hascommon::DownloadFailure& failure);

} // namespace hastool
