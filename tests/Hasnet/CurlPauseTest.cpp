// Pause, resume, cancel, quit.
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
using ::testing::Contains;
using ::testing::HasSubstr;

class CurlPauseTest : public EngineTest {
protected:
    /// A running unit whose origin waits in the middle of the body.
    UnitObject* beginHalfway(const std::string& path = "/half") {
        origin.on(path, Reply().body(pattern(200000)).stalledAt(Stage::InBody, 100000));
        UnitObject* unit = beginPath(path);
        EXPECT_TRUE(eventually([&] { return engine->GetPos(unit) == 100000; }));
        return unit;
    }
};

TEST_F(CurlPauseTest, PausedUnitTakesNothingUntilItIsResumed) {
    engine->StartLoop();
    UnitObject* unit = beginHalfway();
    EXPECT_EQ(engine->Pause(unit), 1);
    EXPECT_TRUE(engine->IsPause(unit));
    EXPECT_FALSE(engine->IsDownloading(unit));
    const unsigned long long before = owner.bytes();
    origin.release("/half");
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(owner.bytes(), before);
    EXPECT_EQ(engine->Resume(unit), 1);
    EXPECT_FALSE(engine->IsPause(unit));
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(owner.body(unit), pattern(200000).all());
}

TEST_F(CurlPauseTest, PauseTwiceIsOneBothTimesAndPausesOnce) {
    engine->StartLoop();
    UnitObject* unit = beginHalfway();
    LogCapture log;
    EXPECT_EQ(engine->Pause(unit), 1);
    EXPECT_EQ(engine->Pause(unit), 1);
    EXPECT_EQ(log.count("<< Curl::Pause"), 2);
    int pauses = 0;
    for (const std::string& line : log.messages("Curl.cpp"))
        pauses += line.rfind("curl pause: 0, ", 0) == 0 ? 1 : 0;
    EXPECT_EQ(pauses, 1);
    engine->Cancel(unit);
}

TEST_F(CurlPauseTest, ResumeOfAUnitThatIsNotPausedChangesNothing) {
    engine->StartLoop();
    UnitObject* unit = beginHalfway();
    LogCapture log;
    EXPECT_EQ(engine->Resume(unit), 1);
    EXPECT_EQ(log.count(">> Curl::Resume_unlock"), 1);
    EXPECT_EQ(log.count("<< Curl::Resume_unlock"), 0);
    origin.release("/half");
    EXPECT_EQ(engine->EndDownload(unit), 0);
}

TEST_F(CurlPauseTest, ResumeLogsHowLongItWasPaused) {
    engine->StartLoop();
    UnitObject* unit = beginHalfway();
    EXPECT_EQ(engine->Pause(unit), 1);
    std::this_thread::sleep_for(5ms);
    LogCapture log;
    EXPECT_EQ(engine->Resume(unit), 1);
    EXPECT_EQ(log.count("process paused for 0 seconds"), 1);
    EXPECT_THAT(log.messages("Curl.cpp"), Contains(HasSubstr("curl Resume_unlock: 0, ")));
    EXPECT_THAT(log.messages("Curl.cpp"), Contains(HasSubstr("Resume_unlock, 0x")));
    EXPECT_EQ(log.count("<< Curl::Resume_unlock"), 1);
    origin.release("/half");
    EXPECT_EQ(engine->EndDownload(unit), 0);
}

TEST_F(CurlPauseTest, RequestMayBePausedBeforeItsConnectionStands) {
    origin.on("/a", Reply().body(pattern(100000)));
    UnitObject* unit = beginPath("/a");
    EXPECT_EQ(engine->Pause(unit), 1);
    engine->StartLoop();
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(owner.bytes(), 0U);
    EXPECT_TRUE(engine->IsPause(unit));
    EXPECT_EQ(engine->Resume(unit), 1);
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(owner.body(unit), pattern(100000).all());
}

TEST_F(CurlPauseTest, CompletedUnitCannotBePaused) {
    origin.on("/a", Reply().body("x"));
    UnitObject* unit = beginPath("/a");
    while (engine->RunOnce() == 0) {
    }
    EXPECT_EQ(engine->Pause(unit), 0);
    EXPECT_FALSE(engine->IsPause(unit));
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(engine->Pause(unit), 0);
}

TEST_F(CurlPauseTest, PauseInsideACallbackKeepsEveryByte) {
    origin.on("/a", Reply().body(pattern(500000)));
    std::atomic<int> pauses{0};
    owner.onData = [&](UnitObject* unit, const std::string&) {
        if (pauses < 5) {
            EXPECT_EQ(engine->Pause(unit), 1);
            ++pauses;
        }
        return 0;
    };
    engine->StartLoop();
    UnitObject* unit = beginPath("/a");
    for (int i = 1; i <= 5; ++i) {
        EXPECT_TRUE(eventually([&] { return pauses >= i && engine->IsPause(unit); }));
        engine->Resume(unit);
    }
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(owner.body(unit), pattern(500000).all());
}

TEST_F(CurlPauseTest, PausedCompressedBodyKeepsEveryByte) {
    origin.on("/z", Reply().body(pattern(3000000)).gzip());
    engine->StartLoop();
    UnitObject* unit = beginPath("/z");
    for (int i = 0; i < 50; ++i) {
        engine->Pause(unit);
        std::this_thread::sleep_for(1ms);
        engine->Resume(unit);
    }
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(owner.body(unit), pattern(3000000).all());
}

TEST_F(CurlPauseTest, CallbacksStayOnTheTransferThreadAcrossAResume) {
    origin.on("/z", Reply().body(pattern(1000000)).gzip());
    std::atomic<bool> onOwnerThread{false};
    const auto ownerThread = std::this_thread::get_id();
    owner.onData = [&](UnitObject*, const std::string&) {
        if (std::this_thread::get_id() == ownerThread)
            onOwnerThread = true;
        return 0;
    };
    engine->StartLoop();
    UnitObject* unit = beginPath("/z");
    while (engine->GetPos(unit) < 1000000 && !completes(unit)) {
        engine->Pause(unit);
        engine->Resume(unit);
    }
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_FALSE(onOwnerThread);
}

TEST_F(CurlPauseTest, CancelledUnitCompletesWithMinus12) {
    engine->StartLoop();
    UnitObject* unit = beginHalfway();
    LogCapture log;
    engine->LockMutItem(); // Or the transfer ends, which would clear the first cancel's mark.
    EXPECT_EQ(engine->Cancel(unit), 1);
    EXPECT_EQ(engine->Cancel(unit), 0);
    engine->UnlockMutItem();
    EXPECT_EQ(engine->EndDownload(unit), -12);
    EXPECT_EQ(log.count("<< Curl::Cancel_unlock"), 2);
    EXPECT_EQ(log.count("111"), 1);
    EXPECT_EQ(log.count("errorbuf : Callback aborted"), 1);
}

TEST_F(CurlPauseTest, CancelledUnitIsHandedOutAsCompleted) {
    engine->StartLoop();
    UnitObject* unit = beginHalfway();
    engine->Cancel(unit);
    int code = 0;
    long date = 0;
    EXPECT_TRUE(eventually([&] { return engine->GetCompleted(code, date) == unit; }));
    EXPECT_EQ(code, -12);
}

TEST_F(CurlPauseTest, CancelOfAPausedUnitResumesItFirst) {
    engine->StartLoop();
    UnitObject* unit = beginHalfway();
    engine->Pause(unit);
    LogCapture log;
    EXPECT_EQ(engine->Cancel(unit), 1);
    EXPECT_THAT(log.messages("Curl.cpp"), Contains(HasSubstr("curl Resume_unlock: ")));
    EXPECT_EQ(engine->EndDownload(unit), -12);
}

TEST_F(CurlPauseTest, CancelOfACompletedUnitSetsItsCode) {
    origin.on("/a", Reply().body("x"));
    UnitObject* unit = beginPath("/a");
    while (engine->RunOnce() == 0) {
    }
    EXPECT_EQ(engine->Cancel(unit), 1);
    EXPECT_EQ(engine->Cancel(unit), 0);
    EXPECT_EQ(engine->EndDownload(unit), -12);
    EXPECT_EQ(engine->Cancel(unit), 0);
}

TEST_F(CurlPauseTest, CancelledTransferThatHasCompletedMayBeCancelledOnceMore) {
    engine->StartLoop();
    UnitObject* unit = beginHalfway();
    EXPECT_EQ(engine->Cancel(unit), 1);
    EXPECT_TRUE(completes(unit));
    EXPECT_EQ(engine->Cancel(unit), 1);
    EXPECT_EQ(engine->Cancel(unit), 0);
    EXPECT_EQ(engine->EndDownload(unit), -12);
}

TEST_F(CurlPauseTest, CancelledWhileHeldBytesWaitMayBeCancelledOnceMore) {
    // The engine holds the whole body for the owner.
    origin.on("/a", Reply().body("end"));
    owner.onData = [&](UnitObject* unit, const std::string&) { return engine->Pause(unit); };
    engine->StartLoop();
    UnitObject* unit = beginPath("/a");
    EXPECT_TRUE(eventually([&] { return engine->IsPause(unit); }));
    EXPECT_EQ(engine->Cancel(unit), 1);
    EXPECT_TRUE(completes(unit));
    EXPECT_EQ(engine->Cancel(unit), 1);
    EXPECT_EQ(engine->EndDownload(unit), -12);
    EXPECT_EQ(owner.body(unit), "");
}

TEST_F(CurlPauseTest, OutcomeOfACancelledUnitIsMinus12AndTakesTheCancelBack) {
    origin.on("/a", Reply().body("x"));
    UnitObject* unit = beginPath("/a");
    while (engine->RunOnce() == 0) {
    }
    EXPECT_EQ(engine->Cancel(unit), 1);
    LogCapture log;
    EXPECT_EQ(engine->ResultIf(unit, CURLE_RECV_ERROR, 200, -1), -12);
    EXPECT_THAT(log.messages("Curl.cpp"), Contains(HasSubstr("pause(0), interrupt(1), has(-20)")));
    EXPECT_EQ(engine->ResultIf(unit, CURLE_RECV_ERROR, 200, -1), -20);
    EXPECT_EQ(engine->Cancel(unit), 1);
    EXPECT_EQ(engine->Cancel(unit), 0);
    EXPECT_EQ(engine->EndDownload(unit), -12);
}

TEST_F(CurlPauseTest, CancelBeforeTheFirstPassSendsNothing) {
    origin.on("/a", Reply().body("x"));
    UnitObject* unit = beginPath("/a");
    engine->Cancel(unit);
    EXPECT_EQ(engine->EndDownload(unit), -12);
    EXPECT_TRUE(origin.requests().empty());
}

TEST_F(CurlPauseTest, CancelInsideACallbackStopsTheBody) {
    origin.on("/a", Reply().body(pattern(1000000)));
    owner.onData = [&](UnitObject* unit, const std::string&) {
        EXPECT_EQ(engine->Cancel(unit), 1);
        return 0;
    };
    UnitObject* unit = beginPath("/a");
    EXPECT_EQ(engine->EndDownload(unit), -12);
    EXPECT_EQ(owner.offers(), 1);
}

TEST_F(CurlPauseTest, UnlockFormsWorkUnderTheOwnersLock) {
    engine->StartLoop();
    UnitObject* unit = beginHalfway();
    engine->LockMutItem();
    EXPECT_EQ(engine->Pause(unit), 1);
    EXPECT_EQ(engine->Resume_unlock(unit), 1);
    EXPECT_EQ(engine->Cancel_unlock(unit), 1);
    LogCapture log;
    EXPECT_EQ(engine->EndDownload_unlock(unit), -12);
    EXPECT_EQ(log.count(">> Curl::EndDownload()"), 1);
    engine->UnlockMutItem();
}

TEST_F(CurlPauseTest, QuitEndsEveryUnitWithMinus12) {
    engine->StartLoop();
    UnitObject* running = beginHalfway("/1");
    UnitObject* paused = beginHalfway("/2");
    engine->Pause(paused);
    origin.on("/done", Reply().body("x"));
    UnitObject* done = beginPath("/done");
    EXPECT_TRUE(completes(done));
    LogCapture log;
    engine->Quit();
    EXPECT_EQ(log.count("Quit() starts."), 1);
    EXPECT_EQ(log.count("The end of Curl::Quit()."), 1);
    EXPECT_EQ(engine->EndDownload(running), -12);
    EXPECT_EQ(engine->EndDownload(paused), -12);
    EXPECT_EQ(engine->EndDownload(done), 0);
    EXPECT_TRUE(engine->IsIdle());
}

TEST_F(CurlPauseTest, UnitsEndedByQuitAreHandedOutAsCompleted) {
    engine->StartLoop();
    UnitObject* unit = beginHalfway();
    engine->Quit();
    int code = 0;
    long date = 0;
    EXPECT_EQ(engine->GetCompleted(code, date), unit);
    EXPECT_EQ(code, -12);
}

TEST_F(CurlPauseTest, QuitTwiceAndWithoutALoopWork) {
    engine->Quit();
    engine->Quit();
    EXPECT_EQ(engine->RunOnce(), 0);
}

TEST_F(CurlPauseTest, NoCallbackComesAfterQuit) {
    origin.on("/a", Reply().body(pattern(100000000)));
    engine->StartLoop();
    owner.countOnly = true;
    beginPath("/a");
    EXPECT_TRUE(eventually([&] { return owner.offers() > 0; }));
    engine->Quit();
    const int offers = owner.offers();
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(owner.offers(), offers);
}

TEST_F(CurlPauseTest, QuitEndsARefusal) {
    origin.on("/a", Reply().body("x"));
    owner.onData = [](UnitObject*, const std::string&) { return 1; };
    engine->StartLoop();
    UnitObject* unit = beginPath("/a");
    EXPECT_TRUE(eventually([&] { return owner.offers() > 1; }));
    engine->Quit();
    EXPECT_EQ(engine->EndDownload(unit), -12);
}

TEST_F(CurlPauseTest, LoopMayBeStartedAgainAfterQuit) {
    origin.on("/a", Reply().body("x"));
    for (int i = 0; i < 3; ++i) {
        engine->StartLoop();
        engine->StartLoop();
        EXPECT_EQ(fetchPath("/a"), 0);
        engine->Quit();
    }
}

TEST_F(CurlPauseTest, DestructionWithoutQuitStopsEverything) {
    engine->StartLoop();
    beginHalfway();
    engine.reset();
}

TEST_F(CurlPauseTest, DestructionWithoutALoopReleasesRunningUnits) {
    origin.on("/stall", Reply().stalledAt(Stage::BeforeStatus));
    beginPath("/stall");
    engine->RunOnce();
    engine.reset();
}

} // namespace
