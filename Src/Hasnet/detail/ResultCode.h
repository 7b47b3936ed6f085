// The result code of a transfer.
#pragma once

#include <Hasnet/ResultCode.h>

#include <curl/curl.h>

namespace hascommon::detail {

/// How often the owner is asked to retry a request.
constexpr int kMaxRetries = 20;

/// The code of a libcurl result, before the retry rules: a ResultCode, or a number made of both.
int codeOf(CURLcode result, long httpStatus);

} // namespace hascommon::detail
