#include <support/FaultOrigin.h>
#include <support/Fetch.h>
#include <support/TempDir.h>

#include <atomic>
#include <future>
#include <thread>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using test::FaultOrigin;
using test::fetch;
using test::Fetched;
using test::pattern;
using test::Reply;
using test::Request;
using test::Stage;

namespace {

test::FetchOptions range(const char* text) {
    return [text](CURL* easy) { curl_easy_setopt(easy, CURLOPT_RANGE, text); };
}

test::FetchOptions following() {
    return [](CURL* easy) {
        curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
        curl_easy_setopt(easy, CURLOPT_MAXREDIRS, 10L);
    };
}

bool has(const Fetched& fetched, const std::string& text) {
    return fetched.head.find(text) != std::string::npos;
}

} // namespace

TEST(FaultOrigin, ServesABodyAndRecordsTheRequest) {
    FaultOrigin origin;
    origin.on("/a", Reply().body(pattern(100000)).header("X-Extra", "1").setCookie("k=v"));
    const Fetched got = fetch(origin.url("/a?q=1"));
    EXPECT_EQ(got.status, 200);
    EXPECT_TRUE(got.body == pattern(100000).all());
    EXPECT_TRUE(has(got, "Content-Length: 100000\r\n"));
    EXPECT_TRUE(has(got, "X-Extra: 1\r\n") && has(got, "Set-Cookie: k=v\r\n"));
    const std::vector<Request> seen = origin.requests("/a");
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].method, "GET");
    EXPECT_EQ(seen[0].target, "/a?q=1");
    EXPECT_EQ(seen[0].header("hOsT"), "127.0.0.1:" + std::to_string(origin.port()));
    EXPECT_EQ(seen[0].peer.rfind("127.0.0.1:", 0), 0U);
    EXPECT_LE(seen[0].time, steady_clock::now());
}

TEST(FaultOrigin, AnswersWhatIsNotScriptedWith404) {
    FaultOrigin origin;
    EXPECT_EQ(fetch(origin.url("/b")).status, 404);
}

TEST(FaultOrigin, PlaysASequenceAndStaysAtItsEnd) {
    FaultOrigin origin;
    origin.on("/s", {Reply().status(503), Reply().status(500), Reply().body("ok")});
    EXPECT_EQ(fetch(origin.url("/s")).status, 503);
    EXPECT_EQ(fetch(origin.url("/s")).status, 500);
    EXPECT_EQ(fetch(origin.url("/s")).body, "ok");
    EXPECT_EQ(fetch(origin.url("/s")).body, "ok");
}

TEST(FaultOrigin, KeepsConnectionsAliveUnlessToldOtherwise) {
    FaultOrigin origin;
    origin.on("/k", Reply().body("k"));
    origin.on("/c", Reply().body("c").closing());
    CURL* easy = curl_easy_init();
    curl_easy_setopt(
        easy, CURLOPT_WRITEFUNCTION,
        +[](char*, size_t size, size_t count, void*) { return size * count; });
    for (const char* path : {"/k", "/k", "/c", "/k"}) {
        curl_easy_setopt(easy, CURLOPT_URL, origin.url(path).c_str());
        EXPECT_EQ(curl_easy_perform(easy), CURLE_OK);
    }
    curl_easy_cleanup(easy);
    EXPECT_EQ(origin.connections(), 2);
    EXPECT_EQ(origin.requests("/k").back().connection, 2);
}

TEST(FaultOrigin, AnswersRanges) {
    FaultOrigin origin;
    origin.on("/r", Reply().body(pattern(1000)));
    const Fetched middle = fetch(origin.url("/r"), range("100-199"));
    EXPECT_EQ(middle.status, 206);
    EXPECT_TRUE(middle.body == pattern(1000).part(100, 100));
    EXPECT_TRUE(has(middle, "Content-Range: bytes 100-199/1000\r\n"));
    EXPECT_TRUE(fetch(origin.url("/r"), range("990-")).body == pattern(1000).part(990, 10));
    EXPECT_TRUE(fetch(origin.url("/r"), range("-7")).body == pattern(1000).part(993, 7));
    EXPECT_EQ(fetch(origin.url("/r"), range("1000-")).status, 416);
    origin.on("/w", Reply().body("whole").withoutRanges());
    EXPECT_EQ(fetch(origin.url("/w"), range("1-2")).status, 200);
}

TEST(FaultOrigin, FollowsChainsLoopsRelativeAndCrossHostRedirects) {
    FaultOrigin origin;
    origin.on("/1", Reply().redirect("/deep/2"));
    origin.on("/deep/2", Reply().redirect("3", 301));
    origin.on("/deep/3", Reply().redirect(origin.url("/end", "localhost"), 307));
    origin.on("/end", Reply().body("end"));
    origin.on("/loop", Reply().redirect("/loop"));
    const Fetched got = fetch(origin.url("/1"), following());
    EXPECT_EQ(got.body, "end");
    EXPECT_EQ(got.redirects, 3);
    EXPECT_EQ(origin.requests("/end")[0].header("Host").rfind("localhost:", 0), 0U);
    EXPECT_EQ(fetch(origin.url("/loop"), following()).code, CURLE_TOO_MANY_REDIRECTS);
}

TEST(FaultOrigin, SendsChunkedUnboundedEmptyAndCompressedBodies) {
    FaultOrigin origin;
    origin.on("/chunked", Reply().body(pattern(50000)).chunked(7000));
    origin.on("/chunked-empty", Reply().chunked());
    origin.on("/eof", Reply().body(pattern(5000)).untilClose());
    origin.on("/empty", Reply());
    origin.on("/204", Reply().status(204));
    origin.on("/gzip", Reply().body(std::string(100000, 'z')).gzip());
    EXPECT_TRUE(fetch(origin.url("/chunked")).body == pattern(50000).all());
    EXPECT_EQ(fetch(origin.url("/chunked-empty")).code, CURLE_OK);
    const Fetched eof = fetch(origin.url("/eof"));
    EXPECT_TRUE(eof.body == pattern(5000).all());
    EXPECT_FALSE(has(eof, "Content-Length"));
    EXPECT_TRUE(has(fetch(origin.url("/empty")), "Content-Length: 0\r\n"));
    EXPECT_EQ(fetch(origin.url("/204")).status, 204);
    const Fetched gzip = fetch(origin.url("/gzip"), [](CURL* easy) {
        curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
    });
    EXPECT_EQ(gzip.body, std::string(100000, 'z'));
    EXPECT_TRUE(has(gzip, "Content-Encoding: gzip\r\n"));
}

TEST(FaultOrigin, LiesAboutTheLength) {
    FaultOrigin origin;
    origin.on("/big", Reply().body("12345").claimedLength(10));
    origin.on("/small", Reply().body("12345").claimedLength(3));
    EXPECT_EQ(fetch(origin.url("/big")).code, CURLE_PARTIAL_FILE);
    EXPECT_EQ(fetch(origin.url("/small")).body, "123");
}

TEST(FaultOrigin, FloodsWithHeadersAndWritesThemInLowerCase) {
    FaultOrigin origin;
    origin.on("/flood", Reply().headerFlood(50, 100).body("x"));
    origin.on("/lower", Reply().setCookie("a=B").lowerCaseNames());
    EXPECT_TRUE(has(fetch(origin.url("/flood")), "X-Flood-49: " + std::string(100, 'f')));
    const Fetched lower = fetch(origin.url("/lower"));
    EXPECT_TRUE(has(lower, "set-cookie: a=B\r\n") && has(lower, "content-length: 0\r\n"));
}

TEST(FaultOrigin, AnswersAConditionalRequest) {
    FaultOrigin origin;
    origin.on("/m", Reply().body("m").lastModified(1700000000));
    const auto since = [](long time) {
        return [time](CURL* easy) {
            curl_easy_setopt(easy, CURLOPT_TIMECONDITION, CURL_TIMECOND_IFMODSINCE);
            curl_easy_setopt(easy, CURLOPT_TIMEVALUE, time);
        };
    };
    const Fetched first = fetch(origin.url("/m"));
    EXPECT_TRUE(has(first, "Last-Modified: Tue, 14 Nov 2023 22:13:20 GMT\r\n"));
    EXPECT_EQ(fetch(origin.url("/m"), since(1700000000)).status, 304);
    EXPECT_EQ(fetch(origin.url("/m"), since(1699999999)).status, 200);
}

TEST(FaultOrigin, ClosesAtEveryStage) {
    FaultOrigin origin;
    const Reply whole = Reply().body(pattern(100000));
    origin.on("/0", Reply(whole).closedAt(Stage::BeforeStatus));
    origin.on("/1", Reply(whole).closedAt(Stage::InHeader));
    origin.on("/2", Reply(whole).closedAt(Stage::AfterHeader));
    origin.on("/3", Reply(whole).closedAt(Stage::InBody, 40000));
    EXPECT_EQ(fetch(origin.url("/0")).code, CURLE_GOT_NOTHING);
    const Fetched inHeader = fetch(origin.url("/1"));
    EXPECT_TRUE(has(inHeader, "HTTP/1.1 200"));
    EXPECT_FALSE(has(inHeader, "Content-Length"));
    EXPECT_EQ(inHeader.body, "");
    EXPECT_EQ(fetch(origin.url("/2")).code, CURLE_PARTIAL_FILE);
    const Fetched cut = fetch(origin.url("/3"));
    EXPECT_EQ(cut.code, CURLE_PARTIAL_FILE);
    EXPECT_TRUE(cut.body == pattern(100000).part(0, 40000));
}

TEST(FaultOrigin, ResetsAtEveryStage) {
    FaultOrigin origin;
    const Reply whole = Reply().body(pattern(100000));
    origin.on("/0", Reply(whole).resetAt(Stage::BeforeStatus));
    origin.on("/1", Reply(whole).resetAt(Stage::InHeader));
    origin.on("/2", Reply(whole).resetAt(Stage::AfterHeader));
    origin.on("/3", Reply(whole).resetAt(Stage::InBody, 40000));
    for (const char* path : {"/0", "/1", "/2", "/3"})
        EXPECT_EQ(fetch(origin.url(path)).code, CURLE_RECV_ERROR) << path;
    EXPECT_TRUE(fetch(origin.url("/3")).body == pattern(100000).part(0, 40000));
}

TEST(FaultOrigin, StallsUntilReleasedOrForATime) {
    FaultOrigin origin;
    origin.on("/held", Reply().body(pattern(1000)).stalledAt(Stage::InBody, 500));
    origin.on("/short", Reply().body("s").stalledAt(Stage::BeforeStatus, 0, 60ms));
    auto held = std::async(std::launch::async, [&] { return fetch(origin.url("/held")); });
    ASSERT_TRUE(origin.waitForRequests("/held", 1));
    EXPECT_EQ(held.wait_for(50ms), std::future_status::timeout);
    origin.release("/held");
    EXPECT_TRUE(held.get().body == pattern(1000).all());
    const auto begin = steady_clock::now();
    EXPECT_EQ(fetch(origin.url("/short")).body, "s");
    EXPECT_GE(steady_clock::now() - begin, 60ms);
}

TEST(FaultOrigin, DripsDelaysAndLimitsTheRate) {
    FaultOrigin origin;
    origin.on("/drip", Reply().body(pattern(10)).dripped(1, 5ms));
    origin.on("/late", Reply().body("l").delayed(50ms));
    origin.on("/slow", Reply().body(pattern(50000)));
    const auto timed = [&](const char* path, const std::string& body) {
        const auto begin = steady_clock::now();
        EXPECT_EQ(fetch(origin.url(path)).body, body);
        return steady_clock::now() - begin;
    };
    EXPECT_GE(timed("/drip", pattern(10).all()), 45ms);
    EXPECT_GE(timed("/late", "l"), 50ms);
    origin.limitRate(500000);
    EXPECT_GE(timed("/slow", pattern(50000).all()), 75ms);
}

TEST(FaultOrigin, ServesFilesAndMadeAnswersBelowAPrefix) {
    FaultOrigin origin;
    const test::TempDir dir;
    const std::string content = pattern(700000).all();
    dir.write("sub/file.bin", content);
    origin.serve("/files/", dir.path().string());
    origin.onPrefix("/files/made/",
                    [](const Request& request) { return Reply().body("made " + request.path); });
    EXPECT_EQ(fetch(origin.url("/files/sub/file.bin")).body, content);
    EXPECT_EQ(fetch(origin.url("/files/sub/file.bin"), range("300000-600000")).body,
              content.substr(300000, 300001));
    EXPECT_EQ(fetch(origin.url("/files/none")).status, 404);
    EXPECT_EQ(fetch(origin.url("/files/made/x")).body, "made /files/made/x");
}

TEST(FaultOrigin, ServesFiftyConnectionsAtOnce) {
    FaultOrigin origin;
    origin.on("/x", Reply().body(pattern(200000)).stalledAt(Stage::InBody, 1000));
    std::atomic<int> whole{0};
    std::vector<std::thread> clients;
    clients.reserve(50);
    for (int i = 0; i < 50; ++i)
        clients.emplace_back(
            [&] { whole += fetch(origin.url("/x")).body == pattern(200000).all(); });
    EXPECT_TRUE(origin.waitForRequests("/x", 50));
    EXPECT_EQ(origin.openConnections(), 50);
    origin.release("/x");
    for (std::thread& client : clients)
        client.join();
    EXPECT_EQ(whole, 50);
}

TEST(FaultOrigin, StopEndsStalledConnectionsAtOnce) {
    FaultOrigin origin;
    origin.on("/x", Reply().body("x").stalledAt(Stage::AfterHeader));
    auto client = std::async(std::launch::async, [&] { return fetch(origin.url("/x")); });
    ASSERT_TRUE(origin.waitForRequests("/x", 1));
    const auto begin = steady_clock::now();
    origin.stop();
    EXPECT_LT(steady_clock::now() - begin, 1s);
    EXPECT_NE(client.get().code, CURLE_OK);
    EXPECT_EQ(origin.openConnections(), 0);
    EXPECT_EQ(fetch(origin.url("/x")).code, CURLE_COULDNT_CONNECT);
}

TEST(FaultOrigin, AStallEndsWhenTheClientHangsUp) {
    FaultOrigin origin;
    origin.on("/x", Reply().stalledAt(Stage::BeforeStatus));
    fetch(origin.url("/x"), [](CURL* easy) { curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, 50L); });
    for (int i = 0; i < 2000 && origin.openConnections() > 0; ++i)
        std::this_thread::sleep_for(1ms);
    EXPECT_EQ(origin.openConnections(), 0);
}
