#include <Hasnet/ResultCode.h>

#include <set>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace {

struct Named {
    int code;
    int value;
    const char* text;
};

constexpr Named kCodes[] = {
    {hascommon::RESULT_OK, 0, "done"},
    {hascommon::RESULT_NOT_BEGUN, -1, "not a URL that can be requested"},
    {hascommon::RESULT_CANCELLED, -12, "cancelled"},
    {hascommon::RESULT_EMPTY_URL, -13, "an empty URL"},
    {hascommon::RESULT_PROXY_NOT_RESOLVED, -16, "proxy not resolved"},
    {hascommon::RESULT_HOST_NOT_RESOLVED, -17, "host not resolved"},
    {hascommon::RESULT_NO_CONNECTION, -18, "no connection"},
    {hascommon::RESULT_SEND_ERROR, -19, "sending failed"},
    {hascommon::RESULT_RECEIVE_ERROR, -20, "no answer that could be used"},
    {hascommon::RESULT_HTTP_ERROR, -23, "HTTP error"},
    {hascommon::RESULT_TLS_ERROR, -25, "TLS error"},
    {hascommon::RESULT_PARTIAL, -26, "body cut short"},
    {hascommon::RESULT_TIMEOUT, -53, "timed out"},
    {hascommon::RESULT_RETRY_LIMIT, -54, "retried too often"},
};

TEST(ResultCode, EachNameHasItsValueAndAText) {
    std::set<std::string> texts;
    for (const Named& named : kCodes) {
        EXPECT_EQ(named.code, named.value);
        EXPECT_STREQ(hascommon::resultText(named.value), named.text);
        texts.insert(named.text);
    }
    EXPECT_EQ(texts.size(), std::size(kCodes));
}

TEST(ResultCode, AValueWithoutANameIsAFailedTransfer) {
    for (const int code : {1, -2, -24, -127, -404102})
        EXPECT_STREQ(hascommon::resultText(code), "transfer failed") << code;
}

TEST(ResultCode, FiveStatusesAreWorthARetry) {
    const std::set<long> retried{403, 404, 500, 503, 504};
    for (long status = -1; status < 1000; ++status)
        EXPECT_EQ(hascommon::isRetried(status), retried.count(status) != 0) << status;
}

} // namespace
