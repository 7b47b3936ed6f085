#include <hastool/base/OutputFile.h>
#include <hastool/net/Downloader.h>
#include <support/FaultOrigin.h>
#include <support/FreePort.h>
#include <support/Nginx.h>
#include <support/TempDir.h>

#include <deque>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using hastool::ByteRange;
using hastool::Downloader;
using hastool::EngineOptions;
using hastool::MemorySink;
using hastool::Outcome;
using test::pattern;
using test::Reply;
using test::Stage;

namespace {

constexpr size_t kLimit = 64u << 20;

class DownloaderTest : public testing::Test {
protected:
    /// Downloads one resource to its end.
    Outcome get(const hastool::Resource& resource, bool whole = false) {
        Downloader downloader(m_options);
        MemorySink sink(m_limit);
        Outcome outcome = hastool::download(downloader, resource, sink, whole, [] {});
        m_body = std::move(sink.bytes());
        return outcome;
    }
    Outcome get(const std::string& path) { return get({m_origin.url(path), std::nullopt}); }

    test::FaultOrigin m_origin;
    EngineOptions m_options;
    size_t m_limit = kLimit;
    std::string m_body;
};

} // namespace

TEST_F(DownloaderTest, DownloadsABodyAndTellsHow) {
    m_origin.on("/r", Reply().redirect("/a"));
    m_origin.on("/a", Reply().body(pattern(300000)));
    const Outcome outcome = get("/r");
    EXPECT_TRUE(outcome.ok) << outcome.failure;
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.httpStatus, 200);
    EXPECT_EQ(outcome.bytes, 300000U);
    EXPECT_EQ(outcome.redirects, 1);
    EXPECT_EQ(outcome.retries, 0);
    EXPECT_EQ(outcome.url, m_origin.url("/a"));
    EXPECT_TRUE(m_body == pattern(300000).all());
}

TEST_F(DownloaderTest, RepeatsTheStatusesThatAreWorthIt) {
    m_origin.on("/a", {Reply().status(503), Reply().status(404), Reply().body("here")});
    const Outcome outcome = get("/a");
    EXPECT_TRUE(outcome.ok) << outcome.failure;
    EXPECT_EQ(outcome.retries, 2);
    EXPECT_EQ(m_body, "here");
}

namespace {

/// Keeps which threads wrote to it.
class ThreadSink : public MemorySink {
public:
    using MemorySink::MemorySink;
    bool write(const unsigned char* data, size_t size) override {
        threads.insert(std::this_thread::get_id());
        return MemorySink::write(data, size);
    }

    std::set<std::thread::id> threads;
};

} // namespace

TEST_F(DownloaderTest, WithoutAThreadOfItsOwnTheOwnersWaitDrivesTheEngine) {
    m_origin.on("/r", Reply().redirect("/a"));
    m_origin.on("/a", {Reply().status(503), Reply().body(pattern(300000))});
    for (const bool hasThread : {true, false}) {
        m_options.hasThread = hasThread;
        Downloader downloader(m_options);
        ThreadSink sink(m_limit);
        const Outcome outcome =
            hastool::download(downloader, {m_origin.url("/r"), std::nullopt}, sink, false, [] {});
        EXPECT_TRUE(outcome.ok) << outcome.failure;
        EXPECT_EQ(outcome.redirects, 1);
        EXPECT_TRUE(sink.bytes() == pattern(300000).all());
        EXPECT_EQ(sink.threads.count(std::this_thread::get_id()), hasThread ? 0U : 1U);
        EXPECT_EQ(sink.threads.size(), 1U);
    }
}

TEST_F(DownloaderTest, ManyAtOnceComeWholeWithoutAThread) {
    m_options.hasThread = false;
    Downloader downloader(m_options);
    downloader.setParallel(6);
    std::deque<MemorySink> sinks;
    std::vector<Downloader::Id> ids;
    for (size_t i = 0; i < 50; ++i) {
        const std::string path = "/" + std::to_string(i);
        m_origin.on(path, Reply().body(pattern(1000 + i)));
        sinks.emplace_back(m_limit);
        ids.push_back(downloader.add({m_origin.url(path), std::nullopt}, sinks.back()));
    }
    while (downloader.pump())
        downloader.wait(hastool::kLookInterval);
    for (size_t i = 0; i < ids.size(); ++i) {
        ASSERT_NE(downloader.outcome(ids[i]), nullptr) << i;
        EXPECT_TRUE(downloader.outcome(ids[i])->ok) << i;
        EXPECT_TRUE(sinks[i].bytes() == pattern(1000 + i).all()) << i;
    }
}

TEST_F(DownloaderTest, CancelsWithoutAThread) {
    m_origin.on("/a", Reply().body(pattern(1000)).stalledAt(Stage::InBody, 500));
    m_options.hasThread = false;
    Downloader downloader(m_options);
    MemorySink sink(m_limit);
    const Downloader::Id id = downloader.add({m_origin.url("/a"), std::nullopt}, sink);
    while (downloader.pump() && downloader.received(id) == 0)
        downloader.wait(hastool::kLookInterval);
    downloader.cancelAll();
    while (downloader.pump())
        downloader.wait(hastool::kLookInterval);
    ASSERT_NE(downloader.outcome(id), nullptr);
    EXPECT_FALSE(downloader.outcome(id)->ok);
}

TEST_F(DownloaderTest, RepeatsNoOtherStatus) {
    for (const int status : {400, 401, 410, 501, 502}) {
        const std::string path = "/" + std::to_string(status);
        m_origin.on(path, Reply().status(status));
        const Outcome outcome = get(path);
        EXPECT_FALSE(outcome.ok);
        EXPECT_EQ(outcome.httpStatus, status);
        EXPECT_EQ(m_origin.requests(path).size(), 1U) << status;
    }
}

TEST_F(DownloaderTest, RepeatsOnlySoOften) {
    m_options.maxRetries = 1;
    m_origin.on("/a", Reply().status(500));
    const Outcome outcome = get("/a");
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.retries, 1);
    EXPECT_EQ(m_origin.requests("/a").size(), 2U);
    EXPECT_EQ(outcome.failure.rfind("HTTP 500 (code ", 0), 0U) << outcome.failure;
}

TEST_F(DownloaderTest, NamesWhatFailedAndTheAddress) {
    const std::string port = std::to_string(test::freePort());
    const Outcome refused = get({"http://127.0.0.1:" + port + "/", std::nullopt});
    EXPECT_EQ(refused.code, -20);
    EXPECT_EQ(refused.failure.rfind("connection refused: ", 0), 0U) << refused.failure;
    EXPECT_NE(refused.failure.find("(code -20, 127.0.0.1:" + port + ")"), std::string::npos)
        << refused.failure;
    const Outcome unknown = get({"http://no-such-host.invalid/", std::nullopt});
    EXPECT_EQ(unknown.failure.rfind("host not found: ", 0), 0U) << unknown.failure;
    m_origin.on("/loop", Reply().redirect("/loop"));
    const Outcome loop = get("/loop");
    EXPECT_EQ(loop.failure.rfind("too many redirects: ", 0), 0U) << loop.failure;
    const test::Nginx server;
    const test::Nginx other;
    m_options.caFile = other.caFile();
    const Outcome untrusted = get({server.tlsUrl("/"), std::nullopt});
    EXPECT_EQ(untrusted.failure.rfind("TLS certificate not accepted: ", 0), 0U)
        << untrusted.failure;
    m_options.proxy = "http://127.0.0.1:" + port;
    const Outcome proxied = get({"http://behind-a-proxy.invalid/", std::nullopt});
    EXPECT_NE(proxied.failure.find("(code -20, proxy 127.0.0.1:" + port + ")"), std::string::npos)
        << proxied.failure;
}

TEST_F(DownloaderTest, TellsEachRepetitionBeforeItIsMade) {
    const Reply whole = Reply().body(pattern(1000));
    m_origin.on("/a", {Reply().status(404), Reply(whole).closedAt(Stage::InBody, 400), whole});
    Downloader downloader(m_options);
    MemorySink sink(kLimit);
    std::vector<std::string> told;
    std::vector<size_t> requestsBefore;
    Downloader::Id id = 0;
    downloader.onRetry([&](Downloader::Id which, const std::string& what) {
        EXPECT_EQ(which, id);
        told.push_back(what);
        requestsBefore.push_back(m_origin.requests("/a").size());
    });
    id = downloader.add({m_origin.url("/a"), std::nullopt}, sink);
    while (downloader.pump())
        std::this_thread::sleep_for(1ms);
    EXPECT_TRUE(downloader.outcome(id)->ok);
    EXPECT_EQ(told, (std::vector<std::string>{"retry 1 of 20, HTTP 404",
                                              "retry 2 of 20, body cut short"}));
    EXPECT_EQ(requestsBefore, (std::vector<size_t>{1, 2}));
}

TEST_F(DownloaderTest, PausesLongerBeforeEachRepetition) {
    m_options.maxRetries = 3;
    m_options.retryPause = 200ms;
    m_origin.on("/a", Reply().status(503));
    EXPECT_EQ(get("/a").retries, 3);
    const std::vector<test::Request> requests = m_origin.requests("/a");
    ASSERT_EQ(requests.size(), 4U);
    for (size_t i = 1; i <= 3; ++i) // besides the engine's own half second
        EXPECT_GE(requests.at(i).time - requests.at(i - 1).time, 500ms + 100ms * (1 << i)) << i;
}

TEST_F(DownloaderTest, CancelEndsThePauseBeforeARepetition) {
    m_options.retryPause = 30s;
    m_origin.on("/a", Reply().status(503));
    m_origin.on("/b", Reply().body("meanwhile"));
    Downloader downloader(m_options);
    MemorySink sink(kLimit);
    MemorySink other(kLimit);
    bool repeats = false;
    downloader.onRetry([&](Downloader::Id, const std::string&) { repeats = true; });
    const Downloader::Id id = downloader.add({m_origin.url("/a"), std::nullopt}, sink);
    while (!repeats) {
        ASSERT_TRUE(downloader.pump());
        std::this_thread::sleep_for(1ms);
    }
    const Downloader::Id behind = downloader.add({m_origin.url("/b"), std::nullopt}, other);
    while (downloader.outcome(behind) == nullptr) {
        ASSERT_TRUE(downloader.pump());
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_TRUE(downloader.outcome(behind)->ok);
    EXPECT_EQ(downloader.outcome(id), nullptr);
    downloader.cancelAll();
    EXPECT_FALSE(downloader.pump());
    EXPECT_EQ(downloader.outcome(id)->failure, "cancelled (code -12)");
    EXPECT_EQ(m_origin.requests("/a").size(), 1U);
}

TEST_F(DownloaderTest, ContinuesABodyCutShort) {
    const Reply whole = Reply().body(pattern(100000));
    m_origin.on("/a", {Reply(whole).closedAt(Stage::InBody, 40000), whole});
    const Outcome outcome = get("/a");
    EXPECT_TRUE(outcome.ok) << outcome.failure;
    EXPECT_EQ(outcome.retries, 1);
    EXPECT_TRUE(m_body == pattern(100000).all());
    EXPECT_EQ(m_origin.requests("/a").at(1).header("Range"), "bytes=40000-");
}

TEST_F(DownloaderTest, ContinuesWhereTheServerKnowsNoRanges) {
    const Reply whole = Reply().body(pattern(100000)).withoutRanges();
    m_origin.on("/a", {Reply(whole).closedAt(Stage::InBody, 40000), whole});
    EXPECT_TRUE(get("/a").ok);
    EXPECT_TRUE(m_body == pattern(100000).all());
}

TEST_F(DownloaderTest, ContinuesARange) {
    const Reply whole = Reply().body(pattern(100000));
    m_origin.on("/a", {Reply(whole).closedAt(Stage::InBody, 10000), whole});
    EXPECT_TRUE(get({m_origin.url("/a"), ByteRange{50000, 30000}}).ok);
    EXPECT_TRUE(m_body == pattern(100000).part(50000, 30000));
    EXPECT_EQ(m_origin.requests("/a").at(1).header("Range"), "bytes=60000-79999");
}

TEST_F(DownloaderTest, CutsARangeOutOfAWholeBody) {
    m_origin.on("/a", Reply().body(pattern(5000000)).withoutRanges());
    const Outcome outcome = get({m_origin.url("/a"), ByteRange{1000, 3000}}, true);
    EXPECT_TRUE(outcome.ok) << outcome.failure;
    EXPECT_EQ(outcome.bytes, 3000U);
    EXPECT_TRUE(m_body == pattern(5000000).part(1000, 3000));
    EXPECT_TRUE(get({m_origin.url("/a"), ByteRange{4999990, std::nullopt}}).ok);
    EXPECT_TRUE(m_body == pattern(5000000).part(4999990, 10));
}

TEST_F(DownloaderTest, TakesAShortRangeForCutShortOnlyWhereAllIsNeeded) {
    m_options.maxRetries = 0;
    m_origin.on("/a", Reply().body(pattern(1000)));
    const hastool::Resource resource{m_origin.url("/a"), ByteRange{900, 500}};
    EXPECT_TRUE(get(resource, false).ok);
    EXPECT_TRUE(m_body == pattern(1000).part(900, 100));
    const Outcome outcome = get(resource, true);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.failure, "body cut short (code -26)");
}

TEST_F(DownloaderTest, RepeatsABrokenConnectionOnlyWhereAsked) {
    const Reply whole = Reply().body(pattern(100000));
    m_origin.on("/a", {Reply(whole).resetAt(Stage::InBody, 40000), whole});
    EXPECT_FALSE(get("/a").ok);
    m_options.retriesBrokenConnections = true;
    m_origin.on("/a", {Reply(whole).resetAt(Stage::InBody, 40000), whole});
    const Outcome outcome = get("/a");
    EXPECT_TRUE(outcome.ok) << outcome.failure;
    EXPECT_TRUE(m_body == pattern(100000).all());
}

TEST_F(DownloaderTest, EndsWhenTheSinkHasHadEnough) {
    m_limit = 1u << 20;
    m_origin.on("/a", Reply().body(pattern(1u << 30)));
    const Outcome outcome = get("/a");
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.failure, "more than 1 MiB");
    EXPECT_LE(m_body.size(), m_limit);
}

TEST_F(DownloaderTest, RequestsNothingButHttp) {
    for (const char* url : {"file:///etc/hostname", "ftp://127.0.0.1/a", "no url", ""}) {
        const Outcome outcome = get({url, std::nullopt});
        EXPECT_FALSE(outcome.ok) << url;
        EXPECT_EQ(outcome.failure, "not a URL that can be requested (code -1)");
        EXPECT_EQ(m_body, "");
    }
}

TEST_F(DownloaderTest, QueuesWhatIsMoreThanTheEngineTakes) {
    m_origin.on("/a", Reply().body(pattern(20000)).delayed(20ms));
    Downloader downloader(m_options);
    std::deque<MemorySink> sinks;
    std::vector<Downloader::Id> ids;
    for (int i = 0; i < 70; ++i) {
        sinks.emplace_back(kLimit);
        ids.push_back(downloader.add({m_origin.url("/a"), std::nullopt}, sinks.back()));
    }
    int most = 0;
    while (downloader.pump()) {
        most = std::max(most, m_origin.openConnections());
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_LE(most, 20);
    for (size_t i = 0; i < ids.size(); ++i) {
        EXPECT_TRUE(downloader.outcome(ids[i])->ok) << downloader.outcome(ids[i])->failure;
        EXPECT_TRUE(sinks[i].bytes() == pattern(20000).all());
    }
}

TEST_F(DownloaderTest, RunsNoMoreAtOnceThanItIsTold) {
    m_origin.on("/a", Reply().body("x").delayed(10ms));
    Downloader downloader(m_options);
    downloader.setParallel(2);
    std::deque<MemorySink> sinks;
    for (int i = 0; i < 8; ++i) {
        sinks.emplace_back(kLimit);
        downloader.add({m_origin.url("/a"), std::nullopt}, sinks.back());
    }
    int most = 0;
    while (downloader.pump()) {
        most = std::max(most, m_origin.openConnections());
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_LE(most, 2);
    EXPECT_EQ(m_origin.requests("/a").size(), 8U);
}

TEST_F(DownloaderTest, ServesAnotherHostWhenOneHasHadAllUnits) {
    m_origin.on("/a", Reply().body("x").delayed(10ms));
    Downloader downloader(m_options);
    std::deque<MemorySink> sinks;
    std::vector<Downloader::Id> ids;
    for (int i = 0; i < 44; ++i) {
        sinks.emplace_back(kLimit);
        const char* const host = i < 40 ? "127.0.0.1" : "localhost";
        ids.push_back(downloader.add({m_origin.url("/a", host), std::nullopt}, sinks.back()));
    }
    while (downloader.pump())
        std::this_thread::sleep_for(1ms);
    for (const Downloader::Id id : ids)
        EXPECT_TRUE(downloader.outcome(id)->ok) << downloader.outcome(id)->failure;
}

TEST_F(DownloaderTest, CancelsWhatRunsAndWhatWaits) {
    m_origin.on("/a", Reply().body(pattern(1000)).stalledAt(Stage::InBody, 500));
    Downloader downloader(m_options);
    downloader.setParallel(1);
    MemorySink first(kLimit);
    MemorySink second(kLimit);
    const Downloader::Id running = downloader.add({m_origin.url("/a"), std::nullopt}, first);
    const Downloader::Id waiting = downloader.add({m_origin.url("/a"), std::nullopt}, second);
    while (downloader.received(running) < 500) {
        downloader.pump();
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(downloader.expected(running), 1000U);
    EXPECT_TRUE(downloader.hasBegun(running));
    EXPECT_FALSE(downloader.hasBegun(waiting));
    downloader.cancelAll();
    while (downloader.pump())
        std::this_thread::sleep_for(1ms);
    EXPECT_EQ(downloader.outcome(running)->failure, "cancelled (code -12)");
    EXPECT_EQ(downloader.outcome(waiting)->failure, "cancelled (code -12)");
}

TEST_F(DownloaderTest, EndsWithATransferThatStandsStill) {
    m_origin.on("/a", Reply().stalledAt(Stage::BeforeStatus));
    MemorySink sink(kLimit);
    const auto begin = std::chrono::steady_clock::now();
    {
        Downloader downloader(m_options);
        downloader.add({m_origin.url("/a"), std::nullopt}, sink);
        downloader.pump();
        EXPECT_TRUE(m_origin.waitForRequests("/a", 1));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

TEST_F(DownloaderTest, SendsTheAgentThatItIsGiven) {
    m_origin.on("/a", Reply());
    m_options.agent = "agent/2";
    get("/a");
    m_options.engineInfo = 5;
    get("/a");
    const auto requests = m_origin.requests("/a");
    EXPECT_EQ(requests.at(0).header("User-Agent"), "agent/2");
    EXPECT_EQ(requests.at(1).header("User-Agent"), "Hbbtv/1.2.1");
}

TEST_F(DownloaderTest, VerifiesServersOnlyWithCertificatesToTrust) {
    const test::Nginx server;
    server.write("a", "secret");
    EXPECT_TRUE(get({server.tlsUrl("/a"), std::nullopt}).ok);
    m_options.caFile = server.caFile();
    EXPECT_TRUE(get({server.tlsUrl("/a"), std::nullopt}).ok);
    const test::Nginx other;
    other.write("a", "secret");
    const Outcome outcome = get({other.tlsUrl("/a"), std::nullopt});
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(m_body, "");
}
