// What the end of a transfer means for its unit: rules without an engine, a clock or a log.
#pragma once

#include <string>

#include <curl/curl.h>

namespace hascommon::detail {

/// What is known of a transfer that has come to its end.
struct TransferEnd {
    CURLcode result = CURLE_OK;
    long status = 0;   ///< HTTP status, 0 when there was none
    int easyIndex = 0; ///< as ResultIf() was given it
    std::string url;
    unsigned long long received = 0;  ///< body bytes
    unsigned long long total = 0;     ///< content length, 0 when not known
    unsigned long long skipBytes = 0; ///< body bytes that the owner has from an earlier attempt
    int retries = 0;                  ///< that were counted before
    bool paused = false;
    bool cancelled = false; ///< by the owner, and nobody has acted on it
};

/// What the retry rules make of a failure.
struct Outcome {
    int code = 0; ///< the unit's
    int retries = 0;
    unsigned long long skipBytes = 0;
    bool paces = false; ///< the owner is to retry: the engine waits before it goes on
    std::string text;   ///< the log line of the rule that held; empty where it has none
};

/// libcurl's result, corrected by what it does not know: that the owner has cancelled, which counts
/// even where the transfer ended before it noticed, and that a connection which closes within the
/// headers is no empty body.
CURLcode correctedResult(CURLcode result, bool cancelled, bool withinHeaders);

/// The log line of a code that has one of its own; empty for the others.
std::string codeText(int code, CURLcode result);

/// The log line of a failure that is no cancel.
std::string failureText(const TransferEnd& end, int code);

/// Applies the retry rules to a failure that was not cancelled.
/// @param code  codeOf() its result and status, negative
Outcome outcomeOf(const TransferEnd& end, int code);

} // namespace hascommon::detail
