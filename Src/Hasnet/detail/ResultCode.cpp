#include <Hasnet/detail/ResultCode.h>

namespace hascommon::detail {

int codeOf(CURLcode result, long httpStatus) {
    // By number: libcurl renames and retires these constants, the numbers stay.
    switch (static_cast<int>(result)) {
    case 0:
        return kCodeOk;
    case 5:
        return kCodeProxyNotResolved;
    case 6:
        return kCodeHostNotResolved;
    case 7:
        return kCodeNoConnection;
    case 9:
    case 35:
    case 51:
    case 53:
    case 54:
        return kCodeTlsError;
    case 18:
        return kCodePartial;
    case 22:
    case 34:
    case 47:
    case 52:
        return kCodeHttpError;
    case 28:
        return kCodeTimeout;
    case 42:
        return kCodeCancelled;
    case 55:
        return kCodeSendError;
    case 56:
        return kCodeReceiveError;
    default:
        break;
    }
    // Without a sign, as a status may be any number; the low 32 bits of the sum are the code.
    const unsigned long long sum = 1000ULL * static_cast<unsigned long long>(httpStatus) +
                                   static_cast<unsigned long long>(result) + 100U;
    return static_cast<int>(static_cast<unsigned int>(0 - sum));
}

bool isRetriedStatus(long httpStatus) {
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

} // namespace hascommon::detail
