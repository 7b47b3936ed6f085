// What goes out with a request and what response headers do.
#include <support/EngineTest.h>
#include <support/LogCapture.h>
#include <support/Nginx.h>
#include <support/Proxy.h>
#include <support/SilentPort.h>

#include <Hasnet/ResultCode.h>

#include <gmock/gmock.h>

namespace {

using namespace std::chrono_literals;
using hascommon::UnitObject;
using test::EngineTest;
using test::eventually;
using test::Reply;
using test::Stage;

class CurlOptionsTest : public EngineTest {
protected:
    CurlOptionsTest() { origin.on("/a", Reply().body("hello")); }

    test::Request sent(const std::string& path) { return origin.requests(path).back(); }
};

TEST_F(CurlOptionsTest, PlainRequestCarriesAgentAndEncodings) {
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(sent("/a").method, "GET");
    EXPECT_EQ(sent("/a").header("User-Agent"), "quenlishas-agent/1.1");
    EXPECT_NE(sent("/a").header("Accept-Encoding").find("gzip"), std::string::npos);
    EXPECT_EQ(sent("/a").header("Range"), "");
    EXPECT_EQ(sent("/a").header("Cookie"), "");
    EXPECT_EQ(sent("/a").header("If-Modified-Since"), "");
}

TEST_F(CurlOptionsTest, AgentIsTheOnesSetAndHbbtvWithEngineWordFive) {
    engine->SetAgent("own/1");
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(sent("/a").header("User-Agent"), "own/1");
    unsigned int word = 5;
    engine->setEngineInfo(&word);
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(sent("/a").header("User-Agent"), "Hbbtv/1.2.1");
    word = 6;
    engine->setEngineInfo(&word);
    engine->SetAgent("");
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(sent("/a").header("User-Agent"), "quenlishas-agent/1.1");
}

TEST_F(CurlOptionsTest, StoredTimeOutsAreNotApplied) {
    engine->SetConnTimeout(1);
    engine->SetLowSpeedTimeout(1);
    origin.on("/slow", Reply().body("x").delayed(1200ms));
    EXPECT_EQ(fetchPath("/slow"), 0);
}

TEST_F(CurlOptionsTest, ConnectLimitEndsAConnectionThatDoesNotStand) {
    const test::SilentPort port;
    engine->SetConnectLimit(100);
    engine->StartLoop();
    UnitObject* unit = begin(port.url("https"));
    ASSERT_TRUE(completes(unit));
    hascommon::DownloadFailure failure;
    EXPECT_TRUE(engine->GetFailure(unit, failure));
    EXPECT_EQ(failure.curlCode, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(engine->EndDownload(unit), hascommon::RESULT_TIMEOUT);
}

TEST_F(CurlOptionsTest, ConnectLimitLeavesAnswersTheirTime) {
    engine->SetConnectLimit(100);
    origin.on("/slow", Reply().body("x").delayed(300ms));
    EXPECT_EQ(fetchPath("/slow"), 0);
    engine->SetConnectLimit(0);
    EXPECT_EQ(fetchPath("/a"), 0);
}

TEST_F(CurlOptionsTest, ResponseHeadersAreToldAsTheyCame) {
    origin.on("/r", Reply().redirect("/h").header("X-Hop", "1"));
    origin.on("/h", Reply().body("x").header("ETag", "\"v 1\""));
    engine->StartLoop();
    UnitObject* unit = beginPath("/r");
    ASSERT_TRUE(completes(unit));
    std::string lines = "untouched";
    EXPECT_FALSE(engine->GetResponseHeaders(nullptr, lines));
    EXPECT_EQ(lines, "untouched");
    EXPECT_TRUE(engine->GetResponseHeaders(unit, lines));
    const size_t last = lines.rfind("HTTP/1.1 200 ");
    ASSERT_NE(last, std::string::npos) << lines;
    EXPECT_EQ(lines.rfind("HTTP/1.1 302 ", 0), 0U) << lines;
    EXPECT_LT(lines.find("\r\nX-Hop: 1\r\n"), last);
    EXPECT_GT(lines.find("\r\nETag: \"v 1\"\r\n"), last);
    EXPECT_EQ(lines.substr(lines.size() - 4), "\r\n\r\n");
    engine->EndDownload(unit);

    unit = beginPath("/a"); // in the same slot
    ASSERT_TRUE(completes(unit));
    EXPECT_TRUE(engine->GetResponseHeaders(unit, lines));
    EXPECT_EQ(lines.find("302"), std::string::npos) << lines;
    engine->EndDownload(unit);
}

TEST_F(CurlOptionsTest, ResponseHeadersAreKeptWithinBounds) {
    origin.on("/flood", Reply().body("x").headerFlood(90, 1000));
    engine->StartLoop();
    UnitObject* unit = beginPath("/flood");
    ASSERT_TRUE(completes(unit));
    std::string lines;
    EXPECT_TRUE(engine->GetResponseHeaders(unit, lines));
    EXPECT_GT(lines.size(), 60000U);
    EXPECT_LE(lines.size(), 65536U);
    EXPECT_EQ(engine->EndDownload(unit), 0);
}

TEST_F(CurlOptionsTest, SetCookieComesBackInTheNextRequest) {
    origin.on("/set", Reply().body("x").setCookie("a=1; Path=/"));
    EXPECT_EQ(fetchPath("/set"), 0);
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(sent("/a").header("Cookie"), "a=1;");
}

TEST_F(CurlOptionsTest, LowerCaseSetCookieIsTheSameHeader) {
    origin.on("/set", Reply().body("x").setCookie("a=1; Path=/").lowerCaseNames());
    EXPECT_EQ(fetchPath("/set"), 0);
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(sent("/a").header("Cookie"), "a=1;");
}

TEST_F(CurlOptionsTest, UserCookieGoesOutUntilItIsCleared) {
    engine->SetCookie("u=1");
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(sent("/a").header("Cookie"), "u=1");
    engine->SetCookie("");
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(sent("/a").header("Cookie"), "u=1");
    engine->clearUsrDefCookie();
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(sent("/a").header("Cookie"), "");
}

TEST_F(CurlOptionsTest, CookieOfARedirectBelongsToTheHopThatSetIt) {
    origin.on("/1", Reply().redirect(origin.url("/2", "localhost")).setCookie("one=1; Path=/"));
    origin.on("/2", Reply().redirect(origin.url("/3")).setCookie("two=2; Path=/"));
    origin.on("/3", Reply().body("x"));
    EXPECT_EQ(fetchPath("/1"), 0);
    EXPECT_EQ(sent("/1").header("Cookie"), "");
    EXPECT_EQ(sent("/2").header("Cookie"), "");
    EXPECT_EQ(sent("/3").header("Cookie"), "one=1;");
    EXPECT_EQ(fetch(origin.url("/a", "localhost")), 0);
    EXPECT_EQ(sent("/a").header("Cookie"), "two=2;");
}

TEST_F(CurlOptionsTest, NoServerSetsACookieForAnother) {
    origin.on("/1", Reply().redirect(origin.url("/2", "localhost")));
    origin.on("/2", Reply().body("x").setCookie("evil=1; Domain=127.0.0.1; Path=/"));
    EXPECT_EQ(fetchPath("/1"), 0);
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(sent("/a").header("Cookie"), "");
}

TEST_F(CurlOptionsTest, CookieOfTheFirstHostDoesNotGoToTheRedirectsTarget) {
    origin.on("/set", Reply().body("x").setCookie("secret=1; Path=/"));
    EXPECT_EQ(fetchPath("/set"), 0);
    origin.on("/1", Reply().redirect(origin.url("/a", "localhost")));
    EXPECT_EQ(fetchPath("/1"), 0);
    EXPECT_EQ(sent("/1").header("Cookie"), "secret=1;");
    EXPECT_EQ(sent("/a").header("Cookie"), "");
}

TEST_F(CurlOptionsTest, CookieWithoutAPathGetsTheAnsweringRequestsFolder) {
    origin.on("/dir/1", Reply().body("x").setCookie("a=1"));
    origin.on("/dir/2", Reply().body("x"));
    EXPECT_EQ(fetchPath("/dir/1"), 0);
    EXPECT_EQ(fetchPath("/dir/2"), 0);
    EXPECT_EQ(sent("/dir/2").header("Cookie"), "a=1;");
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(sent("/a").header("Cookie"), "");
}

TEST_F(CurlOptionsTest, StrictCookiesAreOffUntilAskedForAndApplyToWhatComesInLater) {
    origin.on("/set/1", Reply().body("x").setCookie("__Secure-a=1; Path=/"));
    origin.on("/set/2", Reply().body("x").setCookie("__Secure-b=2; Path=/"));
    EXPECT_EQ(fetchPath("/set/1"), 0);
    engine->SetStrictCookies(true);
    EXPECT_EQ(fetchPath("/set/2"), 0);
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(sent("/a").header("Cookie"), "__Secure-a=1;");
}

TEST_F(CurlOptionsTest, StrictCookiesLetOnlyTlsAnswersSetASecureCookie) {
    test::Nginx nginx;
    engine->SetStrictCookies(true);
    EXPECT_EQ(fetch(nginx.url("/-/cookie")), 0);
    EXPECT_EQ(fetch(nginx.tlsUrl("/-/cookie")), 0);
    EXPECT_EQ(lastBody, "");
    EXPECT_EQ(fetch(nginx.tlsUrl("/-/cookie")), 0);
    EXPECT_EQ(lastBody, "kept=1;");
}

TEST_F(CurlOptionsTest, DateIsTakenFromTheFirstResponseAndInAnyCase) {
    origin.on(
        "/1",
        Reply().redirect("/2").header("date", "Sun, 06 Nov 1994 08:49:37 GMT").lowerCaseNames());
    origin.on("/2", Reply().body("x").header("Date", "Mon, 07 Nov 1994 08:49:37 GMT"));
    UnitObject* unit = beginPath("/1");
    while (engine->RunOnce() == 0) {
    }
    int code = 0;
    long date = 0;
    EXPECT_EQ(engine->GetCompleted(code, date), unit);
    EXPECT_EQ(date, 784111777);
}

TEST_F(CurlOptionsTest, DateBeyond2037IsTakenAsFarAsALongHoldsIt) {
    origin.on("/d", Reply().body("x").header("Date", "Thu, 01 Mar 2040 00:00:00 GMT"));
    UnitObject* unit = beginPath("/d");
    while (engine->RunOnce() == 0) {
    }
    int code = 0;
    long date = 0;
    EXPECT_EQ(engine->GetCompleted(code, date), unit);
    EXPECT_EQ(date, static_cast<long>(2214172800LL));
}

TEST_F(CurlOptionsTest, DateThatIsTooShortOrNoneIsNotTaken) {
    for (const char* value : {"1994", "nonsense nonsense"}) {
        origin.on("/d", Reply().body("x").header("Date", value));
        UnitObject* unit = beginPath("/d");
        while (engine->RunOnce() == 0) {
        }
        int code = 0;
        long date = -1;
        EXPECT_EQ(engine->GetCompleted(code, date), unit);
        EXPECT_EQ(date, 0) << value;
        engine->EndDownload(unit);
    }
}

TEST_F(CurlOptionsTest, RepeatedKeptRequestIsNotConditionalSoThatARetryGetsItsBody) {
    origin.on("/k", Reply().body("x").lastModified(784111777));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(fetch(origin.url("/k"), "", true), 0);
        EXPECT_EQ(sent("/k").header("If-Modified-Since"), "");
        EXPECT_EQ(lastBody, "x");
    }
}

TEST_F(CurlOptionsTest, KeptRequestWithAKnownFileTimeIsConditional) {
    // The entry is shared: while the second request begins, the first one learns the time.
    origin.on("/k", Reply().body("xy").lastModified(784111777).stalledAt(Stage::InBody, 1));
    engine->StartLoop();
    UnitObject* first = begin(origin.url("/k"), "", true);
    ASSERT_TRUE(eventually([&] { return engine->GetPos(first) == 1; }));
    owner.onBegin = [&](UnitObject*) {
        origin.release("/k");
        EXPECT_TRUE(eventually([&] { return engine->GetPos(first) == 2; }));
    };
    UnitObject* second = begin(origin.url("/k"), "", true);
    EXPECT_EQ(engine->EndDownload(first), 0);
    EXPECT_EQ(engine->EndDownload(second), 0);
    EXPECT_EQ(sent("/k").header("If-Modified-Since"), "Sun, 06 Nov 1994 08:49:37 GMT");
    EXPECT_EQ(owner.body(second), "");
    hascommon::Curl::UnitInfo info;
    EXPECT_TRUE(engine->GetUnitInfo(second, info));
    EXPECT_EQ(info.httpStatus, 304);
}

TEST_F(CurlOptionsTest, RealProxyCarriesTheRequest) {
    test::Proxy proxy;
    engine->SetProxy(proxy.url());
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(lastBody, "hello");
    EXPECT_EQ(proxy.requests(), 1);
    engine->SetProxy("");
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(proxy.requests(), 1);
}

TEST_F(CurlOptionsTest, RealServerOverTlsWithHttp2AndWithoutVerification) {
    test::Nginx nginx;
    nginx.write("a.txt", "over tls");
    EXPECT_EQ(fetch(nginx.tlsUrl("/a.txt")), 0);
    EXPECT_EQ(lastBody, "over tls");
    EXPECT_TRUE(
        eventually([&] { return nginx.accessLog().find("HTTP/2.0") != std::string::npos; }));
}

TEST_F(CurlOptionsTest, VerificationRefusesAnUnknownCertificateAndTakesANamedOne) {
    test::Nginx nginx;
    nginx.write("a.txt", "over tls");
    engine->SetVerifyPeer(true);
    test::LogCapture log;
    EXPECT_EQ(fetch(nginx.tlsUrl("/a.txt")), -20);
    EXPECT_THAT(log.messages("Curl.cpp"), ::testing::Contains(::testing::HasSubstr("Curl(60)")));
    engine->SetCaFile(nginx.caFile());
    EXPECT_EQ(fetch(nginx.tlsUrl("/a.txt")), 0);
    engine->SetVerifyPeer(false);
    engine->SetCaFile("");
    EXPECT_EQ(fetch(nginx.tlsUrl("/a.txt")), 0);
}

TEST_F(CurlOptionsTest, RealServersRangesGzipAndConditions) {
    test::Nginx nginx;
    const std::string text = test::pattern(50000).all();
    nginx.write("a.bin", text);
    nginx.write("a.txt", std::string(50000, 'a'));
    EXPECT_EQ(fetch(nginx.url("/a.bin"), "100-199"), 0);
    EXPECT_EQ(lastBody, text.substr(100, 100));
    EXPECT_EQ(fetch(nginx.url("/a.bin"), "49990-"), 0);
    EXPECT_EQ(lastBody, text.substr(49990));
    EXPECT_EQ(fetch(nginx.url("/a.bin"), "99999-"), -20);
    EXPECT_EQ(fetch(nginx.url("/a.txt")), 0);
    EXPECT_EQ(lastBody, std::string(50000, 'a'));
}

} // namespace
