#include <Hasnet/detail/ResultCode.h>

namespace hascommon::detail {

int codeOf(CURLcode result, long httpStatus) {
    // By number: libcurl renames and retires these constants, the numbers stay.
    switch (static_cast<int>(result)) {
    case 0:
        return RESULT_OK;
    case 5:
        return RESULT_PROXY_NOT_RESOLVED;
    case 6:
        return RESULT_HOST_NOT_RESOLVED;
    case 7:
        return RESULT_NO_CONNECTION;
    case 9:
    case 35:
    case 51:
    case 53:
    case 54:
        return RESULT_TLS_ERROR;
    case 18:
        return RESULT_PARTIAL;
    case 22:
    case 34:
    case 47:
    case 52:
        return RESULT_HTTP_ERROR;
    case 28:
        return RESULT_TIMEOUT;
    case 42:
        return RESULT_CANCELLED;
    case 55:
        return RESULT_SEND_ERROR;
    case 56:
        return RESULT_RECEIVE_ERROR;
    default:
        break;
    }
    // Without a sign, as a status may be any number; the low 32 bits of the sum are the code.
    const unsigned long long sum = 1000ULL * static_cast<unsigned long long>(httpStatus) +
                                   static_cast<unsigned long long>(result) + 100U;
    return static_cast<int>(static_cast<unsigned int>(0 - sum));
}

} // namespace hascommon::detail
