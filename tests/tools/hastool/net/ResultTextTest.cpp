#include <hastool/net/ResultText.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

TEST(ResultText, NamesTheStatusOrTheCode) {
    EXPECT_EQ(hastool::resultText(0, 200), "done");
    EXPECT_EQ(hastool::resultText(-23, 404), "HTTP 404 (code -23)");
    EXPECT_EQ(hastool::resultText(-17, 0), "host not resolved (code -17)");
    EXPECT_EQ(hastool::resultText(-26, 200), "body cut short (code -26)");
    EXPECT_EQ(hastool::resultText(-160, 0), "transfer failed (code -160)");
}

namespace {

hascommon::DownloadFailure failure(int curlCode, const std::string& text = "words",
                                   const std::string& peer = "192.0.2.1:80") {
    hascommon::DownloadFailure result;
    result.curlCode = curlCode;
    result.text = text;
    result.peer = peer;
    return result;
}

std::string text(const hascommon::DownloadFailure& failure) {
    return hastool::failureText(-20, failure, false);
}

} // namespace

TEST(FailureText, NamesWhatItWasWithLibcurlsWordsAndThePeer) {
    const std::string rest = ": words (code -20, 192.0.2.1:80)";
    const std::vector<std::pair<int, std::string>> rows = {
        {3, "not a URL that can be requested"},
        {5, "proxy not found"},
        {6, "host not found"},
        {7, "no connection"},
        {18, "body cut short"},
        {28, "timed out"},
        {35, "TLS failed"},
        {47, "too many redirects"},
        {52, "no answer"},
        {55, "sending failed"},
        {56, "connection broken"},
        {60, "TLS certificate not accepted"},
        {77, "TLS certificates cannot be read"},
        {97, "proxy failed"},
        {99, "transfer failed"},
    };
    for (const auto& [curlCode, meaning] : rows)
        EXPECT_EQ(text(failure(curlCode)), meaning + rest);
}

TEST(FailureText, LeavesOutThePeerWhereThereIsNone) {
    EXPECT_EQ(text(failure(6, "Could not resolve host: h", "")),
              "host not found: Could not resolve host: h (code -20)");
}

TEST(FailureText, NamesTheReasonWhyThereIsNoConnection) {
    hascommon::DownloadFailure refused = failure(7);
    refused.osError = ECONNREFUSED;
    EXPECT_EQ(text(refused), "connection refused: words (code -20, 192.0.2.1:80)");
    EXPECT_EQ(hastool::failureText(-20, refused, true),
              "connection refused: words (code -20, proxy 192.0.2.1:80)");
}

TEST(FailureText, NamesTheStatusWithoutFurtherWords) {
    hascommon::DownloadFailure status = failure(22);
    status.httpStatus = 404;
    EXPECT_EQ(hastool::failureText(-23, status, false), "HTTP 404 (code -23, 192.0.2.1:80)");
    EXPECT_EQ(hastool::shortFailureText(-23, status), "HTTP 404");
}

TEST(FailureText, IsTheCodesWhereTheNetworkHadNoPartInIt) {
    EXPECT_EQ(hastool::failureText(-12, failure(42), false), "cancelled (code -12)");
    EXPECT_EQ(hastool::failureText(-26, failure(0), false), "body cut short (code -26)");
}

TEST(FailureText, KeepsForeignTextOnOneLine) {
    EXPECT_EQ(text(failure(6, "a\nb\033c", "")), "host not found: a?b?c (code -20)");
}
