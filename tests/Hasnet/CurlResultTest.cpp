// Outcomes: result codes, retries and redirects.
#include <Hasnet/Curl_HLS.h>
#include <support/EngineTest.h>
#include <support/FreePort.h>
#include <support/LogCapture.h>

#include <gmock/gmock.h>

#include <climits>

namespace {

using namespace std::chrono_literals;
using hascommon::Curl;
using hascommon::Curl_HLS;
using hascommon::UnitObject;
using test::EngineTest;
using test::LogCapture;
using test::pattern;
using test::Reply;
using test::Stage;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class CurlResultTest : public EngineTest {
protected:
    /// A unit that has run to its end; ResultIf() may be tried on it.
    UnitObject* settledUnit(const std::string& path) {
        UnitObject* unit = beginPath(path);
        while (engine->RunOnce() == 0) {
        }
        return unit;
    }
};

TEST_F(CurlResultTest, SuccessIsZero) {
    origin.on("/a", Reply().body("x"));
    EXPECT_EQ(fetchPath("/a"), 0);
}

TEST_F(CurlResultTest, AnswersWithoutABodyAreSuccess) {
    origin.on("/empty", Reply().body(""));
    origin.on("/204", Reply().status(204));
    for (const char* path : {"/empty", "/204"}) {
        EXPECT_EQ(fetchPath(path), 0) << path;
        EXPECT_EQ(lastBody, "");
    }
}

TEST_F(CurlResultTest, BodiesOfEveryFramingAreByteExact) {
    const test::Pattern body = pattern(200000);
    origin.on("/chunked", Reply().body(body).chunked(777));
    origin.on("/close", Reply().body(body).untilClose());
    origin.on("/gzip", Reply().body(body).gzip());
    origin.on("/drip", Reply().body(body).dripped(50000, 1ms));
    for (const char* path : {"/chunked", "/close", "/gzip", "/drip"}) {
        EXPECT_EQ(fetchPath(path), 0) << path;
        EXPECT_EQ(lastBody, body.all()) << path;
    }
}

TEST_F(CurlResultTest, HostThatCannotBeResolvedIsMinus17ThenNotRetried) {
    LogCapture log;
    EXPECT_EQ(fetch("http://no-such-host.invalid/"), -20);
    EXPECT_THAT(log.messages("Curl.cpp"), Contains(HasSubstr("has(-17), Curl(6), http(0)")));
    EXPECT_EQ(log.count("--- else, err_recv_error"), 1);
}

TEST_F(CurlResultTest, RefusedConnectionIsMinus18ThenNotRetried) {
    LogCapture log;
    EXPECT_EQ(fetch("http://127.0.0.1:" + std::to_string(test::freePort()) + "/"), -20);
    EXPECT_THAT(log.messages("Curl.cpp"), Contains(HasSubstr("has(-18), Curl(7), http(0)")));
}

TEST_F(CurlResultTest, ProxyThatCannotBeResolvedIsMinus16ThenNotRetried) {
    LogCapture log;
    engine->SetProxy("http://no-such-proxy.invalid:1");
    EXPECT_EQ(fetchPath("/a"), -20);
    EXPECT_TRUE(log.contains("\n SET PROXY "));
    EXPECT_THAT(log.messages("Curl.cpp"), Contains(HasSubstr("has(-16), Curl(5), http(0)")));
}

TEST_F(CurlResultTest, NothingFromTheServerIsMinus23ThenNotRetried) {
    origin.on("/a", Reply().body("x").closedAt(Stage::BeforeStatus));
    LogCapture log;
    EXPECT_EQ(fetchPath("/a"), -20);
    EXPECT_THAT(log.messages("Curl.cpp"), Contains(HasSubstr("has(-23), Curl(52)")));
}

TEST_F(CurlResultTest, ResetConnectionIsAReceiveError) {
    origin.on("/a", Reply().body(pattern(100000)).resetAt(Stage::InBody, 50000));
    LogCapture log;
    EXPECT_EQ(fetchPath("/a"), -20);
    EXPECT_EQ(log.count(" [Warning]CURLE_RECV_ERROR error occured!"), 1);
}

TEST_F(CurlResultTest, BodyCutShortIsMinus26AndARetry) {
    origin.on("/a", Reply().body(pattern(1000)).closedAt(Stage::InBody, 400));
    LogCapture log;
    EXPECT_EQ(fetchPath("/a"), -26);
    EXPECT_EQ(lastBody, pattern(1000).part(0, 400));
    EXPECT_EQ(log.count(" Curl Retry incomplete download: retry(1), pause(0), interrupt(0), "
                        "now(400), total(1000), url(" +
                        origin.url("/a") + ")"),
              1);
    EXPECT_EQ(log.count("--- unit->code 3 :-26"), 1);
    EXPECT_EQ(log.count("--- final unit->code: -26"), 1);
}

TEST_F(CurlResultTest, ContentLengthThatIsTooBigIsABodyCutShort) {
    origin.on("/a", Reply().body("12345").claimedLength(10));
    EXPECT_EQ(fetchPath("/a"), -26);
}

TEST_F(CurlResultTest, ContentLengthThatIsTooSmallEndsTheBodyThere) {
    origin.on("/a", Reply().body("12345").claimedLength(3).closing());
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(lastBody, "123");
}

TEST_F(CurlResultTest, ContentLengthAbove4GiBIsToldByItsLow32Bits) {
    origin.on("/a", Reply().body("12345").claimedLength(5ULL * 1024 * 1024 * 1024 + 7).closing());
    LogCapture log;
    UnitObject* unit = beginPath("/a");
    EXPECT_EQ(engine->EndDownload(unit), -26);
    EXPECT_EQ(engine->GetSize(unit), 1024U * 1024 * 1024 + 7);
    Curl::UnitInfo info;
    engine->GetUnitInfo(unit, info);
    EXPECT_EQ(info.contentLength, 5LL * 1024 * 1024 * 1024 + 7);
    char line[96];
    snprintf(line, sizeof line, "Unit %p, Content Length = 5368709127", static_cast<void*>(unit));
    EXPECT_EQ(log.count(line), 1);
}

TEST_F(CurlResultTest, ChunkedBodyWithoutItsEndIsCutShortOrAReceiveError) {
    origin.on("/a", Reply().body(pattern(1000)).chunked(100).closedAt(Stage::InBody, 400));
    const int code = fetchPath("/a");
    EXPECT_TRUE(code == -26 || code == -20) << code;
}

TEST_F(CurlResultTest, RetriedStatusKeepsItsCodeAndPacesTheEngine) {
    for (const int status : {403, 404, 500, 503, 504}) {
        origin.on("/s", Reply().status(status).body("x"));
        LogCapture log;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(fetchPath("/s"), -23) << status;
        EXPECT_GE(std::chrono::steady_clock::now() - start, 500ms);
        EXPECT_EQ(log.count(" HTTP 404 ERROR ( retry : 1 )"), 1) << status;
        EXPECT_THAT(log.messages("Curl.cpp"),
                    Contains(" Curl Download Error!!: pause(0), interrupt(0), has(-23), Curl(22), "
                             "http(" +
                             std::to_string(status) + "), now(0), total(0), " + origin.url("/s") +
                             ",curlID(-1)"));
        EXPECT_EQ(lastBody, "");
    }
}

TEST_F(CurlResultTest, OtherStatusIsMinus20) {
    for (const int status : {400, 401, 410, 416, 501, 502}) {
        origin.on("/s", Reply().status(status).body("x"));
        EXPECT_EQ(fetchPath("/s"), -20) << status;
    }
}

TEST_F(CurlResultTest, TwentyFirstCompletionOfARetriedStatusReachesTheLimit) {
    origin.on("/s", Reply().status(404));
    UnitObject* unit = settledUnit("/s");
    LogCapture log;
    for (int retry = 2; retry <= 20; ++retry) {
        EXPECT_EQ(engine->ResultIf(unit, CURLE_HTTP_RETURNED_ERROR, 404, -1), -23);
        EXPECT_EQ(log.count(" HTTP 404 ERROR ( retry : " + std::to_string(retry) + " )"), 1);
    }
    EXPECT_EQ(engine->ResultIf(unit, CURLE_HTTP_RETURNED_ERROR, 404, -1), -54);
    EXPECT_EQ(log.count(" HTTP 404 ERROR - retry ( retry : 20 )"), 1);
}

TEST_F(CurlResultTest, NewRequestForgetsTheRetries) {
    origin.on("/s", Reply().status(404));
    EXPECT_EQ(fetchPath("/s"), -23);
    LogCapture log;
    EXPECT_EQ(fetchPath("/s"), -23);
    EXPECT_EQ(log.count(" HTTP 404 ERROR ( retry : 1 )"), 1);
}

TEST_F(CurlResultTest, UnknownResultsCarryStatusAndResultUntilTheRetryRules) {
    origin.on("/empty", Reply().body(""));
    UnitObject* unit = settledUnit("/empty");
    LogCapture log;
    EXPECT_EQ(engine->ResultIf(unit, static_cast<CURLcode>(60), 0, -1), -20);
    EXPECT_EQ(engine->ResultIf(unit, static_cast<CURLcode>(60), 301, -1), -20);
    EXPECT_THAT(log.messages("Curl.cpp"), Contains(HasSubstr("has(-160), Curl(60), http(0)")));
    EXPECT_THAT(log.messages("Curl.cpp"), Contains(HasSubstr("has(-301160), Curl(60), http(301)")));
}

TEST_F(CurlResultTest, StatusAtTheEndsOfItsRangeGivesACode) {
    origin.on("/a", Reply().body("12345"));
    UnitObject* unit = settledUnit("/a");
    EXPECT_EQ(engine->ResultIf(unit, static_cast<CURLcode>(60), LONG_MIN, -1), -160);
    EXPECT_EQ(engine->ResultIf(unit, static_cast<CURLcode>(60), LONG_MAX, -1), 840);
}

TEST_F(CurlResultTest, FailureAfterAllDataKeepsItsCode) {
    origin.on("/a", Reply().body("12345"));
    UnitObject* unit = settledUnit("/a");
    EXPECT_EQ(engine->ResultIf(unit, static_cast<CURLcode>(60), 200, -1), -200160);
    EXPECT_EQ(engine->ResultIf(unit, CURLE_SEND_ERROR, 200, -1), -19);
    LogCapture log;
    EXPECT_EQ(engine->ResultIf(unit, CURLE_PARTIAL_FILE, 200, -1), -26);
    EXPECT_THAT(log.messages("Curl.cpp"),
                ::testing::Not(Contains(HasSubstr("Curl Retry incomplete"))));
}

TEST_F(CurlResultTest, TimeOutIsMinus53AndNeverRetried) {
    origin.on("/empty", Reply().body(""));
    UnitObject* unit = settledUnit("/empty");
    LogCapture log;
    EXPECT_EQ(engine->ResultIf(unit, CURLE_OPERATION_TIMEDOUT, 404, -1), -53);
    EXPECT_EQ(log.count(" [Warning] CURLE_OPERATION_TIMEDOUT occured!"), 1);
    EXPECT_EQ(log.count(" HTTP TIME OUT ERROR-1 !"), 1);
}

TEST_F(CurlResultTest, TlsErrorsLogTheResult) {
    origin.on("/a", Reply().body("12345"));
    UnitObject* unit = settledUnit("/a");
    for (const int result : {9, 35, 51, 53, 54}) {
        LogCapture log;
        EXPECT_EQ(engine->ResultIf(unit, static_cast<CURLcode>(result), 200, -1), -25);
        EXPECT_EQ(log.count(" [ERROR] SSL error: " + std::to_string(result)), 1);
    }
}

TEST_F(CurlResultTest, CancelledResultIsNotLoggedAsAnError) {
    origin.on("/a", Reply().body("12345"));
    UnitObject* unit = settledUnit("/a");
    LogCapture log;
    EXPECT_EQ(engine->ResultIf(unit, CURLE_ABORTED_BY_CALLBACK, 200, -1), -12);
    EXPECT_THAT(log.messages("Curl.cpp"),
                ::testing::Not(Contains(HasSubstr("Curl Download Error"))));
}

TEST_F(CurlResultTest, RedirectedSuccessIsToldOnceWithTheLastLocation) {
    origin.on("/1", Reply().redirect("/2"));
    origin.on("/2", Reply().redirect(origin.url("/3", "localhost")));
    origin.on("/3", Reply().body("there"));
    UnitObject* unit = beginPath("/1");
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(owner.body(unit), "there");
    EXPECT_THAT(owner.redirects(), ElementsAre(origin.url("/3", "localhost")));
    Curl::UnitInfo info;
    engine->GetUnitInfo(unit, info);
    EXPECT_EQ(info.redirects, 2);
}

TEST_F(CurlResultTest, RelativeLocationIsToldAbsoluteAgainstTheHopThatSentIt) {
    origin.on("/dir/1", Reply().redirect(origin.url("/other/2", "localhost")));
    origin.on("/other/2", Reply().redirect("3?x=1"));
    origin.on("/other/3", Reply().body("there"));
    EXPECT_EQ(fetchPath("/dir/1"), 0);
    EXPECT_THAT(owner.redirects(), ElementsAre(origin.url("/other/3?x=1", "localhost")));
}

TEST_F(CurlResultTest, LowerCaseLocationIsTheSameHeader) {
    origin.on("/1", Reply().redirect("/2").lowerCaseNames());
    origin.on("/2", Reply().body("x").lowerCaseNames());
    EXPECT_EQ(fetchPath("/1"), 0);
    EXPECT_THAT(owner.redirects(), ElementsAre(origin.url("/2")));
}

TEST_F(CurlResultTest, RedirectThatDoesNotEndInA200IsNotTold) {
    origin.on("/1", Reply().redirect("/2"));
    origin.on("/2", Reply().status(410));
    EXPECT_EQ(fetchPath("/1"), -20);
    origin.on("/r1", Reply().redirect("/r2"));
    origin.on("/r2", Reply().body("0123456789"));
    EXPECT_EQ(fetch(origin.url("/r1"), "2-4"), 0);
    EXPECT_EQ(lastBody, "234");
    EXPECT_THAT(owner.redirects(), IsEmpty());
}

TEST_F(CurlResultTest, RedirectLoopEnds) {
    origin.on("/loop", Reply().redirect("/loop"));
    LogCapture log;
    EXPECT_EQ(fetchPath("/loop"), -20);
    EXPECT_EQ(origin.requests("/loop").size(), 31U);
    EXPECT_THAT(log.messages("Curl.cpp"), Contains(HasSubstr("has(-23), Curl(47)")));
}

TEST_F(CurlResultTest, HeaderFloodEndsWithACodeNotWithoutEnd) {
    origin.on("/a", Reply().body("x").headerFlood(10000, 1000));
    EXPECT_LT(fetchPath("/a"), 0);
    origin.on("/a", Reply().body("x").headerFlood(100, 100));
    EXPECT_EQ(fetchPath("/a"), 0);
}

TEST_F(CurlResultTest, FailureAtEveryStageEndsWithACode) {
    for (const Stage stage :
         {Stage::BeforeStatus, Stage::InHeader, Stage::AfterHeader, Stage::InBody}) {
        const uint64_t sent = stage == Stage::InBody ? 50 : 0;
        origin.on("/c", Reply().body(pattern(100)).closedAt(stage, sent));
        origin.on("/r", Reply().body(pattern(100)).resetAt(stage, sent));
        EXPECT_LT(fetchPath("/c"), 0) << static_cast<int>(stage);
        EXPECT_LT(fetchPath("/r"), 0) << static_cast<int>(stage);
    }
    EXPECT_TRUE(engine->IsIdle());
}

using CurlHlsResultTest = test::EngineTestOf<Curl_HLS>;

TEST_F(CurlHlsResultTest, ReceiveErrorAfterHalfTheBodyIsCutShortAndARetry) {
    origin.on("/a", Reply().body(pattern(100000)).resetAt(Stage::InBody, 50000));
    LogCapture log;
    EXPECT_EQ(fetchPath("/a"), -26);
    const test::LogLine line = log.find(test::highlighted(" HLS Specific ResultIf"));
    EXPECT_EQ(line.priority, 16);
    EXPECT_THAT(log.messages("Curl.cpp"), Contains(HasSubstr("Curl Retry incomplete download: "
                                                             "retry(1)")));
}

TEST_F(CurlHlsResultTest, OtherResultsArePassedOnUnchanged) {
    origin.on("/a", Reply().status(404));
    EXPECT_EQ(fetchPath("/a"), -23);
    origin.on("/b", Reply().body("x"));
    EXPECT_EQ(fetchPath("/b"), 0);
}

TEST_F(CurlHlsResultTest, EveryCookieSetAddsALineToEveryLaterRequest) {
    origin.on("/a", Reply().body("x"));
    LogCapture log;
    engine->SetCookie("a=1");
    engine->SetCookie("b=2");
    EXPECT_EQ(log.count(test::highlighted(" HLS Specific setcookie")), 2);
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(fetchPath("/a"), 0);
    for (const test::Request& request : origin.requests("/a")) {
        std::vector<std::string> cookies;
        for (const auto& header : request.headers) {
            if (header.first == "Cookie")
                cookies.push_back(header.second);
        }
        EXPECT_THAT(cookies, ElementsAre("a=1", "b=2"));
    }
    engine->Quit();
    engine->StartLoop();
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(origin.requests("/a").back().header("Cookie"), "");
}

} // namespace
