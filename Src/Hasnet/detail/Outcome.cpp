#include <Hasnet/detail/Outcome.h>

#include <Hasnet/detail/ByteCount.h>
#include <Hasnet/detail/ResultCode.h>

#include <algorithm>

namespace hascommon::detail {
namespace {

std::string number(long long value) {
    return std::to_string(value);
}

std::string bytes(unsigned long long count) {
    return std::to_string(low32(count));
}

Outcome cutShort(const TransferEnd& end, Outcome outcome) {
    ++outcome.retries;
    outcome.skipBytes = std::max(end.skipBytes, end.received);
    outcome.paces = true;
    outcome.text = " Curl Retry incomplete download: retry(" + number(outcome.retries) +
                   "), pause(" + number(end.paused) + "), interrupt(0), now(" +
                   bytes(end.received) + "), total(" + bytes(end.total) + "), url(" + end.url + ")";
    return outcome;
}

/// The line says 404 for each of the statuses.
Outcome retriedStatus(Outcome outcome) {
    outcome.paces = outcome.retries < kMaxRetries;
    if (outcome.paces) {
        ++outcome.retries;
        outcome.text = " HTTP 404 ERROR ( retry : " + number(outcome.retries) + " )";
    } else {
        outcome.code = RESULT_RETRY_LIMIT;
        outcome.text = " HTTP 404 ERROR - retry ( retry : " + number(outcome.retries) + " )";
    }
    return outcome;
}

Outcome underTheRule(const TransferEnd& end, Outcome outcome) {
    if (outcome.code == RESULT_TIMEOUT) {
        outcome.text = " HTTP TIME OUT ERROR-1 !";
        return outcome;
    }
    if (end.total != 0 && end.received >= end.total)
        return outcome; // All the data arrived; the code says what went wrong after it.
    if (outcome.code == RESULT_PARTIAL && end.retries < kMaxRetries)
        return cutShort(end, outcome);
    if (isRetried(end.status))
        return retriedStatus(outcome);
    outcome.code = RESULT_RECEIVE_ERROR;
    outcome.text = "--- else, err_recv_error";
    return outcome;
}

} // namespace

CURLcode correctedResult(CURLcode result, bool cancelled, bool withinHeaders) {
    if (cancelled)
        return CURLE_ABORTED_BY_CALLBACK;
    return result == CURLE_OK && withinHeaders ? CURLE_PARTIAL_FILE : result;
}

std::string codeText(int code, CURLcode result) {
    switch (code) {
    case RESULT_TLS_ERROR:
        return " [ERROR] SSL error: " + number(result);
    case RESULT_TIMEOUT:
        return " [Warning] CURLE_OPERATION_TIMEDOUT occured!";
    case RESULT_RECEIVE_ERROR:
        return " [Warning]CURLE_RECV_ERROR error occured!";
    default:
        return {};
    }
}

std::string failureText(const TransferEnd& end, int code) {
    return " Curl Download Error!!: pause(" + number(end.paused) + "), interrupt(" +
           number(end.cancelled) + "), has(" + number(code) + "), Curl(" + number(end.result) +
           "), http(" + number(static_cast<int>(end.status)) + "), now(" + bytes(end.received) +
           "), total(" + bytes(end.total) + "), " + end.url + ",curlID(" + number(end.easyIndex) +
           ")";
}

Outcome outcomeOf(const TransferEnd& end, int code) {
    Outcome start;
    start.code = code;
    start.retries = end.retries;
    start.skipBytes = end.skipBytes;
    Outcome outcome = underTheRule(end, start);
    if (outcome.retries > kMaxRetries)
        outcome.code = RESULT_RECEIVE_ERROR;
    return outcome;
}

} // namespace hascommon::detail
