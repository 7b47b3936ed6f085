// What an embedder that has none of the library's headers declares itself.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <curl/curl.h>
#include <sys/select.h>

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
    std::uintptr_t room[64]; // More than the library's own class needs.
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

class HybridSegSwitcher : public IBitrateSwitcher {
public:
    HybridSegSwitcher();
    ~HybridSegSwitcher() override;
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
    void SetBufferGoal(unsigned int);
    void SetSegmentDuration(unsigned int);
    void SetNextSizes(const std::vector<unsigned long long>&);
    void SegmentBegun(int, unsigned long long, unsigned int, long long);
    int SegmentProgress(unsigned long long, unsigned int, long long);
    void SegmentDone(unsigned long long, unsigned int, unsigned int, long long);

private:
    std::uintptr_t room[64];
};

} // namespace hascommon
