/// @file
/// A download's result codes by name.
#pragma once

#include <Hascommon/Export.h>

namespace hascommon {

/// What ICurl::EndDownload() and ICurl::GetCompleted() give, and, where they say so, the operations
/// that begin a request. An `int` may hold further values: a libcurl result that is not listed here
/// gives -1000 x status - result - 100. Values never change; new ones may come.
enum ResultCode : int {
    /// The whole body came.
    RESULT_OK = 0,
    /// The request was not begun: no unit was free, the URL cannot be requested, or the engine has
    /// quit. Also of an operation on a null unit.
    RESULT_NOT_BEGUN = -1,
    /// The owner cancelled the download, or ended it with a reset or the engine.
    RESULT_CANCELLED = -12,
    /// The request was not begun: there was no URL.
    RESULT_EMPTY_URL = -13,
    /// The proxy's name was not resolved.
    RESULT_PROXY_NOT_RESOLVED = -16,
    /// The host's name was not resolved.
    RESULT_HOST_NOT_RESOLVED = -17,
    /// No connection came about.
    RESULT_NO_CONNECTION = -18,
    /// Sending failed.
    RESULT_SEND_ERROR = -19,
    /// Receiving failed. The retry rules also turn into this what is not worth a retry, so an owner
    /// takes it as "no answer that could be used"; Curl::GetFailure() knows what it was.
    RESULT_RECEIVE_ERROR = -20,
    /// The response's status is an error that is worth a retry, see isRetried(); or there was no
    /// response, or there were too many redirects, once the whole body had come.
    RESULT_HTTP_ERROR = -23,
    /// TLS did not come about.
    RESULT_TLS_ERROR = -25,
    /// The body ended early. Worth a retry: what came is kept by its owner, who asks for the rest.
    RESULT_PARTIAL = -26,
    /// The time-out for connecting or for too slow a transfer has passed.
    RESULT_TIMEOUT = -53,
    /// A status that is worth a retry came more often than 20 times.
    RESULT_RETRY_LIMIT = -54,
};

/// Whether a response's status (RFC 9110, section 15) is worth asking again: 403, 404, 500, 503 and
/// 504. Segments of live streams appear late, and caches in front of them recover. Any thread may
/// call.
HAS_API bool isRetried(long httpStatus);

/// What a result code means, in a few words without a full stop: "host not resolved". "transfer
/// failed" for a value without a name. Static text; never null. Any thread may call.
HAS_API const char* resultText(int code);

} // namespace hascommon
