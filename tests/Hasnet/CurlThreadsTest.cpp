// Where the owner's threads meet the transfer thread.
#include <Hasnet/Curl_HLS.h>
#include <support/EngineTest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using hascommon::Curl;
using hascommon::UnitObject;
using test::EngineTest;
using test::eventually;
using test::pattern;
using test::Reply;
using test::Stage;

/// Each timed test makes ten turns: they would take three seconds if each turn sat out the engine's
/// wait of 300 ms.
constexpr int kTurns = 10;
constexpr auto kWithoutWaiting = 2s;

class CurlThreadsTest : public EngineTest {
protected:
    CurlThreadsTest() {
        origin.on("/a", Reply().body("hello"));
        origin.on("/stall", Reply().stalledAt(Stage::BeforeStatus));
    }

    /// Brings the transfer thread into a refusal that lasts until `m_refuse` is cleared.
    UnitObject* beginRefused() {
        owner.onData = [&](UnitObject* unit, const std::string&) {
            return unit == m_refused && m_refuse ? 1 : 0;
        };
        engine->StartLoop();
        origin.on("/refused", Reply().body(pattern(100000)).delayed(20ms));
        m_refused = beginPath("/refused");
        EXPECT_TRUE(eventually([&] { return owner.offers() > 0; }));
        return m_refused;
    }

    /// A unit that has begun and whose request has reached the origin.
    UnitObject* beginStalled() {
        const size_t before = origin.requests("/stall").size();
        UnitObject* unit = beginPath("/stall");
        EXPECT_TRUE(origin.waitForRequests("/stall", before + 1));
        return unit;
    }

    template<typename Function>
    static Clock::duration took(Function function) {
        const auto start = Clock::now();
        function();
        return Clock::now() - start;
    }

    std::atomic<UnitObject*> m_refused{nullptr};
    std::atomic<bool> m_refuse{true};
};

TEST_F(CurlThreadsTest, OwnerGetsThroughWhileBytesAreRefused) {
    engine->StartLoop();
    UnitObject* other = beginStalled();
    UnitObject* done = beginPath("/a");
    EXPECT_TRUE(completes(done));
    UnitObject* unit = beginRefused();
    EXPECT_LT(took([&] {
                  EXPECT_TRUE(engine->IsDownloading(unit));
                  EXPECT_EQ(engine->Pause(other), 1);
                  EXPECT_EQ(engine->Resume(other), 1);
                  EXPECT_EQ(engine->Cancel(other), 1);
                  EXPECT_EQ(engine->EndDownload(done), 0);
                  EXPECT_FALSE(engine->IsIdle());
              }),
              2s);
    m_refuse = false;
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(owner.body(unit), pattern(100000).all());
    EXPECT_EQ(engine->EndDownload(other), -12);
}

TEST_F(CurlThreadsTest, OwnerGetsThroughWhileBytesAreRefusedUnderANestedLock) {
    // The callback runs with the lock held twice, and so it does again after every wait.
    owner.onData = [&](UnitObject*, const std::string&) {
        engine->LockMutItem();
        engine->UnlockMutItem();
        return m_refuse ? 1 : 0;
    };
    UnitObject* unit = beginPath("/a");
    std::thread driver([&] {
        engine->LockMutItem();
        engine->LockMutItem();
        while (engine->RunOnce() == 0) {
        }
        engine->UnlockMutItem();
        engine->UnlockMutItem();
    });
    EXPECT_TRUE(eventually([&] { return owner.offers() > 0; }));
    EXPECT_TRUE(engine->IsDownloading(unit));
    EXPECT_EQ(engine->Pause(unit), 1);
    EXPECT_EQ(engine->Resume(unit), 1);
    m_refuse = false;
    driver.join();
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(owner.body(unit), "hello");
}

TEST_F(CurlThreadsTest, ResetGoesThroughWhileBytesAreRefused) {
    UnitObject* unit = beginRefused();
    engine->Reset();
    EXPECT_TRUE(engine->IsIdle());
    EXPECT_EQ(engine->EndDownload(unit), 0);
}

TEST_F(CurlThreadsTest, RequestBegunWhileBytesAreRefusedRunsAfterwards) {
    UnitObject* refused = beginRefused();
    UnitObject* unit = nullptr;
    EXPECT_LT(took([&] { unit = beginPath("/a"); }), 2s);
    ASSERT_NE(unit, nullptr);
    m_refuse = false;
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(owner.body(unit), "hello");
    EXPECT_EQ(engine->EndDownload(refused), 0);
}

TEST_F(CurlThreadsTest, RequestIsBegunWithoutWaitingForACallbackThatTakesItsTime) {
    std::atomic<bool> inside{false};
    std::atomic<bool> leave{false};
    owner.onData = [&](UnitObject*, const std::string&) {
        inside = true;
        while (!leave)
            std::this_thread::sleep_for(1ms);
        return 0;
    };
    engine->StartLoop();
    UnitObject* first = beginPath("/a");
    EXPECT_TRUE(eventually([&] { return inside.load(); }));
    UnitObject* second = beginPath("/a"); // Would never return if it waited.
    ASSERT_NE(second, nullptr);
    leave = true;
    EXPECT_EQ(engine->EndDownload(first), 0);
    EXPECT_EQ(engine->EndDownload(second), 0);
}

TEST_F(CurlThreadsTest, NextRequestMayBeBegunInsideOnDataReceived) {
    std::atomic<UnitObject*> next{nullptr};
    owner.onData = [&](UnitObject*, const std::string&) {
        if (next == nullptr)
            next = beginPath("/a");
        return 0;
    };
    engine->StartLoop();
    UnitObject* first = beginPath("/a");
    EXPECT_EQ(engine->EndDownload(first), 0);
    UnitObject* second = next;
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(engine->EndDownload(second), 0);
    EXPECT_EQ(owner.body(second), "hello");
}

TEST_F(CurlThreadsTest, NextRequestMayBeBegunInsideOnRedirectedAndOnDownloadBegin) {
    origin.on("/r", Reply().redirect("/a"));
    std::atomic<int> extra{0};
    std::atomic<UnitObject*> fromRedirect{nullptr};
    UnitObject* fromBegin = nullptr;
    owner.onRedirect = [&](UnitObject*) { fromRedirect = beginPath("/a"); };
    owner.onBegin = [&](UnitObject*) {
        if (extra++ == 0)
            fromBegin = beginPath("/a");
    };
    EXPECT_EQ(fetchPath("/r"), 0);
    UnitObject* redirected = fromRedirect;
    EXPECT_EQ(engine->EndDownload(redirected), 0);
    EXPECT_EQ(engine->EndDownload(fromBegin), 0);
}

/// What may be called from inside which callback: every cell is tried, none hangs, and the download
/// ends as the operation says.
struct InsideRow {
    const char* name;
    int (*call)(Curl&, UnitObject*);
    int expectedCall;
    int expectedCode;
};

int resetInside(Curl& curl, UnitObject*) {
    curl.Reset();
    return 0;
}
int quitInside(Curl& curl, UnitObject*) {
    curl.Quit();
    return 0;
}
int runInside(Curl& curl, UnitObject*) {
    return curl.RunOnce();
}
int pauseAndResumeInside(Curl& curl, UnitObject* unit) {
    return curl.Pause(unit) + curl.Resume(unit);
}
int cancelInside(Curl& curl, UnitObject* unit) {
    return curl.Cancel(unit);
}
int queriesInside(Curl& curl, UnitObject* unit) {
    int code = 0;
    long date = 0;
    curl.GetCompleted(code, date);
    curl.IsIdle();
    return curl.IsDownloading(unit) && !curl.IsPause(unit) ? 1 : 0;
}

class CurlInsideDataTest : public EngineTest, public ::testing::WithParamInterface<InsideRow> {};

TEST_P(CurlInsideDataTest, OperationReturnsAndTheDownloadEnds) {
    origin.on("/a", Reply().body("hello"));
    std::atomic<int> result{-99};
    owner.onData = [&](UnitObject* unit, const std::string&) {
        if (result == -99)
            result = GetParam().call(*engine, unit);
        return 0;
    };
    engine->StartLoop();
    UnitObject* unit = beginPath("/a");
    const int code = engine->EndDownload(unit);
    EXPECT_EQ(result, GetParam().expectedCall);
    // A reset may have ended the unit for its owner before the owner asks.
    EXPECT_TRUE(code == GetParam().expectedCode || (GetParam().call == resetInside && code == 0))
        << code;
    EXPECT_TRUE(engine->IsIdle());
    engine->StartLoop();
    EXPECT_EQ(fetchPath("/a"), 0);
}

TEST_P(CurlInsideDataTest, OperationReturnsWhereTheOwnerDrives) {
    origin.on("/a", Reply().body("hello"));
    std::atomic<int> result{-99};
    owner.onData = [&](UnitObject* unit, const std::string&) {
        if (result == -99)
            result = GetParam().call(*engine, unit);
        return 0;
    };
    UnitObject* unit = beginPath("/a");
    engine->EndDownload(unit);
    EXPECT_EQ(result, GetParam().expectedCall);
    EXPECT_TRUE(engine->IsIdle());
}

INSTANTIATE_TEST_SUITE_P(Callbacks, CurlInsideDataTest,
                         ::testing::Values(InsideRow{"Reset", resetInside, 0, -12},
                                           InsideRow{"Quit", quitInside, 0, -12},
                                           InsideRow{"RunOnce", runInside, 0, 0},
                                           InsideRow{"PauseAndResume", pauseAndResumeInside, 2, 0},
                                           InsideRow{"Cancel", cancelInside, 1, -12},
                                           InsideRow{"Queries", queriesInside, 1, 0}),
                         [](const auto& row) { return row.param.name; });

TEST_F(CurlThreadsTest, EndInsideOnDataReceivedCannotWaitAndLeavesTheUnitAsItIs) {
    int result = 0;
    owner.onData = [&](UnitObject* unit, const std::string&) {
        result = engine->EndDownload(unit);
        return 0;
    };
    UnitObject* unit = beginPath("/a");
    while (engine->RunOnce() == 0) {
    }
    EXPECT_EQ(result, -1);
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(owner.body(unit), "hello");
}

/// A callback that ends its unit again and again while an owner ends it, too.
class CurlEndRaceTest : public CurlThreadsTest {
protected:
    CurlEndRaceTest() {
        owner.onData = [this](UnitObject* unit, const std::string&) {
            constexpr int kTries = 2000; // So that some happen during the owner's own call.
            m_inside = true;
            while (!m_coming)
                engine->EndDownload(unit);
            for (int i = 0; i < kTries; ++i)
                engine->EndDownload(unit);
            return 0;
        };
        engine->StartLoop();
    }

    /// Fetches with the owner's EndDownload() falling into a callback.
    int fetchInARace(const std::string& path) {
        m_inside = false;
        m_coming = false;
        UnitObject* unit = beginPath(path);
        if (unit == nullptr)
            return lastResult;
        EXPECT_TRUE(eventually([&] { return m_inside.load(); }));
        m_coming = true;
        const int code = engine->EndDownload(unit);
        lastBody = owner.body(unit);
        return code;
    }

private:
    std::atomic<bool> m_inside{false};
    std::atomic<bool> m_coming{false};
};

TEST_F(CurlEndRaceTest, OwnerGetsTheWholeBodyAndTheUnitIsFreed) {
    const test::Pattern body = pattern(100000);
    origin.on("/pieces", Reply().body(body).chunked(10000));
    for (int i = 0; i < 40; ++i) { // Twice the slots: none may be lost.
        ASSERT_EQ(fetchInARace("/pieces"), 0) << "transfer " << i;
        ASSERT_TRUE(lastBody == body.all()) << "transfer " << i;
        ASSERT_TRUE(engine->IsIdle()) << "transfer " << i;
    }
}

TEST_F(CurlEndRaceTest, OwnerGetsTheCodeOfAFailure) {
    origin.on("/cut", Reply().body(pattern(1000)).closedAt(Stage::InBody, 400));
    EXPECT_EQ(fetchInARace("/cut"), -26);
    EXPECT_TRUE(engine->IsIdle());
}

TEST_F(CurlThreadsTest, EndInsideOnDownloadBeginDoesNotHang) {
    int result = 0;
    owner.onBegin = [&](UnitObject* unit) { result = engine->EndDownload(unit); };
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(result, -1);
}

TEST_F(CurlThreadsTest, CancelAndPauseInsideOnDownloadBeginTakeEffect) {
    owner.onBegin = [&](UnitObject* unit) { engine->Cancel(unit); };
    EXPECT_EQ(fetchPath("/a"), -12);
    owner.onBegin = [&](UnitObject* unit) { engine->Pause(unit); };
    UnitObject* unit = beginPath("/a");
    EXPECT_TRUE(engine->IsPause(unit));
    engine->Resume(unit);
    EXPECT_EQ(engine->EndDownload(unit), 0);
}

TEST_F(CurlThreadsTest, QuitInsideOnDownloadBeginRefusesTheRequest) {
    owner.onBegin = [&](UnitObject*) { engine->Quit(); };
    EXPECT_EQ(beginPath("/a"), nullptr);
    EXPECT_EQ(lastResult, -1);
    EXPECT_TRUE(engine->IsIdle());
}

TEST_F(CurlThreadsTest, RequestDoesNotWaitForTheSelectOfStalledTransfers) {
    engine->StartLoop();
    beginStalled();
    beginStalled();
    EXPECT_LT(took([&] {
                  for (int i = 0; i < kTurns; ++i)
                      EXPECT_EQ(fetchPath("/a"), 0);
              }),
              kWithoutWaiting);
}

TEST_F(CurlThreadsTest, OwnersOperationsDoNotWaitForTheSelectOfStalledTransfers) {
    engine->StartLoop();
    UnitObject* unit = beginStalled();
    EXPECT_LT(took([&] {
                  for (int i = 0; i < kTurns; ++i) {
                      EXPECT_TRUE(engine->IsDownloading(unit));
                      EXPECT_EQ(engine->Pause(unit), 1);
                      EXPECT_EQ(engine->Resume(unit), 1);
                      EXPECT_FALSE(engine->IsIdle());
                  }
              }),
              kWithoutWaiting);
}

TEST_F(CurlThreadsTest, CancelledUnitsEndWithoutWaitingForTheSelect) {
    engine->StartLoop();
    std::vector<UnitObject*> units;
    for (int i = 0; i < kTurns; ++i)
        units.push_back(beginStalled());
    EXPECT_LT(took([&] {
                  for (UnitObject* unit : units) {
                      engine->Cancel(unit);
                      EXPECT_EQ(engine->EndDownload(unit), -12);
                  }
              }),
              kWithoutWaiting);
}

TEST_F(CurlThreadsTest, QuitDoesNotWaitForSelectOrSleep) {
    Clock::duration spent{};
    for (int i = 0; i < kTurns; ++i) {
        engine->StartLoop();
        UnitObject* unit = beginStalled();
        spent += took([&] { engine->Quit(); });
        engine->EndDownload(unit);
    }
    EXPECT_LT(spent, kWithoutWaiting);
    Curl sleepy(hascommon::CURL_THREAD_PACED, 30000000, test::unusedAppId());
    sleepy.StartLoop();
    std::this_thread::sleep_for(10ms);
    EXPECT_LT(took([&] { sleepy.Quit(); }), 5s);
}

TEST_F(CurlThreadsTest, RequestWakesASleepingLoop) {
    Curl sleepy(hascommon::CURL_THREAD_PACED, 20000000, test::unusedAppId());
    sleepy.Init(&owner, nullptr);
    sleepy.StartLoop();
    std::this_thread::sleep_for(10ms);
    UnitObject* unit = nullptr;
    ASSERT_EQ(sleepy.BeginDownload2(0, origin.url("/a"), "", false, unit, false, nullptr), 0);
    EXPECT_TRUE(origin.waitForRequests("/a", 1));
}

TEST_F(CurlThreadsTest, OwnerGetsTheLockBetweenTwoPassesOfABusyEngine) {
    origin.on("/big", Reply().body(pattern(4000000000ULL)));
    owner.countOnly = true;
    engine->StartLoop();
    std::vector<UnitObject*> units;
    for (int i = 0; i < 4; ++i)
        units.push_back(beginPath("/big"));
    EXPECT_TRUE(eventually([&] { return owner.bytes() > 1000000; }));
    EXPECT_LT(took([&] {
                  for (int i = 0; i < 100; ++i)
                      EXPECT_TRUE(engine->IsDownloading(units[0]));
              }),
              5s);
    engine->Quit();
}

TEST_F(CurlThreadsTest, ResetAndEndRunPassesThemselvesWhereNoLoopRuns) {
    UnitObject* unit = beginPath("/a");
    EXPECT_EQ(engine->EndDownload(unit), 0);
    beginPath("/stall");
    engine->RunOnce();
    EXPECT_LT(took([&] { engine->Reset(); }), 5s);
    EXPECT_TRUE(engine->IsIdle());
}

TEST_F(CurlThreadsTest, SeveralThreadsMayDriveTheEngine) {
    std::atomic<bool> stop{false};
    std::vector<std::thread> drivers;
    for (int i = 0; i < 3; ++i) {
        drivers.emplace_back([&] {
            while (!stop)
                engine->RunOnce();
        });
    }
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(fetchPath("/a"), 0);
        EXPECT_EQ(lastBody, "hello");
    }
    stop = true;
    for (std::thread& driver : drivers)
        driver.join();
}

TEST_F(CurlThreadsTest, OwnerMayEndAUnitWhileItHoldsTheLock) {
    engine->StartLoop();
    UnitObject* unit = beginPath("/a");
    engine->LockMutItem();
    EXPECT_EQ(engine->EndDownload(unit), 0);
    engine->UnlockMutItem();
}

TEST_F(CurlThreadsTest, OwnerMayQuitWhileItHoldsTheLockAndHoldsItAsDeepAfterwards) {
    engine->StartLoop();
    UnitObject* unit = beginStalled();
    engine->LockMutItem();
    engine->LockMutItem();
    engine->Quit();
    std::atomic<bool> taken{false};
    std::thread other([&] {
        engine->LockMutItem();
        taken = true;
        engine->UnlockMutItem();
    });
    engine->UnlockMutItem();
    EXPECT_FALSE(eventually([&] { return taken.load(); }, 50ms));
    engine->UnlockMutItem();
    EXPECT_TRUE(eventually([&] { return taken.load(); }));
    other.join();
    EXPECT_EQ(engine->EndDownload(unit), -12);
}

TEST_F(CurlThreadsTest, OwnerMayQuitUnderTheLockWhileBytesAreRefused) {
    UnitObject* unit = beginRefused();
    engine->LockMutItem();
    engine->Quit();
    engine->UnlockMutItem();
    EXPECT_EQ(engine->EndDownload(unit), -12);
}

TEST_F(CurlThreadsTest, OwnerMayStartAndQuitAgainUnderTheLock) {
    engine->LockMutItem();
    for (int i = 0; i < 3; ++i) {
        engine->StartLoop();
        EXPECT_EQ(fetchPath("/a"), 0);
        engine->Quit();
    }
    engine->UnlockMutItem();
}

TEST_F(CurlThreadsTest, OneOwnerQuitsWhileAnotherStartsUnderTheLock) {
    for (int i = 0; i < 20; ++i) {
        engine->StartLoop();
        std::thread quitter([&] { engine->Quit(); });
        engine->LockMutItem();
        engine->StartLoop();
        engine->UnlockMutItem();
        quitter.join();
    }
}

TEST_F(CurlThreadsTest, StartInsideACallbackGivesWayToAQuitThatWaitsForIt) {
    std::atomic<bool> inside{false};
    std::atomic<bool> quitting{false};
    owner.onData = [&](UnitObject*, const std::string&) {
        inside = true;
        EXPECT_TRUE(eventually([&] { return quitting.load(); }));
        std::this_thread::sleep_for(50ms); // The other thread comes as far as its wait.
        engine->StartLoop();
        return 0;
    };
    engine->StartLoop();
    UnitObject* unit = beginPath("/a");
    EXPECT_TRUE(eventually([&] { return inside.load(); }));
    quitting = true;
    engine->Quit();
    engine->EndDownload(unit);
    EXPECT_TRUE(engine->IsIdle());
    EXPECT_EQ(beginPath("/a"), nullptr); // It has quit.
}

TEST_F(CurlThreadsTest, EngineMayBeDestroyedUnderItsLock) {
    engine->StartLoop();
    beginStalled();
    engine->LockMutItem();
    engine.reset();
}

TEST_F(CurlThreadsTest, SubclassIsDestroyedWhileTransfersEnd) {
    for (int i = 0; i < 20; ++i) {
        hascommon::Curl_HLS curl(hascommon::CURL_THREAD_PACED, 0, test::unusedAppId());
        curl.Init(&owner, nullptr);
        curl.StartLoop();
        UnitObject* unit = nullptr;
        curl.BeginDownload2(0, origin.url("/a"), "", false, unit, false, nullptr);
    }
}

TEST_F(CurlThreadsTest, DownloadsAtFullSpeedWithMoreThan1024OpenFiles) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    std::vector<int> files;
    while (files.empty() || files.back() < FD_SETSIZE + 100) {
        files.push_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
        ASSERT_GE(files.back(), 0);
    }
    // One engine's wake descriptor is low, the other's is high as its sockets are.
    Curl late(hascommon::CURL_THREAD_PACED, 0, test::unusedAppId());
    late.Init(&owner, nullptr);
    origin.on("/slow", Reply().body(pattern(20)).dripped(1, 1ms));
    for (Curl* curl : {engine.get(), &late}) {
        curl->StartLoop();
        const auto time = took([&] {
            UnitObject* unit = nullptr;
            ASSERT_EQ(curl->BeginDownload2(0, origin.url("/slow"), "", false, unit, false, nullptr),
                      0);
            EXPECT_EQ(curl->EndDownload(unit), 0);
            EXPECT_EQ(owner.body(unit), pattern(20).all());
        });
        // Each byte would wait 300 ms if its socket were not watched.
        EXPECT_LT(time, 3s);
    }
    for (const int file : files)
        close(file);
}

} // namespace
