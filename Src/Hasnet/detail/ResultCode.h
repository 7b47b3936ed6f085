// A download's result codes.
#pragma once

#include <curl/curl.h>

namespace hascommon::detail {

constexpr int kCodeOk = 0;
constexpr int kCodeCancelled = -12;
constexpr int kCodeEmptyUrl = -13;
constexpr int kCodeProxyNotResolved = -16;
constexpr int kCodeHostNotResolved = -17;
constexpr int kCodeNoConnection = -18;
constexpr int kCodeSendError = -19;
constexpr int kCodeReceiveError = -20;
constexpr int kCodeHttpError = -23;
constexpr int kCodeTlsError = -25;
constexpr int kCodePartial = -26;
constexpr int kCodeTimeout = -53;
constexpr int kCodeRetryLimit = -54;

/// How often the owner is asked to retry a request.
constexpr int kMaxRetries = 20;

/// The code of a libcurl result, before the retry rules.
int codeOf(CURLcode result, long httpStatus);

/// Whether a failure with this status is worth a retry.
bool isRetriedStatus(long httpStatus);

} // namespace hascommon::detail
