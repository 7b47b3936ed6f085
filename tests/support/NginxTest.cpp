#include <support/Fetch.h>
#include <support/Nginx.h>
#include <support/Pattern.h>

#include <chrono>

#include <gtest/gtest.h>

using std::chrono::steady_clock;
using test::fetch;
using test::Fetched;
using test::pattern;

namespace {

/// One server for all tests: it takes a while to start.
class NginxTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        s_server = new test::Nginx;
        s_server->write("body.bin", pattern(300000).all());
        s_server->write("text.txt", std::string(10000, 't'));
    }
    static void TearDownTestSuite() {
        delete s_server;
        s_server = nullptr;
    }
    static test::Nginx* s_server;
};

test::Nginx* NginxTest::s_server = nullptr;

} // namespace

TEST_F(NginxTest, ServesOverHttp11WithRanges) {
    const Fetched whole = fetch(s_server->url("/body.bin"));
    EXPECT_TRUE(whole.body == pattern(300000).all());
    EXPECT_EQ(whole.httpVersion, CURL_HTTP_VERSION_1_1);
    const Fetched part = fetch(s_server->url("/body.bin"), [](CURL* easy) {
        curl_easy_setopt(easy, CURLOPT_RANGE, "1000-1999");
    });
    EXPECT_EQ(part.status, 206);
    EXPECT_TRUE(part.body == pattern(300000).part(1000, 1000));
}

TEST_F(NginxTest, ServesOverTlsAndHttp2WithACertificateToTrust) {
    const auto trusting = [](CURL* easy) {
        curl_easy_setopt(easy, CURLOPT_CAINFO, s_server->caFile().c_str());
    };
    const Fetched got = fetch(s_server->tlsUrl("/body.bin"), trusting);
    EXPECT_EQ(got.code, CURLE_OK);
    EXPECT_TRUE(got.body == pattern(300000).all());
    EXPECT_EQ(got.httpVersion, CURL_HTTP_VERSION_2_0);
    EXPECT_EQ(fetch(s_server->tlsUrl("/body.bin")).code, CURLE_PEER_FAILED_VERIFICATION);
}

TEST_F(NginxTest, CompressesText) {
    const Fetched got = fetch(s_server->url("/text.txt"), [](CURL* easy) {
        curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
    });
    EXPECT_NE(got.head.find("Content-Encoding: gzip"), std::string::npos);
    EXPECT_EQ(got.body, std::string(10000, 't'));
}

TEST_F(NginxTest, AnswersAConditionalRequest) {
    const Fetched got = fetch(s_server->url("/text.txt"), [](CURL* easy) {
        curl_easy_setopt(easy, CURLOPT_TIMECONDITION, CURL_TIMECOND_IFMODSINCE);
        curl_easy_setopt(easy, CURLOPT_TIMEVALUE, static_cast<long>(time(nullptr) + 10));
    });
    EXPECT_EQ(got.status, 304);
}

TEST_F(NginxTest, LimitsTheRateByQueryAndWhileItRuns) {
    const auto timed = [](const std::string& path) {
        const auto begin = steady_clock::now();
        EXPECT_EQ(fetch(s_server->url(path)).body.size(), 300000U);
        return std::chrono::duration<double>(steady_clock::now() - begin).count();
    };
    EXPECT_GT(timed("/body.bin?rate=200000"), 0.5);
    s_server->limitRate(200000);
    EXPECT_GT(timed("/body.bin"), 0.5);
    s_server->limitRate(0);
    EXPECT_LT(timed("/body.bin"), 0.5);
}

TEST_F(NginxTest, LogsItsRequests) {
    fetch(s_server->url("/none"));
    for (int i = 0; i < 1000 && s_server->accessLog().find("GET /none") == std::string::npos; ++i)
        usleep(1000);
    EXPECT_NE(s_server->accessLog().find("GET /none 404 "), std::string::npos);
}
