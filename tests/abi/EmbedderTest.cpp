// An embedder that has none of the library's headers: it declares what it uses itself, and links.
#include "EmbedderView.h"
#include <support/FaultOrigin.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <curl/curl.h>
#include <sys/select.h>

#include <gtest/gtest.h>

namespace {

using namespace hascommon;

/// Hides what an object really is, so that calls go through its table.
template<typename Interface>
Interface& seenAs(Interface& object) {
    Interface* volatile pointer = &object;
    return *pointer;
}

struct Owner : ICurlCB {
    void OnDownloadBegin(UnitObject* unit) override { begun = unit; }
    int OnDataReceived(UnitObject* unit, int, unsigned char* data, unsigned int size) override {
        EXPECT_EQ(unit, begun);
        body.append(reinterpret_cast<char*>(data), size);
        return 0;
    }
    void OnRedirected(UnitObject*, std::string target) override { location = std::move(target); }

    UnitObject* begun = nullptr;
    std::string body;
    std::string location;
};

struct Observer : IDownloadEvent {
    void AddRxTimeInfo(unsigned int start, unsigned int end, unsigned int size) override {
        EXPECT_LE(start, end);
        bytes += size;
    }
    void ResetRxBaseTime(long long base) override { baseTime = base; }

    unsigned int bytes = 0;
    long long baseTime = 0;
};

class EmbedderTest : public ::testing::Test {
protected:
    EmbedderTest() {
        origin.on("/a", test::Reply().body("hello").lastModified(1700000000));
        origin.on("/r", test::Reply().redirect("/a"));
        engine.Init(&owner, &observer);
    }

    test::FaultOrigin origin;
    Owner owner;
    Observer observer;
    Curl object{kPaced, 1000, "no-such-embedder"};
    ICurl& engine = seenAs<ICurl>(object);
    UnitObject* unit = nullptr;
};

TEST_F(EmbedderTest, BeginsAndEndsARequestOnTheTransferThread) {
    engine.StartLoop();
    ASSERT_EQ(engine.BeginDownload(0, "1-3" + origin.url("/a"), false, unit, true, this), 0);
    EXPECT_EQ(unit, owner.begun);
    EXPECT_EQ(engine.EndDownload(unit), 0);
    EXPECT_EQ(owner.body, "ell");
    engine.Quit();
    EXPECT_EQ(engine.BeginDownload2(0, origin.url("/a"), "", false, unit, false, this), -1);
}

TEST_F(EmbedderTest, DrivesTheEngineItselfAndReadsAUnit) {
    int other = 0;
    ASSERT_EQ(engine.BeginDownload2(0, origin.url("/r"), "0-2", true, unit, false, this), 0);
    EXPECT_FALSE(engine.IsIdle());
    EXPECT_EQ(engine.Pause(unit), 1);
    EXPECT_TRUE(engine.IsPause(unit));
    EXPECT_FALSE(engine.IsDownloading(unit));
    EXPECT_EQ(engine.Resume(unit), 1);
    EXPECT_FALSE(engine.IsPause(unit));
    EXPECT_TRUE(engine.IsDownloading(unit));
    while (engine.RunOnce() == 0) {
    }
    EXPECT_EQ(engine.GetPos(unit), 3U);
    EXPECT_EQ(engine.GetSize(unit), 3U);
    EXPECT_EQ(engine.GetData(unit), this);
    EXPECT_EQ(engine.SetData(unit, &other), this);
    EXPECT_EQ(engine.GetData(unit), &other);
    int code = -1;
    long date = -1;
    EXPECT_EQ(engine.GetCompleted(code, date), unit);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(engine.EndDownload(unit), 0);
    EXPECT_EQ(owner.body, "hel");
    EXPECT_TRUE(engine.IsIdle());
}

TEST_F(EmbedderTest, IsToldOfRedirectsAndArrivalTimes) {
    ASSERT_EQ(engine.BeginDownload2(0, origin.url("/r"), "", false, unit, false, nullptr), 0);
    EXPECT_EQ(engine.EndDownload(unit), 0);
    EXPECT_EQ(owner.location, origin.url("/a"));
    EXPECT_EQ(observer.bytes, 5U);
    ASSERT_EQ(engine.BeginDownload3(0, unit, false, nullptr), 0);
    engine.Pause(unit);
    engine.Resume(unit);
    EXPECT_EQ(engine.EndDownload(unit), 0);
    EXPECT_EQ(observer.bytes == 5U, observer.baseTime != 0);
}

TEST_F(EmbedderTest, CancelsAndResets) {
    ASSERT_EQ(engine.BeginDownload2(0, origin.url("/a"), "", false, unit, false, nullptr), 0);
    EXPECT_EQ(engine.Cancel(unit), 1);
    EXPECT_EQ(engine.EndDownload(unit), -12);
    EXPECT_EQ(engine.GetRequestKey(), 0U);
    engine.Reset();
    EXPECT_EQ(engine.GetRequestKey(), 1U);
}

TEST_F(EmbedderTest, SetsWhatLaterRequestsCarry) {
    engine.SetAgent("embedder/1");
    engine.SetCookie("a=b; domain=127.0.0.1; path=/");
    engine.SetConnTimeout(3);
    engine.SetLowSpeedTimeout(3);
    engine.LockMutItem();
    ASSERT_EQ(engine.BeginDownload2(0, origin.url("/a"), "", false, unit, false, nullptr), 0);
    EXPECT_EQ(engine.EndDownload(unit), 0);
    engine.UnlockMutItem();
    EXPECT_EQ(origin.requests("/a").at(0).header("User-Agent"), "embedder/1");
    unsigned int info = 7;
    engine.setEngineInfo(&info);
    info = 0;
    engine.getEngineInfo(&info);
    EXPECT_EQ(info, 7U);
    engine.SetProxy("http://127.0.0.1:1");
    ASSERT_EQ(engine.BeginDownload2(0, origin.url("/a"), "", false, unit, false, nullptr), 0);
    EXPECT_NE(engine.EndDownload(unit), 0);
    EXPECT_EQ(origin.requests("/a").size(), 1U);
}

TEST_F(EmbedderTest, ReplacesTheOutcomeOfATransfer) {
    struct Engine : Curl {
        using Curl::Curl;
        ~Engine() override { Quit(); }
        int ResultIf(UnitObject* which, CURLcode code, long status, int easy) override {
            seen = status;
            return Curl::ResultIf(which, code, status, easy);
        }
        std::atomic<long> seen{0};
    };
    Engine mine(kPlain, 1000, "no-such-embedder");
    mine.Init(&owner, nullptr);
    ASSERT_EQ(mine.BeginDownload2(0, origin.url("/a"), "", false, unit, false, nullptr), 0);
    EXPECT_EQ(mine.EndDownload(unit), 0);
    EXPECT_EQ(mine.seen, 200);
}

size_t keepBody(char* data, size_t size, size_t count, void* body) {
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

TEST_F(EmbedderTest, UsesHandlesOfItsOwnThroughTheFactory) {
    ConcreateCurlFactory<CurlEasy, CurlMulti> concrete;
    ICurlFactory& factory = seenAs<ICurlFactory>(concrete);
    ICurlEasy* easy = &seenAs(*factory.CreateCurlEasy());
    std::string body;
    const std::string url = origin.url("/a");
    EXPECT_TRUE(easy->SetOpt(CURLOPT_URL, url.c_str()));
    EXPECT_TRUE(easy->SetOpt(CURLOPT_WRITEFUNCTION, reinterpret_cast<const void*>(keepBody)));
    EXPECT_TRUE(easy->SetOpt(CURLOPT_WRITEDATA, &body));
    EXPECT_TRUE(easy->Perform());
    EXPECT_EQ(body, "hello");
    long status = 0;
    EXPECT_TRUE(easy->GetInfoWithLong(CURLINFO_RESPONSE_CODE, &status));
    EXPECT_EQ(status, 200);
    double seconds = -1;
    EXPECT_TRUE(easy->GetInfoWithDouble(CURLINFO_TOTAL_TIME, &seconds));
    EXPECT_GE(seconds, 0);
    const char* effective = nullptr;
    EXPECT_TRUE(easy->GetInfo(CURLINFO_EFFECTIVE_URL, &effective));
    EXPECT_EQ(effective, url);
    EXPECT_EQ(easy->GetLastError(), 0);
    EXPECT_NE(easy->GetHandle(), nullptr);
    easy->Reset();
    EXPECT_FALSE(easy->Perform());
    EXPECT_EQ(easy->GetLastError(), CURLE_URL_MALFORMAT);
    EXPECT_FALSE(easy->Pause()); // No transfer runs that could be paused.
    EXPECT_FALSE(easy->Resume());
    factory.ReleaseCurlEasy(easy);
}

TEST_F(EmbedderTest, DrivesAMultiHandleOfItsOwn) {
    ConcreateCurlFactory<CurlEasy, CurlMulti> concrete;
    ICurlFactory& factory = seenAs<ICurlFactory>(concrete);
    ICurlEasy* easy = &seenAs(*factory.CreateCurlEasy());
    ICurlMulti* multi = &seenAs(*factory.CreateCurlMulti());
    std::string body;
    const std::string url = origin.url("/a");
    easy->SetOpt(CURLOPT_URL, url.c_str());
    easy->SetOpt(CURLOPT_WRITEFUNCTION, reinterpret_cast<const void*>(keepBody));
    easy->SetOpt(CURLOPT_WRITEDATA, &body);
    easy->SetOpt(CURLOPT_PRIVATE, this);
    EXPECT_TRUE(multi->AddHandle(*easy));
    CurlMsg msg{};
    for (int running = 1, left = 0; multi->InfoRead(left, msg) == 0;) {
        EXPECT_FALSE(multi->Perform(running));
        fd_set sets[3];
        for (fd_set& set : sets)
            FD_ZERO(&set);
        int last = -1;
        EXPECT_TRUE(multi->FDSet(&sets[0], &sets[1], &sets[2], &last));
        timeval shortly{0, 1000};
        EXPECT_GE(multi->Select(last + 1, &sets[0], &sets[1], &sets[2], &shortly), 0);
    }
    EXPECT_EQ(msg.msg, CURLMSG_DONE);
    EXPECT_EQ(msg.privateData, this);
    EXPECT_EQ(msg.result, 0);
    EXPECT_EQ(msg.easyHandle, easy->GetHandle());
    EXPECT_EQ(body, "hello");
    EXPECT_EQ(multi->GetLastError(), 0);
    EXPECT_NE(multi->GetHandle(), nullptr);
    EXPECT_TRUE(multi->RemoveHandle(*easy));
    factory.ReleaseCurlEasy(easy);
    factory.ReleaseCurlMulti(multi);
}

class EmbeddedCheckerTest : public ::testing::Test {
protected:
    /// One chunk of 100 kB in 100 ms, and the poll that makes a sample of it.
    void feed(long long now) {
        event.AddRxTimeInfo(static_cast<unsigned int>(now - 100), static_cast<unsigned int>(now),
                            100000);
        checker.OnPolling(now);
    }

    BandwidthChecker object;
    IBandwidthChecker& checker = seenAs<IBandwidthChecker>(object);
    IDownloadEvent& event = seenAs<IDownloadEvent>(object);
};

TEST_F(EmbeddedCheckerTest, MeasuresThroughBothOfItsInterfaces) {
    EXPECT_EQ(checker.GetMonitorInterval(), 250U);
    checker.SetMonitorInterval(100);
    EXPECT_EQ(checker.GetMonitorInterval(), 100U);
    object.setBwSampleCount(2);
    object.ParseComp();
    EXPECT_FALSE(checker.IsMonitoring());
    EXPECT_TRUE(checker.Start());
    EXPECT_TRUE(checker.IsMonitoring());
    const long long start = has_getTime() + 1000;
    event.ResetRxBaseTime(start);
    feed(start + 1000);
    EXPECT_GT(checker.GetBeginingBandwidth(), 0U);
    EXPECT_EQ(checker.GetCurrentBandwidth(), 0U);
    feed(start + 2000);
    feed(start + 3000);
    EXPECT_GE(checker.GetCurrentBandwidth(), checker.GetCurrentAvgBandwidth());
    EXPECT_GE(checker.GetCurrentAvgBandwidth(), checker.GetCurrentMinBandwidth());
    EXPECT_GT(checker.GetCurrentMinBandwidth(), 0U);
    EXPECT_EQ(checker.GetDownloadPerHour(), checker.GetCurrentBandwidth() * 450U);
    EXPECT_EQ(checker.GetVariationRateBandwidth(), 0);
    has_sleep_ms(2);
    EXPECT_GT(checker.GetAverageBandwidth(), 0U);
    EXPECT_TRUE(checker.Stop());
    EXPECT_FALSE(checker.IsMonitoring());
}

struct FixedChecker : IBandwidthChecker {
    bool Start() override { return false; }
    bool Stop() override { return false; }
    bool IsMonitoring() override { return false; }
    void OnPolling(long long) override {}
    void SetMonitorInterval(unsigned int) override {}
    unsigned int GetMonitorInterval() override { return 0; }
    unsigned int GetCurrentBandwidth() override { return 1; }
    unsigned int GetBeginingBandwidth() override { return 2; }
    unsigned int GetCurrentMinBandwidth() override { return 3; }
    unsigned int GetCurrentAvgBandwidth() override { return 5000000; }
    unsigned int GetAverageBandwidth() override { return 4; }
    int GetVariationRateBandwidth() override { return 5; }
    unsigned int GetDownloadPerHour() override { return 6; }
};

TEST(EmbeddedSwitcherTest, ChoosesByTheEmbeddersOwnEstimate) {
    FixedChecker checker;
    AdaptiveSegSwitcher object;
    IBitrateSwitcher& switcher = seenAs<IBitrateSwitcher>(object);
    switcher.Init(&checker);
    switcher.ResetData({400000, 500000, 800000}, true);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 10000), 1);
    EXPECT_EQ(switcher.GetSatisfiedStreamIndex(5000000, 1), 2);
    EXPECT_EQ(switcher.GetMatchingStreamIndex(800000), 2);
    EXPECT_TRUE(switcher.GetEnableSwitch());
    switcher.SetEnableSwitch(false);
    EXPECT_FALSE(switcher.GetEnableSwitch());
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 10000), -1);
}

TEST(EmbeddedSwitcherTest, KeepsItsSettings) {
    AdaptiveSegSwitcher object;
    IBitrateSwitcher& switcher = seenAs<IBitrateSwitcher>(object);
    switcher.Init(nullptr);
    switcher.SetSwitchParam(10, 100);
    switcher.SetAudioBitrate(64000);
    EXPECT_EQ(switcher.GetAudioBitrate(), 64000);
    EXPECT_EQ(object.GetEstimateBandwidth(400000), 100000 + 500000 + 64000);
    switcher.SetStartBitrate(3);
    EXPECT_EQ(switcher.GetStartBitrate(), 3);
    switcher.SetStartBitrateLevel(kHighLevel);
    EXPECT_EQ(switcher.GetStartBitrateLevel(), kHighLevel);
    EXPECT_FALSE(switcher.HasBitrateLimit());
    switcher.SetBitrateLimit({{400000, 1, 2}}, {{1, 9}});
    EXPECT_TRUE(switcher.HasBitrateLimit());
    EXPECT_TRUE(switcher.CheckBitrateLimit(9));
    EXPECT_FALSE(switcher.CheckBitrateLimit(10));
    bitrateParam_t entry{};
    EXPECT_TRUE(object.GetBitrateParam(400000, entry));
    EXPECT_EQ(entry.upgradeClass, 2);
    switcher.ResetData({400000, 500000}, false);
    switcher.ProcessAdaptiveSegLevel(1, 9000, false);
    int target = 1;
    EXPECT_TRUE(object.CheckStreamUp(0, target, 9000));
    EXPECT_TRUE(object.CheckStreamChange(0, target, 9000));
    target = 0;
    EXPECT_TRUE(object.CheckStreamDn(1, target, 1000));
}

TEST(EmbeddedSwitcherTest, GivesTransfersUp) {
    HybridSegSwitcher object;
    IBitrateSwitcher& switcher = seenAs<IBitrateSwitcher>(object);
    switcher.Init(nullptr);
    switcher.ResetData({300000, 3000000}, false);
    object.SetBufferGoal(25000);
    object.SetSegmentDuration(4000);
    object.SetNextSizes({150000, 1500000});
    object.SegmentBegun(0, 150000, 20000, 1000);
    object.SegmentDone(150000, 20, 23000, 1060);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 23000), 1);
    object.SegmentBegun(1, 1500000, 7000, 2000);
    EXPECT_EQ(object.SegmentProgress(300000, 5000, 4000), 0);
}

} // namespace
