// An embedder that has none of the library's headers: it declares what it uses itself, and links.
#include <support/FaultOrigin.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <curl/curl.h>
#include <sys/select.h>

#include <gtest/gtest.h>

int has_sleep_ms(unsigned int ms);

namespace hascommon {

class UnitObject;
struct CurlMsg;

long long has_getTime();

class ICurlCB {
public:
    virtual ~ICurlCB();
    virtual void OnDownloadBegin(UnitObject*) = 0;
    virtual int OnDataReceived(UnitObject*, int, unsigned char*, unsigned int) = 0;
    virtual void OnRedirected(UnitObject*, std::string) = 0;
};

class IDownloadEvent {
public:
    virtual ~IDownloadEvent();
    virtual void AddRxTimeInfo(unsigned int, unsigned int, unsigned int) = 0;
    virtual void ResetRxBaseTime(long long) = 0;
};

class ICurl {
public:
    virtual ~ICurl();
    virtual void Init(ICurlCB*, IDownloadEvent*) = 0;
    virtual void StartLoop() = 0;
    virtual void Quit() = 0;
    virtual void Reset() = 0;
    virtual int BeginDownload(unsigned int, const std::string&, bool, UnitObject*&, bool,
                              void*) = 0;
    virtual int BeginDownload2(unsigned int, const std::string&, const std::string&, bool,
                               UnitObject*&, bool, void*) = 0;
    virtual int BeginDownload3(int, UnitObject*&, bool, void*) = 0;
    virtual int EndDownload(UnitObject*&) = 0;
    virtual int Cancel(UnitObject*) = 0;
    virtual int Pause(UnitObject*) = 0;
    virtual int Resume(UnitObject*) = 0;
    virtual bool IsDownloading(UnitObject*) = 0;
    virtual bool IsPause(UnitObject*) = 0;
    virtual int RunOnce() = 0;
    virtual void* GetData(UnitObject*) = 0;
    virtual void* SetData(UnitObject*, void*) = 0;
    virtual bool IsIdle() = 0;
    virtual unsigned int GetRequestKey() = 0;
    virtual unsigned int GetPos(UnitObject*) = 0;
    virtual unsigned int GetSize(UnitObject*) = 0;
    virtual UnitObject* GetCompleted(int&, long&) = 0;
    virtual void SetCookie(const std::string&) = 0;
    virtual void SetProxy(const std::string&) = 0;
    virtual void SetAgent(const std::string&) = 0;
    virtual void SetConnTimeout(int) = 0;
    virtual void SetLowSpeedTimeout(int) = 0;
    virtual void getEngineInfo(unsigned int*) = 0;
    virtual void setEngineInfo(unsigned int*) = 0;
    virtual void LockMutItem() = 0;
    virtual void UnlockMutItem() = 0;
};

enum curl_thread_option { kPlain = 0, kPaced = 1 };

class Curl : public ICurl {
public:
    Curl(curl_thread_option, int, std::string);
    ~Curl() override;
    void Init(ICurlCB*, IDownloadEvent*) override;
    void StartLoop() override;
    void Quit() override;
    void Reset() override;
    int BeginDownload(unsigned int, const std::string&, bool, UnitObject*&, bool, void*) override;
    int BeginDownload2(unsigned int, const std::string&, const std::string&, bool, UnitObject*&,
                       bool, void*) override;
    int BeginDownload3(int, UnitObject*&, bool, void*) override;
    int EndDownload(UnitObject*&) override;
    int Cancel(UnitObject*) override;
    int Pause(UnitObject*) override;
    int Resume(UnitObject*) override;
    bool IsDownloading(UnitObject*) override;
    bool IsPause(UnitObject*) override;
    int RunOnce() override;
    void* GetData(UnitObject*) override;
    void* SetData(UnitObject*, void*) override;
    bool IsIdle() override;
    unsigned int GetRequestKey() override;
    unsigned int GetPos(UnitObject*) override;
    unsigned int GetSize(UnitObject*) override;
    UnitObject* GetCompleted(int&, long&) override;
    void SetCookie(const std::string&) override;
    void SetProxy(const std::string&) override;
    void SetAgent(const std::string&) override;
    void SetConnTimeout(int) override;
    void SetLowSpeedTimeout(int) override;
    void getEngineInfo(unsigned int*) override;
    void setEngineInfo(unsigned int*) override;
    void LockMutItem() override;
    void UnlockMutItem() override;
    virtual int ResultIf(UnitObject*, CURLcode, long, int);

private:
    std::uintptr_t room[64]; // More than the library's own needs.
};

class ICurlEasy {
public:
    virtual ~ICurlEasy();
    virtual bool Perform() = 0;
    virtual void Reset() = 0;
    virtual bool Pause() = 0;
    virtual bool Resume() = 0;
    virtual bool GetInfoWithLong(CURLINFO, long*) = 0;
    virtual bool GetInfoWithDouble(CURLINFO, double*) = 0;
    virtual bool SetOpt(CURLoption, const void*) = 0;
    virtual bool GetInfo(CURLINFO, const void*) = 0;
    virtual int GetLastError() const = 0;
    virtual CURL* GetHandle() = 0;
};

class ICurlMulti {
public:
    virtual ~ICurlMulti();
    virtual bool AddHandle(ICurlEasy&) = 0;
    virtual bool RemoveHandle(ICurlEasy&) = 0;
    virtual bool Perform(int&) = 0;
    virtual bool FDSet(fd_set*, fd_set*, fd_set*, int*) = 0;
    virtual int Select(int, fd_set*, fd_set*, fd_set*, timeval*) = 0;
    virtual int InfoRead(int&, CurlMsg&) = 0;
    virtual int GetLastError() const = 0;
    virtual CURLM* GetHandle() = 0;
};

struct CurlMsg {
    int msg;
    void* privateData;
    int result;
    CURL* easyHandle;
};

class ICurlFactory {
public:
    virtual ~ICurlFactory();
    virtual ICurlEasy* CreateCurlEasy() = 0;
    virtual ICurlMulti* CreateCurlMulti() = 0;
    virtual void ReleaseCurlEasy(ICurlEasy*) = 0;
    virtual void ReleaseCurlMulti(ICurlMulti*) = 0;
};

class CurlEasy;
class CurlMulti;

template<typename Easy, typename Multi>
class ConcreateCurlFactory : public ICurlFactory {
public:
    ICurlEasy* CreateCurlEasy() override;
    ICurlMulti* CreateCurlMulti() override;
    void ReleaseCurlEasy(ICurlEasy*) override;
    void ReleaseCurlMulti(ICurlMulti*) override;
};

extern template class ConcreateCurlFactory<CurlEasy, CurlMulti>;

class IBandwidthChecker {
public:
    virtual ~IBandwidthChecker();
    virtual bool Start() = 0;
    virtual bool Stop() = 0;
    virtual bool IsMonitoring() = 0;
    virtual void OnPolling(long long) = 0;
    virtual void SetMonitorInterval(unsigned int) = 0;
    virtual unsigned int GetMonitorInterval() = 0;
    virtual unsigned int GetCurrentBandwidth() = 0;
    virtual unsigned int GetBeginingBandwidth() = 0;
    virtual unsigned int GetCurrentMinBandwidth() = 0;
    virtual unsigned int GetCurrentAvgBandwidth() = 0;
    virtual unsigned int GetAverageBandwidth() = 0;
    virtual int GetVariationRateBandwidth() = 0;
    virtual unsigned int GetDownloadPerHour() = 0;
};

class BandwidthChecker : public IBandwidthChecker, public IDownloadEvent {
public:
    BandwidthChecker();
    ~BandwidthChecker() override;
    bool Start() override;
    bool Stop() override;
    bool IsMonitoring() override;
    void OnPolling(long long) override;
    void SetMonitorInterval(unsigned int) override;
    unsigned int GetMonitorInterval() override;
    unsigned int GetCurrentBandwidth() override;
    unsigned int GetBeginingBandwidth() override;
    unsigned int GetCurrentMinBandwidth() override;
    unsigned int GetCurrentAvgBandwidth() override;
    unsigned int GetAverageBandwidth() override;
    int GetVariationRateBandwidth() override;
    unsigned int GetDownloadPerHour() override;
    void AddRxTimeInfo(unsigned int, unsigned int, unsigned int) override;
    void ResetRxBaseTime(long long) override;
    void ParseComp();
    void setBwSampleCount(int);

private:
    std::uintptr_t room[512];
};

struct bitrateParam_t {
    std::int32_t bitrate;
    std::int32_t group;
    std::int32_t upgradeClass;
};

enum ENUM_START_BITRATE_LEVEL { kDefaultLevel = 0, kHighLevel = 3 };

class IBitrateSwitcher {
public:
    virtual ~IBitrateSwitcher();
    virtual void Init(IBandwidthChecker*) = 0;
    virtual void ResetData(const std::vector<int>&, bool) = 0;
    virtual void SetSwitchParam(int, int) = 0;
    virtual int ProcessAdaptiveSeg(int, unsigned int) = 0;
    virtual void ProcessAdaptiveSegLevel(unsigned int, unsigned int, bool) = 0;
    virtual int GetSatisfiedStreamIndex(int, int) = 0;
    virtual int GetMatchingStreamIndex(int) = 0;
    virtual void SetEnableSwitch(bool) = 0;
    virtual bool GetEnableSwitch() = 0;
    virtual void SetBitrateLimit(const std::vector<bitrateParam_t>&,
                                 const std::vector<std::pair<int, int>>&) = 0;
    virtual bool HasBitrateLimit() = 0;
    virtual bool CheckBitrateLimit(int) = 0;
    virtual void SetAudioBitrate(int) = 0;
    virtual int GetAudioBitrate() = 0;
    virtual int GetStartBitrate() = 0;
    virtual void SetStartBitrate(int) = 0;
    virtual void SetStartBitrateLevel(ENUM_START_BITRATE_LEVEL) = 0;
    virtual ENUM_START_BITRATE_LEVEL GetStartBitrateLevel() = 0;
};

class AdaptiveSegSwitcher : public IBitrateSwitcher {
public:
    AdaptiveSegSwitcher();
    ~AdaptiveSegSwitcher() override;
    void Init(IBandwidthChecker*) override;
    void ResetData(const std::vector<int>&, bool) override;
    void SetSwitchParam(int, int) override;
    int ProcessAdaptiveSeg(int, unsigned int) override;
    void ProcessAdaptiveSegLevel(unsigned int, unsigned int, bool) override;
    int GetSatisfiedStreamIndex(int, int) override;
    int GetMatchingStreamIndex(int) override;
    void SetEnableSwitch(bool) override;
    bool GetEnableSwitch() override;
    void SetBitrateLimit(const std::vector<bitrateParam_t>&,
                         const std::vector<std::pair<int, int>>&) override;
    bool HasBitrateLimit() override;
    bool CheckBitrateLimit(int) override;
    void SetAudioBitrate(int) override;
    int GetAudioBitrate() override;
    int GetStartBitrate() override;
    void SetStartBitrate(int) override;
    void SetStartBitrateLevel(ENUM_START_BITRATE_LEVEL) override;
    ENUM_START_BITRATE_LEVEL GetStartBitrateLevel() override;
    int GetEstimateBandwidth(int);
    bool GetBitrateParam(int, bitrateParam_t&);
    bool CheckStreamUp(int, int&, unsigned int);
    bool CheckStreamDn(int, int&, unsigned int);
    bool CheckStreamChange(int, int&, unsigned int);

private:
    std::uintptr_t room[128];
};

} // namespace hascommon

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
    EXPECT_FALSE(easy->Pause()); // Nothing runs that could be held.
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

} // namespace
