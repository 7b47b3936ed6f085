#include <Hasnet/detail/Outcome.h>
#include <Hasnet/detail/ResultCode.h>

#include <gtest/gtest.h>

namespace {

using namespace hascommon::detail;

TransferEnd endOf(long status, unsigned long long received, unsigned long long total,
                  int retries = 0) {
    TransferEnd end;
    end.status = status;
    end.received = received;
    end.total = total;
    end.retries = retries;
    end.url = "http://h/a?b=%d";
    return end;
}

struct RuleRow {
    const char* name;
    int code;
    TransferEnd end;
    int expectedCode;
    int expectedRetries;
    bool paces;
    const char* text;
};

class RetryRules : public ::testing::TestWithParam<RuleRow> {};

TEST_P(RetryRules, FailureGivesCodeRetriesAndPause) {
    const RuleRow& row = GetParam();
    const Outcome outcome = outcomeOf(row.end, row.code);
    EXPECT_EQ(outcome.code, row.expectedCode);
    EXPECT_EQ(outcome.retries, row.expectedRetries);
    EXPECT_EQ(outcome.paces, row.paces);
    EXPECT_EQ(outcome.text, row.text);
}

constexpr const char* kTimedOut = " HTTP TIME OUT ERROR-1 !";
constexpr const char* kRefused = "--- else, err_recv_error";
constexpr const char* kCutShort =
    " Curl Retry incomplete download: retry(1), pause(0), interrupt(0), now(400), total(1000), "
    "url(http://h/a?b=%d)";
constexpr const char* kWithoutLength =
    " Curl Retry incomplete download: retry(1), pause(0), interrupt(0), now(400), total(0), "
    "url(http://h/a?b=%d)";
constexpr const char* kLastCut =
    " Curl Retry incomplete download: retry(20), pause(0), interrupt(0), now(0), total(1000), "
    "url(http://h/a?b=%d)";

INSTANTIATE_TEST_SUITE_P(
    Table, RetryRules,
    ::testing::Values(
        // A time-out is never retried, whatever the status and the bytes.
        RuleRow{"TimeOut", -53, endOf(200, 0, 1000), -53, 0, false, kTimedOut},
        RuleRow{"TimeOutOfARetriedStatus", -53, endOf(404, 0, 0), -53, 0, false, kTimedOut},
        RuleRow{"TimeOutBehindTheBody", -53, endOf(200, 9, 9), -53, 0, false, kTimedOut},
        RuleRow{"CutShort", -26, endOf(200, 400, 1000), -26, 1, true, kCutShort},
        RuleRow{"CutShortOfNoKnownLength", -26, endOf(200, 400, 0), -26, 1, true, kWithoutLength},
        RuleRow{"CutShortForTheTwentiethTime", -26, endOf(200, 0, 1000, 19), -26, 20, true,
                kLastCut},
        RuleRow{"CutShortTooOften", -26, endOf(200, 400, 1000, 20), -20, 20, false, kRefused},
        RuleRow{"CutShortTooOftenOfARetriedStatus", -26, endOf(503, 400, 1000, 20), -54, 20, false,
                " HTTP 404 ERROR - retry ( retry : 20 )"},
        // A failure after all the data has come keeps its code.
        RuleRow{"PartialButComplete", -26, endOf(200, 1000, 1000), -26, 0, false, ""},
        RuleRow{"PartialButCompleteTooOften", -26, endOf(200, 1000, 1000, 20), -26, 20, false, ""},
        RuleRow{"SendErrorBehindTheBody", -19, endOf(200, 1001, 1000), -19, 0, false, ""},
        RuleRow{"RetriedStatusBehindTheBody", -23, endOf(404, 5, 5), -23, 0, false, ""},
        RuleRow{"Status403", -23, endOf(403, 0, 0), -23, 1, true, " HTTP 404 ERROR ( retry : 1 )"},
        RuleRow{"Status500", -23, endOf(500, 0, 9), -23, 1, true, " HTTP 404 ERROR ( retry : 1 )"},
        RuleRow{"Status404ForTheTwentiethTime", -23, endOf(404, 0, 0, 19), -23, 20, true,
                " HTTP 404 ERROR ( retry : 20 )"},
        RuleRow{"Status404TooOften", -23, endOf(404, 0, 0, 20), -54, 20, false,
                " HTTP 404 ERROR - retry ( retry : 20 )"},
        RuleRow{"OtherStatus", -23, endOf(410, 0, 0), -20, 0, false, kRefused},
        RuleRow{"NoConnection", -18, endOf(0, 0, 0), -20, 0, false, kRefused},
        RuleRow{"ReceiveErrorHalfway", -20, endOf(200, 400, 1000), -20, 0, false, kRefused},
        RuleRow{"UnknownResult", -160, endOf(0, 0, 0), -20, 0, false, kRefused},
        RuleRow{"RetriesBeyondTheLimit", -53, endOf(200, 0, 0, 21), -20, 21, false, kTimedOut}),
    [](const auto& row) { return row.param.name; });

TEST(Outcome, BodyCutShortLeavesTheReceivedBytesToBeSkipped) {
    TransferEnd end = endOf(200, 400, 1000);
    EXPECT_EQ(outcomeOf(end, hascommon::RESULT_PARTIAL).skipBytes, 400U);
    end.skipBytes = 700;
    EXPECT_EQ(outcomeOf(end, hascommon::RESULT_PARTIAL).skipBytes, 700U);
    EXPECT_EQ(outcomeOf(end, hascommon::RESULT_HTTP_ERROR).skipBytes, 700U);
}

TEST(Outcome, CancelAndHeadersWithoutAnEndCorrectLibcurlsResult) {
    EXPECT_EQ(correctedResult(CURLE_OK, false, false), CURLE_OK);
    EXPECT_EQ(correctedResult(CURLE_OK, false, true), CURLE_PARTIAL_FILE);
    EXPECT_EQ(correctedResult(CURLE_OK, true, true), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_EQ(correctedResult(CURLE_RECV_ERROR, false, true), CURLE_RECV_ERROR);
    EXPECT_EQ(correctedResult(CURLE_RECV_ERROR, true, false), CURLE_ABORTED_BY_CALLBACK);
}

TEST(Outcome, ThreeCodesHaveALineOfTheirOwn) {
    EXPECT_EQ(codeText(-25, CURLE_SSL_CONNECT_ERROR), " [ERROR] SSL error: 35");
    EXPECT_EQ(codeText(-53, CURLE_OPERATION_TIMEDOUT),
              " [Warning] CURLE_OPERATION_TIMEDOUT occured!");
    EXPECT_EQ(codeText(-20, CURLE_RECV_ERROR), " [Warning]CURLE_RECV_ERROR error occured!");
    for (const int code : {0, -12, -16, -17, -18, -19, -23, -26, -160})
        EXPECT_EQ(codeText(code, CURLE_OK), "") << code;
}

TEST(Outcome, FailureLineTellsAllThatIsKnown) {
    TransferEnd end = endOf(503, 5000000000U, 7);
    end.result = CURLE_HTTP_RETURNED_ERROR;
    end.easyIndex = -1;
    end.paused = true;
    end.cancelled = true;
    EXPECT_EQ(failureText(end, -23),
              " Curl Download Error!!: pause(1), interrupt(1), has(-23), Curl(22), http(503), "
              "now(705032704), total(7), http://h/a?b=%d,curlID(-1)");
}

} // namespace
