// Units, slots and the request API.
#include <support/EngineTest.h>
#include <support/LogCapture.h>

#include <gmock/gmock.h>

#include <set>

#include <unistd.h>

namespace {

using hascommon::Curl;
using hascommon::UnitObject;
using test::EngineTest;
using test::eventually;
using test::LogCapture;
using test::pattern;
using test::Reply;
using test::Stage;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class CurlRequestTest : public EngineTest {
protected:
    CurlRequestTest() {
        origin.on("/a", Reply().body("hello"));
        origin.on("/stall", Reply().stalledAt(Stage::BeforeStatus));
    }
};

TEST_F(CurlRequestTest, ConstructionAndDestructionLog) {
    LogCapture log;
    { Curl curl(hascommon::CURL_THREAD_PACED, 5000, test::unusedAppId()); }
    EXPECT_EQ(log.count("Constructor starts.\n"), 1);
    EXPECT_EQ(log.count("curl sleep time  5000\n"), 1);
    EXPECT_EQ(log.count("Destructor starts.\n"), 1);
    EXPECT_EQ(log.count("End of destructor"), 1);
    EXPECT_EQ(log.find("Constructor starts.\n").file, "Curl.cpp");
    EXPECT_EQ(log.find("Constructor starts.\n").function, "Curl");
    EXPECT_EQ(log.find("End of destructor").function, "~Curl");
}

TEST_F(CurlRequestTest, ConstructionTriesToWriteTheSocketBuffers) {
    // The process has no such files and may not make them: eight opens fail, the engine goes on.
    LogCapture log;
    const Curl curl(hascommon::CURL_THREAD_PACED, 0, test::unusedAppId());
    EXPECT_EQ(log.count("fd open failed \n"), 8);
}

TEST_F(CurlRequestTest, DownloadReachesTheOwnerWhole) {
    engine->StartLoop();
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(lastBody, "hello");
    EXPECT_EQ(owner.begun(), 1);
}

TEST_F(CurlRequestTest, BeginTellsTheOwnerOnItsOwnThreadBeforeAnythingIsSent) {
    std::thread::id thread;
    owner.onBegin = [&](UnitObject* unit) {
        thread = std::this_thread::get_id();
        EXPECT_NE(unit, nullptr);
        EXPECT_TRUE(origin.requests().empty());
    };
    engine->StartLoop();
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(CurlRequestTest, StaleKeyStartsNothingAndReturnsZero) {
    engine->Reset();
    EXPECT_EQ(engine->GetRequestKey(), 1U);
    LogCapture log;
    UnitObject* unit = nullptr;
    EXPECT_EQ(engine->BeginDownload(0, origin.url("/a"), false, unit, false, nullptr), 0);
    EXPECT_EQ(engine->BeginDownload2(0, origin.url("/a"), "", false, unit, false, nullptr), 0);
    EXPECT_EQ(unit, nullptr);
    EXPECT_TRUE(engine->IsIdle());
    EXPECT_THAT(log.messages("Curl.cpp"),
                ElementsAre("Curl::BeginDownload() starts.", "Curl::BeginDownload",
                            "Curl::BeginDownload2() starts.", "<< Curl::BeginDownload"));
}

TEST_F(CurlRequestTest, StaleKeyIsToldBeforeTheUrlIsLookedAt) {
    engine->Reset();
    UnitObject* unit = nullptr;
    EXPECT_EQ(engine->BeginDownload2(0, "", "", false, unit, false, nullptr), 0);
}

TEST_F(CurlRequestTest, RepeatByEntryIgnoresKeys) {
    engine->StartLoop();
    EXPECT_EQ(fetchPath("/a"), 0);
    engine->Reset();
    LogCapture log;
    UnitObject* unit = nullptr;
    EXPECT_EQ(engine->BeginDownload3(0, unit, false, nullptr), 0);
    ASSERT_NE(unit, nullptr);
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_TRUE(log.contains(">> Curl::BeginDownload3( " + origin.url("/a") + " ) "));
    EXPECT_TRUE(log.contains("<< Curl::BeginDownload3"));
    EXPECT_EQ(origin.requests("/a").size(), 2U);
}

TEST_F(CurlRequestTest, RepeatKeepsTheRange) {
    engine->StartLoop();
    origin.on("/r", Reply().body("0123456789"));
    EXPECT_EQ(fetch(origin.url("/r"), "2-4"), 0);
    UnitObject* unit = nullptr;
    ASSERT_EQ(engine->BeginDownload3(0, unit, false, nullptr), 0);
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(owner.body(unit), "234");
}

TEST_F(CurlRequestTest, RepeatOfAnEntryThatHoldsNothingIsAnEmptyUrl) {
    UnitObject* unit = nullptr;
    for (const int index : {-1, 0, 19, 39, 40, 1 << 30})
        EXPECT_EQ(engine->BeginDownload3(index, unit, false, nullptr), -13) << index;
}

TEST_F(CurlRequestTest, EmptyUrlIsMinus13) {
    UnitObject* unit = nullptr;
    EXPECT_EQ(engine->BeginDownload(0, "", false, unit, false, nullptr), -13);
    EXPECT_EQ(engine->BeginDownload2(0, "", "", false, unit, false, nullptr), -13);
    EXPECT_EQ(unit, nullptr);
}

TEST_F(CurlRequestTest, EngineThatHasQuitStartsNothing) {
    engine->Quit();
    UnitObject* unit = nullptr;
    EXPECT_EQ(engine->BeginDownload(0, origin.url("/a"), false, unit, false, nullptr), -1);
    EXPECT_EQ(engine->BeginDownload2(0, origin.url("/a"), "", false, unit, false, nullptr), -1);
    EXPECT_EQ(engine->BeginDownload2(0, "", "", false, unit, false, nullptr), -13);
    EXPECT_EQ(unit, nullptr);
}

TEST_F(CurlRequestTest, RangeMayPrecedeTheUrl) {
    origin.on("/r", Reply().body(pattern(100).all()));
    engine->StartLoop();
    UnitObject* unit = nullptr;
    ASSERT_EQ(engine->BeginDownload(0, "12-34" + origin.url("/r"), false, unit, false, nullptr), 0);
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(owner.body(unit), pattern(100).part(12, 23));
    EXPECT_EQ(origin.requests("/r").front().header("Range"), "bytes=12-34");
}

TEST_F(CurlRequestTest, TextWithoutHttpIsMinusOne) {
    UnitObject* unit = nullptr;
    EXPECT_EQ(engine->BeginDownload(0, "12-34ftp://host/a", false, unit, false, nullptr), -1);
    EXPECT_EQ(unit, nullptr);
}

TEST_F(CurlRequestTest, BeginLogsTheUrlHighlightedWithAndWithoutRange) {
    engine->StartLoop();
    LogCapture log;
    EXPECT_EQ(fetch(origin.url("/a"), "0-1"), 0);
    EXPECT_EQ(fetchPath("/a"), 0);
    const std::string url = origin.url("/a");
    const test::LogLine ranged = log.find(
        test::highlighted(" Curl::BeginDownloadImpl() with URL = " + url + ", range=0-1\n "));
    EXPECT_EQ(ranged.priority, 16);
    EXPECT_EQ(ranged.function, "BeginDownloadImpl");
    EXPECT_TRUE(
        log.contains(test::highlighted(" Curl::BeginDownloadImpl() with URL = " + url + "\n ")));
    for (const char* line :
         {"Curl::BeginDownload2() starts.", "Curl::ReqBody() starts.", "!!!!!acceptrange!!!!!\n",
          "<< Curl::ReqBody", "The end of Curl::BeginDownload2()"})
        EXPECT_EQ(log.count(line), 2) << line;
    EXPECT_THAT(log.messages("Curl.cpp"), Contains(HasSubstr("ReqBody updatetime 0x")));
}

TEST_F(CurlRequestTest, BeginDownloadLogsItsStartAndItsEnd) {
    engine->StartLoop();
    LogCapture log;
    UnitObject* unit = nullptr;
    ASSERT_EQ(engine->BeginDownload(0, origin.url("/a"), false, unit, false, nullptr), 0);
    EXPECT_EQ(log.count("Curl::BeginDownload() starts."), 1);
    EXPECT_EQ(log.count("The end of BeginDownload()."), 1);
    engine->EndDownload(unit);
}

TEST_F(CurlRequestTest, TwentyFirstConcurrentRequestIsRefused) {
    std::vector<UnitObject*> units;
    std::set<UnitObject*> distinct;
    for (int i = 0; i < 20; ++i) {
        units.push_back(beginPath("/stall"));
        distinct.insert(units.back());
    }
    EXPECT_EQ(distinct.size(), 20U);
    EXPECT_EQ(distinct.count(nullptr), 0U);
    LogCapture log;
    EXPECT_EQ(beginPath("/stall"), nullptr);
    EXPECT_EQ(lastResult, -1);
    EXPECT_EQ(log.count(" ERROR!! max concurrent download over"), 1);
    engine->Cancel(units[7]);
    EXPECT_EQ(engine->EndDownload(units[7]), -12);
    EXPECT_NE(beginPath("/stall"), nullptr);
}

TEST_F(CurlRequestTest, SlotThatServedAnotherHostIsNotTakenAgain) {
    // Twenty requests to one host bind all slots to it.
    std::vector<UnitObject*> units;
    for (int i = 0; i < 20; ++i)
        units.push_back(beginPath("/a"));
    for (UnitObject* unit : units)
        EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_TRUE(engine->IsIdle());
    EXPECT_EQ(begin(origin.url("/a", "localhost")), nullptr);
    EXPECT_EQ(lastResult, -1);
    EXPECT_NE(beginPath("/a"), nullptr);
}

TEST_F(CurlRequestTest, HostsAfterTheNinthShareTheirSlots) {
    // None of them is reached: the requests are cancelled before a pass runs.
    const auto use = [&](const std::string& host) {
        UnitObject* unit = begin("http://" + host + "/");
        if (unit != nullptr) {
            engine->Cancel(unit);
            engine->EndDownload(unit);
        }
        return unit;
    };
    std::set<UnitObject*> bound;
    for (int i = 1; i <= 9; ++i)
        bound.insert(use("127.0.0." + std::to_string(i)));
    EXPECT_EQ(bound.size(), 9U);
    UnitObject* shared = use("127.0.0.10");
    EXPECT_EQ(bound.count(shared), 0U);
    EXPECT_EQ(use("127.0.0.11"), shared);
    EXPECT_EQ(use("127.0.0.12"), shared);
    EXPECT_NE(use("127.0.0.9"), shared);
}

TEST_F(CurlRequestTest, KeptRequestsUseTheCacheAndOthersTheirSlot) {
    engine->StartLoop();
    Curl::UnitInfo info;
    UnitObject* unit = begin(origin.url("/a"));
    ASSERT_TRUE(engine->GetUnitInfo(unit, info));
    EXPECT_EQ(info.infoIndex, 0);
    engine->EndDownload(unit);
    for (int i = 0; i < 2; ++i) {
        unit = begin(origin.url("/a"), "", true);
        ASSERT_TRUE(engine->GetUnitInfo(unit, info));
        EXPECT_EQ(info.infoIndex, 20);
        engine->EndDownload(unit);
    }
    unit = begin(origin.url("/stall"), "", true);
    ASSERT_TRUE(engine->GetUnitInfo(unit, info));
    EXPECT_EQ(info.infoIndex, 21);
}

TEST_F(CurlRequestTest, UserDataIsReadAndReplaced) {
    int first = 1;
    int second = 2;
    UnitObject* unit = begin(origin.url("/stall"), "", false, &first);
    EXPECT_EQ(engine->GetData(unit), &first);
    EXPECT_EQ(engine->SetData(unit, &second), &first);
    EXPECT_EQ(engine->GetData(unit), &second);
}

TEST_F(CurlRequestTest, PositionAndSizeFollowTheBody) {
    origin.on("/b", Reply().body(pattern(1000)).stalledAt(Stage::InBody, 400));
    engine->StartLoop();
    UnitObject* unit = beginPath("/b");
    EXPECT_TRUE(eventually([&] { return engine->GetPos(unit) == 400; }));
    EXPECT_EQ(engine->GetSize(unit), 1000U);
    EXPECT_TRUE(engine->IsDownloading(unit));
    origin.release("/b");
    EXPECT_TRUE(completes(unit));
    EXPECT_EQ(engine->GetPos(unit), 1000U);
    EXPECT_TRUE(engine->IsDownloading(unit)); // Until it is collected.
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_FALSE(engine->IsDownloading(unit));
}

TEST_F(CurlRequestTest, NullUnitIsLoggedHighlightedByEveryOperation) {
    UnitObject* none = nullptr;
    const std::string message = test::highlighted(" >> hascommon::Unit == NULL ERROR");
    const auto logs = [&](const std::string& function, const std::function<void()>& call) {
        LogCapture log;
        call();
        EXPECT_EQ(log.count(message), 1) << function;
        EXPECT_EQ(log.find(message).priority, 16) << function;
        EXPECT_EQ(log.find(message).function, function);
        EXPECT_EQ(log.find(message).file, "Curl.cpp");
    };
    Curl::UnitInfo info;
    logs("EndDownload", [&] { EXPECT_EQ(engine->EndDownload(none), -1); });
    logs("EndDownload_unlock", [&] { EXPECT_EQ(engine->EndDownload_unlock(none), -1); });
    logs("Pause", [&] { EXPECT_EQ(engine->Pause(none), 0); });
    logs("Resume_unlock", [&] { EXPECT_EQ(engine->Resume(none), 0); });
    logs("Cancel_unlock", [&] { EXPECT_EQ(engine->Cancel(none), 0); });
    logs("IsDownloading", [&] { EXPECT_FALSE(engine->IsDownloading(none)); });
    logs("IsPause", [&] { EXPECT_FALSE(engine->IsPause(none)); });
    logs("GetData", [&] { EXPECT_EQ(engine->GetData(none), nullptr); });
    logs("SetData", [&] { EXPECT_EQ(engine->SetData(none, this), nullptr); });
    logs("GetPos", [&] { EXPECT_EQ(engine->GetPos(none), 0U); });
    logs("GetSize", [&] { EXPECT_EQ(engine->GetSize(none), 0U); });
    logs("ResultIf", [&] { EXPECT_EQ(engine->ResultIf(none, CURLE_OK, 200, -1), -1); });
    logs("GetUnitInfo", [&] { EXPECT_FALSE(engine->GetUnitInfo(none, info)); });
    hascommon::DownloadFailure failure;
    logs("GetFailure", [&] { EXPECT_FALSE(engine->GetFailure(none, failure)); });
}

TEST_F(CurlRequestTest, EndTwiceIsZeroTheSecondTime) {
    engine->StartLoop();
    UnitObject* unit = beginPath("/missing");
    EXPECT_EQ(engine->EndDownload(unit), -23);
    EXPECT_EQ(engine->EndDownload(unit), 0);
}

TEST_F(CurlRequestTest, EndWaitsForTheTransfer) {
    origin.on("/slow", Reply().body("late").delayed(std::chrono::milliseconds(100)));
    engine->StartLoop();
    EXPECT_EQ(fetchPath("/slow"), 0);
    EXPECT_EQ(lastBody, "late");
}

TEST_F(CurlRequestTest, GetCompletedOnAnEmptyQueueIsNullAndTouchesNothing) {
    int code = 77;
    long date = 88;
    EXPECT_EQ(engine->GetCompleted(code, date), nullptr);
    EXPECT_EQ(code, 77);
    EXPECT_EQ(date, 88);
}

TEST_F(CurlRequestTest, GetCompletedTellsCodeAndServerDateOldestFirst) {
    origin.on("/dated", Reply().body("x").header("Date", "Sun, 06 Nov 1994 08:49:37 GMT"));
    UnitObject* first = beginPath("/dated");
    while (engine->RunOnce() == 0) {
    }
    UnitObject* second = beginPath("/a");
    while (engine->RunOnce() == 0) {
    }
    int code = 77;
    long date = 88;
    EXPECT_EQ(engine->GetCompleted(code, date), first);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(date, 784111777);
    EXPECT_EQ(engine->GetCompleted(code, date), second);
    EXPECT_EQ(engine->GetCompleted(code, date), nullptr);
}

TEST_F(CurlRequestTest, CollectedUnitIsNotHandedOutAgain) {
    UnitObject* unit = beginPath("/a");
    while (engine->RunOnce() == 0) {
    }
    EXPECT_EQ(engine->EndDownload(unit), 0);
    int code = 0;
    long date = 0;
    EXPECT_EQ(engine->GetCompleted(code, date), nullptr);
}

TEST_F(CurlRequestTest, ResetFreesEveryUnitAndRaisesTheKey) {
    engine->StartLoop();
    UnitObject* stalled = beginPath("/stall");
    UnitObject* done = beginPath("/a");
    UnitObject* taken = beginPath("/a");
    // Both must have ended before the log is captured, which is for the lines of the reset alone.
    hascommon::DownloadFailure outcome;
    EXPECT_TRUE(eventually([&] { return engine->GetFailure(done, outcome); }));
    EXPECT_TRUE(eventually([&] { return engine->GetFailure(taken, outcome); }));
    int code = 0;
    long date = 0;
    EXPECT_NE(engine->GetCompleted(code, date), nullptr);
    LogCapture log;
    engine->Reset();
    EXPECT_TRUE(engine->IsIdle());
    EXPECT_EQ(engine->GetRequestKey(), 1U);
    EXPECT_EQ(engine->EndDownload(stalled), 0);
    EXPECT_EQ(engine->GetCompleted(code, date), nullptr);
    EXPECT_EQ(log.messages("Curl.cpp").front(), ">> Reset");
    EXPECT_EQ(log.count("<< Reset"), 1);
    EXPECT_EQ(log.count("The end of Curl::Reset"), 1);
    EXPECT_EQ(fetchPath("/a"), 0);
}

TEST_F(CurlRequestTest, ResetOfAnIdleEngineReturnsAtOnce) {
    engine->Reset();
    engine->Reset();
    EXPECT_EQ(engine->GetRequestKey(), 2U);
}

TEST_F(CurlRequestTest, ResetDuringTheBeginOfARequestRefusesIt) {
    owner.onBegin = [&](UnitObject*) { engine->Reset(); };
    EXPECT_EQ(beginPath("/a"), nullptr);
    EXPECT_EQ(lastResult, -1);
    EXPECT_TRUE(engine->IsIdle());
}

/// A reset that falls between the comparison of a request's key and the hand-over of the request.
class CurlLateResetTest : public CurlRequestTest {
protected:
    CurlLateResetTest() {
        m_log.onLine([this](const test::LogLine& line) {
            if (line.message.find("Curl::BeginDownloadImpl() with URL") != std::string::npos &&
                engine->GetRequestKey() == 0)
                engine->Reset();
        });
    }

    void expectRefused(int result, UnitObject* unit) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(unit, nullptr);
        EXPECT_EQ(engine->GetRequestKey(), 1U);
        EXPECT_TRUE(engine->IsIdle());
        EXPECT_EQ(fetchPath("/b"), -23);
        EXPECT_TRUE(origin.requests("/a").empty());
    }

private:
    LogCapture m_log;
};

TEST_F(CurlLateResetTest, KeyThatWasComparedIsTheOneHandedOn) {
    UnitObject* unit = nullptr;
    const int result = engine->BeginDownload(0, origin.url("/a"), false, unit, false, nullptr);
    expectRefused(result, unit);
}

TEST_F(CurlLateResetTest, KeyThatWasComparedIsTheOneHandedOnWithARange) {
    UnitObject* unit = nullptr;
    const int result =
        engine->BeginDownload2(0, origin.url("/a"), "0-1", false, unit, false, nullptr);
    expectRefused(result, unit);
}

TEST_F(CurlLateResetTest, RequestOfALaterKeyIsBegun) {
    UnitObject* unit = nullptr;
    EXPECT_EQ(engine->BeginDownload2(7, origin.url("/a"), "", false, unit, false, nullptr), 0);
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_EQ(owner.body(unit), "hello");
}

TEST_F(CurlRequestTest, UrlThatIsNoneFailsByTheTable) {
    engine->StartLoop();
    EXPECT_EQ(fetch("http://[::1/"), -20); // CURLE_URL_MALFORMAT is "any other", then not retried.
    EXPECT_EQ(fetch("gopher://127.0.0.1/"), -20);
    EXPECT_TRUE(engine->IsIdle());
}

TEST_F(CurlRequestTest, EngineWordIsStoredAndReadBack) {
    unsigned int word = 0xDEADBEEF;
    engine->setEngineInfo(&word);
    unsigned int read = 0;
    engine->getEngineInfo(&read);
    EXPECT_EQ(read, 0xDEADBEEFU);
    engine->setEngineInfo(nullptr);
    engine->getEngineInfo(nullptr);
}

TEST_F(CurlRequestTest, EngineWithoutAnOwnerStillDownloads) {
    Curl bare(hascommon::CURL_THREAD_PACED, 0, test::unusedAppId());
    bare.Init(nullptr, nullptr);
    UnitObject* unit = nullptr;
    ASSERT_EQ(bare.BeginDownload2(0, origin.url("/a"), "", false, unit, false, nullptr), 0);
    EXPECT_EQ(bare.EndDownload(unit), 0);
    EXPECT_EQ(bare.GetPos(unit), 5U);
}

} // namespace
