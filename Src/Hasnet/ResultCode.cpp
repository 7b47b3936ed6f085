#include <Hasnet/ResultCode.h>

namespace hascommon {

bool isRetried(long httpStatus) {
    switch (httpStatus) {
    case 403:
    case 404:
    case 500:
    case 503:
    case 504:
        return true;
    default:
        return false;
    }
}

const char* resultText(int code) {
    switch (code) {
    case RESULT_OK:
        return "done";
    case RESULT_NOT_BEGUN:
        return "not a URL that can be requested";
    case RESULT_CANCELLED:
        return "cancelled";
    case RESULT_EMPTY_URL:
        return "an empty URL";
    case RESULT_PROXY_NOT_RESOLVED:
        return "proxy not resolved";
    case RESULT_HOST_NOT_RESOLVED:
        return "host not resolved";
    case RESULT_NO_CONNECTION:
        return "no connection";
    case RESULT_SEND_ERROR:
        return "sending failed";
    case RESULT_RECEIVE_ERROR:
        return "no answer that could be used";
    case RESULT_HTTP_ERROR:
        return "HTTP error";
    case RESULT_TLS_ERROR:
        return "TLS error";
    case RESULT_PARTIAL:
        return "body cut short";
    case RESULT_TIMEOUT:
        return "timed out";
    case RESULT_RETRY_LIMIT:
        return "retried too often";
    default:
        return "transfer failed";
    }
}

} // namespace hascommon
