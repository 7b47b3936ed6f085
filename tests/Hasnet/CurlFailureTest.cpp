// What really happened to a download, behind its unit code.
#include <Hasnet/Curl_HLS.h>
#include <support/EngineTest.h>
#include <support/FreePort.h>
#include <support/Nginx.h>

#include <gmock/gmock.h>

#include <cerrno>

namespace {

using namespace std::chrono_literals;
using hascommon::DownloadFailure;
using hascommon::UnitObject;
using test::EngineTest;
using test::eventually;
using test::pattern;
using test::Reply;
using test::Stage;
using ::testing::HasSubstr;

template<typename Engine>
class FailureTestOf : public test::EngineTestOf<Engine> {
protected:
    /// Runs a request to its end and reads its failure before the unit is given back.
    DownloadFailure failureOf(const std::string& url) {
        UnitObject* unit = this->begin(url);
        DownloadFailure failure;
        EXPECT_FALSE(this->engine->GetFailure(unit, failure));
        EXPECT_TRUE(eventually([&] {
            this->engine->RunOnce();
            return this->engine->GetFailure(unit, failure);
        }));
        code = this->engine->EndDownload(unit);
        return failure;
    }

    std::string localhost(int port) const { return "127.0.0.1:" + std::to_string(port); }

    int code = 0;
};

using CurlFailureTest = FailureTestOf<hascommon::Curl>;
using CurlHlsFailureTest = FailureTestOf<hascommon::Curl_HLS>;

TEST_F(CurlFailureTest, SuccessHasNoWordsButItsPeerAndItsTimes) {
    origin.on("/a", Reply().body("x").delayed(30ms));
    const DownloadFailure failure = failureOf(origin.url("/a", "localhost"));
    EXPECT_EQ(code, 0);
    EXPECT_EQ(failure.curlCode, CURLE_OK);
    EXPECT_EQ(failure.text, "");
    EXPECT_EQ(failure.httpStatus, 200);
    EXPECT_EQ(failure.peer, localhost(origin.port()));
    EXPECT_GT(failure.nameLookup, 0);
    EXPECT_GE(failure.connect, failure.nameLookup);
    EXPECT_EQ(failure.tls, 0);
    EXPECT_GE(failure.firstByte, failure.connect + 29000);
}

TEST_F(CurlFailureTest, UnitThatHasNotCompletedTellsNothing) {
    origin.on("/stall", Reply().stalledAt(Stage::BeforeStatus));
    UnitObject* unit = beginPath("/stall");
    engine->RunOnce();
    DownloadFailure failure;
    failure.text = "as it was";
    EXPECT_FALSE(engine->GetFailure(unit, failure));
    EXPECT_EQ(failure.text, "as it was");
}

TEST_F(CurlFailureTest, StatusIsToldWhereTheCodeIsMinus20) {
    origin.on("/a", Reply().status(410));
    const DownloadFailure failure = failureOf(origin.url("/a"));
    EXPECT_EQ(code, -20);
    EXPECT_EQ(failure.curlCode, CURLE_HTTP_RETURNED_ERROR);
    EXPECT_EQ(failure.text, "The requested URL returned error: 410");
    EXPECT_EQ(failure.httpStatus, 410);
}

TEST_F(CurlFailureTest, HostThatIsNotFoundIsToldAndHasNoPeer) {
    const DownloadFailure failure = failureOf("http://no-such-host.invalid/");
    EXPECT_EQ(code, -20);
    EXPECT_EQ(failure.curlCode, CURLE_COULDNT_RESOLVE_HOST);
    EXPECT_THAT(failure.text, HasSubstr("no-such-host.invalid"));
    EXPECT_EQ(failure.httpStatus, 0);
    EXPECT_EQ(failure.peer, "");
    EXPECT_EQ(failure.connect, 0);
}

TEST_F(CurlFailureTest, RefusedConnectionHasTheAddressThatWasTried) {
    const int port = test::freePort();
    const DownloadFailure failure = failureOf("http://" + localhost(port) + "/");
    EXPECT_EQ(code, -20);
    EXPECT_EQ(failure.curlCode, CURLE_COULDNT_CONNECT);
    EXPECT_NE(failure.text, "");
    EXPECT_EQ(failure.osError, ECONNREFUSED);
    EXPECT_EQ(failure.peer, localhost(port));
    EXPECT_EQ(failure.firstByte, 0);
}

TEST_F(CurlFailureTest, RefusedConnectionBehindARedirectHasTheSecondAddress) {
    const int port = test::freePort();
    origin.on("/r", Reply().redirect("http://" + localhost(port) + "/"));
    const DownloadFailure failure = failureOf(origin.url("/r"));
    EXPECT_EQ(failure.curlCode, CURLE_COULDNT_CONNECT);
    EXPECT_EQ(failure.peer, localhost(port));
}

TEST_F(CurlFailureTest, AddressOfVersion6IsInBrackets) {
    const int port = test::freePort();
    const DownloadFailure failure = failureOf("http://[::1]:" + std::to_string(port) + "/");
    EXPECT_EQ(failure.curlCode, CURLE_COULDNT_CONNECT);
    EXPECT_EQ(failure.peer, "[::1]:" + std::to_string(port));
}

TEST_F(CurlFailureTest, ProxyIsThePeer) {
    const int port = test::freePort();
    engine->SetProxy("http://" + localhost(port));
    const std::string url = "http://behind-a-proxy.invalid/"; // Not a host that bypasses proxies.
    EXPECT_EQ(failureOf(url).peer, localhost(port));
    engine->SetProxy("http://no-such-proxy.invalid:1");
    const DownloadFailure failure = failureOf(url);
    EXPECT_EQ(failure.curlCode, CURLE_COULDNT_RESOLVE_PROXY);
    EXPECT_THAT(failure.text, HasSubstr("no-such-proxy.invalid"));
}

TEST_F(CurlFailureTest, TlsThatIsNoneIsToldWithItsPeer) {
    const test::Nginx server; // Answers a TLS greeting on its plain port with a plain 400.
    const std::string rest = server.url("/").substr(std::string("http").size());
    const std::string peer = rest.substr(3, rest.size() - 4);
    DownloadFailure failure = failureOf("https" + rest);
    EXPECT_EQ(code, -20);
    EXPECT_EQ(failure.curlCode, CURLE_SSL_CONNECT_ERROR);
    EXPECT_NE(failure.text, "");
    EXPECT_EQ(failure.peer, peer);
    EXPECT_EQ(failure.tls, 0);
    // After a redirect the failure is that of the second peer.
    origin.on("/r", Reply().redirect("https" + rest));
    failure = failureOf(origin.url("/r"));
    EXPECT_EQ(failure.curlCode, CURLE_SSL_CONNECT_ERROR);
    EXPECT_EQ(failure.peer, peer);
}

TEST_F(CurlFailureTest, CertificateThatIsNotTrustedIsTold) {
    const test::Nginx server;
    const std::string url = server.tlsUrl("/none");
    DownloadFailure failure = failureOf(url);
    EXPECT_EQ(failure.httpStatus, 404);
    EXPECT_GE(failure.tls, failure.connect);
    engine->SetVerifyPeer(true);
    failure = failureOf(url);
    EXPECT_EQ(code, -20);
    EXPECT_EQ(failure.curlCode, CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_THAT(failure.text, HasSubstr("certificate"));
}

TEST_F(CurlFailureTest, RedirectLimitIsTold) {
    origin.on("/loop", Reply().redirect("/loop"));
    const DownloadFailure failure = failureOf(origin.url("/loop"));
    EXPECT_EQ(failure.curlCode, CURLE_TOO_MANY_REDIRECTS);
    EXPECT_EQ(failure.httpStatus, 302);
}

TEST_F(CurlFailureTest, BodyOrHeadersCutShortAreAPartialFile) {
    origin.on("/body", Reply().body(pattern(1000)).closedAt(Stage::InBody, 400));
    origin.on("/header", Reply().body("x").closedAt(Stage::InHeader));
    for (const char* path : {"/body", "/header"})
        EXPECT_EQ(failureOf(origin.url(path)).curlCode, CURLE_PARTIAL_FILE) << path;
}

TEST_F(CurlFailureTest, CancelIsToldWhereverItFinds) {
    origin.on("/stall", Reply().stalledAt(Stage::BeforeStatus));
    UnitObject* running = beginPath("/stall");
    engine->RunOnce();
    UnitObject* notBegun = beginPath("/stall");
    UnitObject* ended = beginPath("/stall");
    engine->Cancel(running);
    engine->Cancel(notBegun);
    for (UnitObject* unit : {running, notBegun}) {
        DownloadFailure failure;
        EXPECT_TRUE(eventually([&] {
            engine->RunOnce();
            return engine->GetFailure(unit, failure);
        }));
        EXPECT_EQ(failure.curlCode, CURLE_ABORTED_BY_CALLBACK);
        EXPECT_NE(failure.text, "");
    }
    engine->Quit();
    DownloadFailure failure;
    EXPECT_TRUE(engine->GetFailure(ended, failure));
    EXPECT_EQ(failure.curlCode, CURLE_ABORTED_BY_CALLBACK);
}

TEST_F(CurlFailureTest, CancelOfACompletedUnitLeavesWhatHappened) {
    origin.on("/a", Reply().status(410));
    UnitObject* unit = beginPath("/a");
    while (engine->RunOnce() == 0) {
    }
    EXPECT_EQ(engine->Cancel(unit), 1);
    DownloadFailure failure;
    EXPECT_TRUE(engine->GetFailure(unit, failure));
    EXPECT_EQ(failure.curlCode, CURLE_HTTP_RETURNED_ERROR);
    EXPECT_EQ(engine->EndDownload(unit), -12);
}

TEST_F(CurlHlsFailureTest, ReceiveErrorIsToldAlthoughItCountsAsCutShort) {
    origin.on("/a", Reply().body(pattern(100000)).resetAt(Stage::InBody, 50000));
    const DownloadFailure failure = failureOf(origin.url("/a"));
    EXPECT_EQ(code, -26);
    EXPECT_EQ(failure.curlCode, CURLE_RECV_ERROR);
    EXPECT_EQ(failure.httpStatus, 200);
}

} // namespace
