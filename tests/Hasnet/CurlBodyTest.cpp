// The transfer loop and the way of a body to its owner.
#include <Hascommon/Datetime.h>
#include <support/EngineTest.h>
#include <support/LogCapture.h>

#include <gmock/gmock.h>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using hascommon::Curl;
using hascommon::UnitObject;
using test::EngineTest;
using test::eventually;
using test::LogCapture;
using test::pattern;
using test::Reply;
using test::Stage;

struct LoopTimes {
    Clock::duration spent;
    bool again;
};

LoopTimes turn(Curl& curl) {
    const auto start = Clock::now();
    const bool again = Curl::Loop(&curl);
    return {Clock::now() - start, again};
}

class CurlBodyTest : public EngineTest {
protected:
    void runUntil(const std::function<bool()>& condition) {
        while (!condition())
            engine->RunOnce();
    }
};

TEST_F(CurlBodyTest, PassWithoutTransfersReturnsZeroAtOnce) {
    const auto start = Clock::now();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(engine->RunOnce(), 0);
    EXPECT_LT(Clock::now() - start, 3s); // Twenty waits would take six.
}

TEST_F(CurlBodyTest, StalledPassReturnsAfterAboutThreeHundredMilliseconds) {
    origin.on("/stall", Reply().stalledAt(Stage::BeforeStatus));
    beginPath("/stall");
    ASSERT_TRUE(eventually([&] {
        engine->RunOnce();
        return origin.requests("/stall").size() == 1;
    }));
    const auto start = Clock::now();
    // Up to two passes end early, one for the rest of the request and one for a timer of libcurl.
    for (int i = 0; i < 3; ++i)
        engine->RunOnce();
    EXPECT_GE(Clock::now() - start, 250ms);
    EXPECT_LT(Clock::now() - start, 10s);
}

TEST_F(CurlBodyTest, OneCompletionIsReportedPerPass) {
    origin.on("/a", Reply().body("x"));
    UnitObject* units[] = {beginPath("/a"), beginPath("/a"), beginPath("/a")};
    int passes = 0;
    int completed = 0;
    while (completed < 3) {
        const int result = engine->RunOnce();
        ASSERT_TRUE(result == 0 || result == 1);
        completed += result;
        ++passes;
    }
    EXPECT_GE(passes, 3);
    for (UnitObject* unit : units)
        EXPECT_EQ(engine->EndDownload(unit), 0);
}

TEST_F(CurlBodyTest, FinishedTransferIsReapedWithoutWaitingForAStalledOne) {
    origin.on("/stall", Reply().stalledAt(Stage::BeforeStatus));
    origin.on("/a", Reply().body("x"));
    beginPath("/stall");
    runUntil([&] { return origin.requests("/stall").size() == 1; });
    std::vector<UnitObject*> units;
    for (int i = 0; i < 15; ++i)
        units.push_back(beginPath("/a"));
    const auto start = Clock::now();
    for (UnitObject* unit : units)
        EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_LT(Clock::now() - start, 3s); // A wait before each would take four and a half.
}

TEST_F(CurlBodyTest, CompletionLogsUnitResultAndStatus) {
    origin.on("/a", Reply().body("x"));
    UnitObject* unit = beginPath("/a");
    LogCapture log;
    EXPECT_EQ(engine->EndDownload(unit), 0);
    char line[128];
    snprintf(line, sizeof line, "CURLMSG_DONE unit : %p result : 0  http_status : 200",
             static_cast<void*>(unit));
    EXPECT_EQ(log.count(line), 1);
    EXPECT_EQ(log.count("OnBodyDownload() starts."), 1);
    EXPECT_GE(log.count("Curl::HeaderCB() starts."), 1);
    EXPECT_GE(log.count("OnHeaderDownload() starts."), 1);
    EXPECT_EQ(log.count("--- final unit->code: 0"), 1);
    snprintf(line, sizeof line, "Unit %p, Content Length = 1", static_cast<void*>(unit));
    EXPECT_EQ(log.count(line), 1);
}

TEST_F(CurlBodyTest, FailureLogsLibcurlsOwnWords) {
    origin.on("/a", Reply().status(404).body("x"));
    UnitObject* unit = beginPath("/a");
    LogCapture log;
    EXPECT_EQ(engine->EndDownload(unit), -23);
    EXPECT_EQ(log.count("errorbuf : The requested URL returned error: 404"), 1);
}

TEST_F(CurlBodyTest, LargeBodyIsByteExact) {
    const test::Pattern body = pattern(50000000);
    origin.on("/big", Reply().body(body));
    owner.countOnly = true;
    test::BodyChecker checker(body);
    owner.onData = [&](UnitObject*, const std::string& bytes) {
        checker.add(bytes.data(), bytes.size());
        return 0;
    };
    engine->StartLoop();
    EXPECT_EQ(fetchPath("/big"), 0);
    EXPECT_TRUE(checker.complete());
}

TEST_F(CurlBodyTest, RefusedBytesAreOfferedAgainUntilTheyAreTaken) {
    origin.on("/a", Reply().body(pattern(1000)));
    std::vector<std::string> offered;
    std::vector<Clock::time_point> times;
    owner.onData = [&](UnitObject*, const std::string& bytes) {
        offered.push_back(bytes);
        times.push_back(Clock::now());
        return offered.size() < 4 ? -1 : 0;
    };
    EXPECT_EQ(fetchPath("/a"), 0);
    ASSERT_EQ(offered.size(), 4U);
    for (const std::string& bytes : offered)
        EXPECT_EQ(bytes, offered.front());
    for (size_t i = 1; i < times.size(); ++i)
        EXPECT_GE(times[i] - times[i - 1], 3ms);
    EXPECT_EQ(lastBody, pattern(1000).all());
}

TEST_F(CurlBodyTest, CancelEndsARefusal) {
    origin.on("/a", Reply().body("x"));
    owner.onData = [](UnitObject*, const std::string&) { return 1; };
    engine->StartLoop();
    UnitObject* unit = beginPath("/a");
    EXPECT_TRUE(eventually([&] { return owner.offers() > 2; }));
    EXPECT_EQ(engine->Cancel(unit), 1);
    EXPECT_EQ(engine->EndDownload(unit), -12);
    EXPECT_EQ(owner.body(unit), "");
}

TEST_F(CurlBodyTest, PauseEndsARefusalAndTheBytesComeAfterTheResume) {
    origin.on("/a", Reply().body(pattern(100000)));
    std::atomic<bool> refuse{true};
    owner.onData = [&](UnitObject*, const std::string&) { return refuse ? 1 : 0; };
    engine->StartLoop();
    UnitObject* unit = beginPath("/a");
    EXPECT_TRUE(eventually([&] { return owner.offers() > 2; }));
    EXPECT_EQ(engine->Pause(unit), 1);
    EXPECT_TRUE(eventually([&] {
        const int offers = owner.offers();
        std::this_thread::sleep_for(20ms);
        return owner.offers() == offers;
    }));
    refuse = false;
    EXPECT_EQ(engine->Resume(unit), 1);
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(owner.body(unit), pattern(100000).all());
}

TEST_F(CurlBodyTest, WholeBodyRefusedThenPausedCompletesOnlyAfterTheResume) {
    // The last piece is in the engine's hands when the pause comes.
    origin.on("/a", Reply().body("end"));
    std::atomic<bool> refuse{true};
    owner.onData = [&](UnitObject*, const std::string&) { return refuse ? 1 : 0; };
    engine->StartLoop();
    UnitObject* unit = beginPath("/a");
    EXPECT_TRUE(eventually([&] { return owner.offers() > 0; }));
    EXPECT_EQ(engine->Pause(unit), 1);
    std::this_thread::sleep_for(50ms);
    int code = 0;
    long date = 0;
    EXPECT_EQ(engine->GetCompleted(code, date), nullptr);
    EXPECT_TRUE(engine->IsPause(unit));
    refuse = false;
    EXPECT_EQ(engine->Resume(unit), 1);
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(owner.body(unit), "end");
}

TEST_F(CurlBodyTest, ArrivalTimesReachTheObserver) {
    origin.on("/a", Reply().body(pattern(300)).dripped(100, 30ms));
    const auto before = static_cast<unsigned int>(hascommon::has_getTime());
    EXPECT_EQ(fetchPath("/a"), 0);
    const auto chunks = traffic.chunks();
    ASSERT_GE(chunks.size(), 2U);
    EXPECT_TRUE(traffic.resets().empty());
    unsigned int bytes = 0;
    for (size_t i = 0; i < chunks.size(); ++i) {
        bytes += chunks[i].bytes;
        EXPECT_LE(chunks[i].start, chunks[i].end);
        const unsigned int previous = i > 0 ? chunks[i - 1].end : chunks[0].start;
        EXPECT_EQ(chunks[i].start, previous);
    }
    EXPECT_EQ(bytes, 300U);
    EXPECT_GE(chunks.front().start, before);
}

TEST_F(CurlBodyTest, ChunksSoonAfterAResumeRestartTheBandwidthBase) {
    origin.on("/a", Reply().body(pattern(200)).stalledAt(Stage::InBody, 100));
    engine->StartLoop();
    UnitObject* unit = beginPath("/a");
    EXPECT_TRUE(eventually([&] { return engine->GetPos(unit) == 100; }));
    const size_t chunks = traffic.chunks().size();
    EXPECT_EQ(engine->Pause(unit), 1);
    EXPECT_EQ(engine->Resume(unit), 1);
    origin.release("/a");
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(traffic.chunks().size() - chunks + traffic.resets().size(), 1U);
    // A machine that took more than 100 ms to get here has a chunk instead; only the clock matters.
    Curl::UnitInfo info;
    engine->GetUnitInfo(unit, info);
    EXPECT_EQ(info.received, 200);
}

TEST_F(CurlBodyTest, LatencyIsTheTimeToTheFirstByte) {
    origin.on("/a", Reply().body("x").delayed(60ms));
    UnitObject* unit = beginPath("/a");
    EXPECT_EQ(engine->EndDownload(unit), 0);
    Curl::UnitInfo info;
    EXPECT_TRUE(engine->GetUnitInfo(unit, info));
    EXPECT_GE(info.latency, 59);
    EXPECT_EQ(info.httpStatus, 200);
    EXPECT_EQ(info.url, origin.url("/a"));
}

TEST(CurlLoop, PacedTurnSleepsItsFullTimeAfterAShortPass) {
    Curl curl(hascommon::CURL_THREAD_PACED, 30000, test::unusedAppId());
    int full = 0;
    for (int i = 0; i < 5; ++i) {
        const LoopTimes times = turn(curl);
        EXPECT_TRUE(times.again);
        full += times.spent >= 30ms ? 1 : 0;
    }
    // A turn whose pass crosses a millisecond does not sleep; that does not happen five times.
    EXPECT_GE(full, 1);
}

TEST_F(CurlBodyTest, PacedTurnDoesNotSleepAfterAPassOfAMillisecondOrMore) {
    Curl curl(hascommon::CURL_THREAD_PACED, 2000000, test::unusedAppId());
    curl.Init(&owner, nullptr);
    owner.onData = [](UnitObject*, const std::string&) {
        std::this_thread::sleep_for(2ms);
        return 0;
    };
    origin.on("/a", Reply().body("x"));
    UnitObject* unit = nullptr;
    ASSERT_EQ(curl.BeginDownload2(0, origin.url("/a"), "", false, unit, false, nullptr), 0);
    // Turns before the one that brings the byte may be short, and then sleep.
    LoopTimes times{};
    while (owner.offers() == 0)
        times = turn(curl);
    EXPECT_LT(times.spent, 1900ms);
}

TEST(CurlLoop, PlainTurnSleepsAMillisecond) {
    Curl curl(hascommon::CURL_THREAD_DEFAULT, 30000000, test::unusedAppId());
    const LoopTimes times = turn(curl);
    EXPECT_GE(times.spent, 1ms);
    EXPECT_LT(times.spent, 15s);
    EXPECT_TRUE(times.again);
}

TEST(CurlLoop, TurnOfAnEngineThatHasQuitEndsTheThread) {
    Curl curl(hascommon::CURL_THREAD_PACED, 0, test::unusedAppId());
    curl.Quit();
    EXPECT_FALSE(Curl::Loop(&curl));
}

} // namespace
