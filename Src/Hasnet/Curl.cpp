#include <Hasnet/Curl.h>

#include <Hascommon/Datetime.h>
#include <Hascommon/GURL.h>
#include <Hascommon/Linux/Sleep.h>
#include <Hascommon/StringUtil.h>
#include <Hascommon/detail/Log.h>
#include <Hasnet/detail/CurlState.h>
#include <Hasnet/detail/EasyOptions.h>
#include <Hasnet/detail/HeaderLine.h>
#include <Hasnet/detail/HttpDate.h>
#include <Hasnet/detail/ItemRelease.h>
#include <Hasnet/detail/Low32.h>
#include <Hasnet/detail/Outcome.h>
#include <Hasnet/detail/ResultCode.h>
#include <Hasnet/detail/SocketBuffers.h>
#include <Hasnet/detail/TransferLimits.h>
#include <Hasnet/detail/TransferReport.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace hascommon {

using detail::CurlState;
using detail::low32;
using detail::UnitState;
using ItemGuard = LockGuard<detail::ItemLock>;
using OptionsGuard = LockGuard<Mutex>;

/// Every operation on a unit says so itself when there is none.
#define HAS_LOG_NO_UNIT() HAS_LOG_HIGHLIGHTED(" >> hascommon::Unit == NULL ERROR")

namespace {

/// Chunks that arrive this soon after a resume restart the bandwidth base.
constexpr long long kResumeSettlesMs = 100;
constexpr unsigned int kRefusedWaitMs = 3;
constexpr unsigned int kResetWaitMs = 20;
constexpr unsigned int kRetryPaceMs = 500;

detail::TransferEnd endOf(const UnitObject& unit, CURLcode result, long status,
                          int easyIndex) HAS_NO_THREAD_SAFETY_ANALYSIS {
    detail::TransferEnd end;
    end.result = result;
    end.status = status;
    end.easyIndex = easyIndex;
    end.url = unit.url;
    end.received = unit.received;
    end.total = unit.contentLength;
    end.skipBytes = unit.skipBytes;
    end.retries = unit.retries;
    end.paused = unit.IsPaused();
    end.cancelled = unit.aborted;
    return end;
}

int seconds(long long ms) {
    return static_cast<int>(ms / 1000);
}

void logSocketBuffer(const detail::SocketBufferSetting& setting) {
    const std::string path = detail::socketBufferPath(setting.name);
    std::string content;
    if (detail::readStart(path, content) == detail::FileResult::Done)
        HAS_LOG("%s : %s \n", path.c_str(), content.c_str());
    else
        HAS_LOG("fd open failed \n");
    const detail::FileResult result = detail::writeStart(path, setting.value, setting.bytes);
    if (result == detail::FileResult::OpenFailed)
        HAS_LOG("fd open failed \n");
    if (result == detail::FileResult::WriteFailed)
        HAS_LOG("fd write failed \n");
}

} // namespace

// ---- The engine -------------------------------------------------------------------------------

Curl::Curl(curl_thread_option option, int sleepTime, std::string cookiePath) {
    HAS_LOG("Constructor starts.\n");
    HAS_LOG("curl sleep time  %d\n", sleepTime);
    m_state = std::make_unique<CurlState>(*this, option, sleepTime, std::move(cookiePath));
    for (const detail::SocketBufferSetting& setting : detail::kSocketBufferSettings)
        logSocketBuffer(setting);
}

Curl::~Curl() {
    HAS_LOG("Destructor starts.\n");
    Stop();
    m_state.reset();
    HAS_LOG("End of destructor");
}

void Curl::Init(ICurlCB* cb, IDownloadEvent* ev) {
    m_state->cb = cb;
    m_state->ev = ev;
    m_state->cookieJar.init(m_state->cookiePath);
}

void Curl::Quit() {
    HAS_LOG("Quit() starts.");
    m_state->cookieJar.saveCookieFile();
    Stop();
    HAS_LOG("The end of Curl::Quit().");
}

void Curl::Reset() {
    CurlState& s = *m_state;
    HAS_LOG(">> Reset");
    {
        const ItemGuard lock(s.itemLock);
        s.NextKey();
        for (const auto& unit : s.units) {
            if (!unit->InUse())
                continue;
            unit->resetMark = true;
            Cancel_unlock(unit.get());
        }
        s.resetByPass = s.InPass();
        if (s.resetByPass)
            return;
    }
    while (!DrainReset())
        WaitStep(kResetWaitMs);
    FinishReset();
}

void Curl::FinishReset() {
    HAS_LOG("<< Reset");
    HAS_LOG("The end of Curl::Reset");
}

// ---- Beginning and ending a request -----------------------------------------------------------

int Curl::BeginDownload(unsigned int key, const std::string& url, bool keepInfo, UnitObject*& unit,
                        bool flag, void* userData) {
    HAS_LOG("Curl::BeginDownload() starts.");
    if (key < m_state->requestKey) {
        HAS_LOG("Curl::BeginDownload");
        return 0;
    }
    if (url.empty())
        return detail::kCodeEmptyUrl;
    const std::size_t start = url.find("http");
    if (m_state->quit || start == std::string::npos)
        return -1;
    const int result = BeginDownloadImpl(key, url.substr(start), url.substr(0, start), keepInfo,
                                         unit, flag, userData);
    HAS_LOG("The end of BeginDownload().");
    return result;
}

int Curl::BeginDownload2(unsigned int key, const std::string& url, const std::string& range,
                         bool keepInfo, UnitObject*& unit, bool flag, void* userData) {
    HAS_LOG("Curl::BeginDownload2() starts.");
    if (key < m_state->requestKey) {
        HAS_LOG("<< Curl::BeginDownload");
        return 0;
    }
    if (url.empty())
        return detail::kCodeEmptyUrl;
    if (m_state->quit)
        return -1;
    const int result = BeginDownloadImpl(key, url, range, keepInfo, unit, flag, userData);
    HAS_LOG("The end of Curl::BeginDownload2()");
    return result;
}

int Curl::BeginDownload3(int infoIndex, UnitObject*& unit, bool flag, void* userData) {
    const unsigned int key = m_state->requestKey;
    const detail::UrlInfo info = m_state->urlInfo.Get(infoIndex).value_or(
        detail::UrlInfo{}); // A copy: the entry may change.
    HAS_LOG(">> Curl::BeginDownload3( %s ) ", info.url.c_str());
    if (info.url.empty())
        return detail::kCodeEmptyUrl;
    if (m_state->quit)
        return -1;
    const int result =
        BeginDownloadImpl(key, info.url, info.range, info.keepInfo, unit, flag, userData);
    HAS_LOG("<< Curl::BeginDownload3");
    return result;
}

int Curl::BeginDownloadImpl(unsigned int key, const std::string& url, const std::string& range,
                            bool keepInfo, UnitObject*& unit, bool flag, void* userData) {
    CurlState& s = *m_state;
    if (range.empty())
        HAS_LOG_HIGHLIGHTED(" Curl::BeginDownloadImpl() with URL = %s\n ", url.c_str());
    else
        HAS_LOG_HIGHLIGHTED(" Curl::BeginDownloadImpl() with URL = %s, range=%s\n ", url.c_str(),
                            range.c_str());

    UnitObject* taken = s.TakeSlot(GURL(url).host());
    if (taken == nullptr) {
        HAS_LOG(" ERROR!! max concurrent download over");
        return -1;
    }
    taken->easy.reset();
    try {
        taken->easy = {s.factory.CreateCurlEasy(),
                       [&s](ICurlEasy* easy) { s.factory.ReleaseCurlEasy(easy); }};
    } catch (...) {
        taken->state.Change(UnitState::Free);
        throw;
    }
    const long long now = has_getTime();
    const int index = s.urlInfo.Choose(taken->slot, url, keepInfo);
    s.urlInfo.Fill(index, url, range, keepInfo, now);
    taken->Prepare(url, index, keepInfo, flag, userData, now);
    taken->state.Change(UnitState::Running);

    if (ICurlCB* cb = s.cb)
        cb->OnDownloadBegin(taken);
    if (!ReqBody(taken, key)) {
        GiveBack(taken);
        return -1;
    }
    unit = taken;
    return detail::kCodeOk;
}

bool Curl::ReqBody(UnitObject* unit, unsigned int key) {
    HAS_LOG("Curl::ReqBody() starts.");
    HAS_LOG("!!!!!acceptrange!!!!!\n");
    SetBodyEasyDownloadOPT(unit);
    const bool accepted = m_state->Enqueue(unit, key);
    HAS_LOG("<< Curl::ReqBody");
    return accepted;
}

void Curl::SetBodyEasyDownloadOPT(UnitObject* unit) {
    CurlState& s = *m_state;
    const long long now = has_getTime();
    unit->beginTime = now;
    unit->lastRxTime = now;
    HAS_LOG("ReqBody updatetime %p, %d", static_cast<void*>(unit), seconds(now));

    const detail::RequestOptions options = s.Options();
    if (!options.proxy.empty())
        HAS_LOG("\n SET PROXY ");
    unit->headers = options.headerList;
    unit->sockets = {&s.highSockets, {}};

    detail::EasyRequest request;
    request.options = &options;
    request.info = *s.urlInfo.Get(unit->infoIndex);
    request.info.url = unit->url;
    request.cookie = s.cookieJar.getCookieFromPool(unit->url);
    request.engineInfo = s.engineInfo;
    request.errorBuffer = unit->errorBuffer.data();
    request.unit = unit;
    request.sockets = &unit->sockets;
    detail::setOptions(*unit->easy, request, {EasyDownloadCB, HeaderCB, ProgressCB});
}

int Curl::EndDownload(UnitObject*& unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return -1;
    }
    return Collect(unit);
}

int Curl::EndDownload_unlock(UnitObject*& unit) {
    HAS_LOG(">> Curl::EndDownload()");
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return -1;
    }
    return Collect(unit);
}

// ---- A pass -----------------------------------------------------------------------------------

void Curl::AddBegun(UnitObject* unit) {
    CurlState& s = *m_state;
    s.itemLock.AssertHeld();
    unit->itemLock.AssertHeld();
    CURLcode result = CURLE_ABORTED_BY_CALLBACK;
    if (!unit->IsAborted()) {
        unit->inMulti = s.multi->AddHandle(*unit->easy);
        if (unit->inMulti) {
            ++s.handles;
            return;
        }
        HAS_LOG("curl_multi_add_handle call failed. (code = %d)", s.multi->GetLastError());
        result = CURLE_FAILED_INIT;
    }
    unit->report = detail::reportWithoutTransfer(result);
    ResultIf(unit, result, 0, -1);
    unit->finished = true;
}

int Curl::ReapOne() {
    CurlState& s = *m_state;
    s.itemLock.AssertHeld();
    int left = 0;
    CurlMsg msg{};
    if (s.multi->InfoRead(left, msg) == 0)
        return 0;
    int result = msg.result;
    auto* unit = static_cast<UnitObject*>(msg.privateData);
    if (result == CURLE_ABORTED_BY_CALLBACK)
        HAS_LOG("111");
    if (unit == nullptr)
        return 0;
    unit->itemLock.AssertHeld();
    result = detail::correctedResult(static_cast<CURLcode>(result),
                                     unit->resetMark || unit->IsAborted(), unit->inHeaders);
    if (result != CURLE_OK)
        HAS_LOG("errorbuf : %s", unit->errorBuffer.data());
    long status = 0;
    unit->easy->GetInfoWithLong(CURLINFO_RESPONSE_CODE, &status);
    HAS_LOG("CURLMSG_DONE unit : %p result : %d  http_status : %d", static_cast<void*>(unit),
            result, static_cast<int>(status));
    TakeOff(unit);
    unit->httpStatus = status;
    unit->report = detail::reportOf(*unit->easy, static_cast<CURLcode>(result),
                                    unit->errorBuffer.data(), unit->sockets.peer);
    ResultIf(unit, static_cast<CURLcode>(result), status, -1);
    unit->finished = true;
    return Complete(unit);
}

// ---- Bytes and headers ------------------------------------------------------------------------

size_t Curl::EasyDownloadCB(char* data, size_t size, size_t nmemb, void* pointer) {
    auto* unit = static_cast<UnitObject*>(pointer);
    const size_t length = size * nmemb;
    // libcurl may stay in one pass for as many pieces as the network has ready.
    unit->engine.LetOwnersIn();
    if (!unit->engine.m_state->quit && unit->InUse())
        unit->engine.OnBodyDownload(unit, reinterpret_cast<unsigned char*>(data),
                                    static_cast<unsigned int>(length), -1, -1);
    // Never a write error: a transfer is stopped by ProgressCB alone.
    return length;
}

int Curl::ProgressCB(void* pointer, double, double, double, double) {
    auto* unit = static_cast<UnitObject*>(pointer);
    const bool stop = unit->engine.m_state->quit || !unit->InUse() || unit->IsAborted();
    return stop ? -1 : 0;
}

int Curl::OnBodyDownload(UnitObject* unit, unsigned char* data, unsigned int size, int easyIndex,
                         int part) {
    HAS_LOG("OnBodyDownload() starts.");
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return -1;
    }
    unit->itemLock.AssertHeld();
    ProcessGetInfo(unit, easyIndex);
    if (unit->IsPaused()) {
        unit->received += size;
        KeepForLater(unit, data, size);
        HAS_LOG("Curl::OnBodyDownload - Pause, %d", static_cast<int>(size));
        return static_cast<int>(size);
    }
    CountArrival(unit, size);
    if (unit->IsAborted())
        return -1;
    LoadHeld(unit);
    if (unit->IsAborted())
        return -1;
    const unsigned int fresh = detail::deliverableBytes(size, unit->received, unit->skipBytes);
    if (fresh > 0)
        CallTransfer(unit, unit->code, data + (size - fresh), fresh, part);
    return static_cast<int>(size);
}

void Curl::KeepForLater(UnitObject* unit, const unsigned char* data, unsigned int size) {
    unit->itemLock.AssertHeld();
    // From inside its own callback a handle may be paused at once, and libcurl then brings no more.
    if (!unit->curlPaused) {
        unit->curlPaused = unit->easy->Pause();
        if (!unit->curlPaused)
            HAS_LOG(" ERROR!! curl_easy_pause failed, %d", unit->easy->GetLastError());
    }
    if (!unit->pauseBuffer.empty())
        HAS_LOG(" Error! pause buffer overwrite (%d)", static_cast<int>(unit->pauseBuffer.size()));
    // Behind what is there, not over it: the owner gets every byte.
    unit->pauseBuffer.insert(unit->pauseBuffer.end(), data, data + size);
    HAS_LOG("Pause Buffer Saved size(%d)", static_cast<int>(size));
}

void Curl::CountArrival(UnitObject* unit, unsigned int size) {
    const long long now = has_getTime();
    if (unit->latency == 0)
        unit->latency = now - unit->beginTime;
    const long long previous = unit->lastRxTime.exchange(now);
    unit->received += size;
    IDownloadEvent* ev = m_state->ev;
    if (ev == nullptr)
        return;
    if (now - unit->resumeTime <= kResumeSettlesMs)
        ev->ResetRxBaseTime(now);
    else
        ev->AddRxTimeInfo(low32(previous), low32(now), size);
}

void Curl::LoadHeld(UnitObject* unit) {
    unit->itemLock.AssertHeld();
    if (unit->pauseBuffer.empty() || unit->IsPaused())
        return;
    HAS_LOG("Curl::OnBodyDownload - Pause Buffer Load %d",
            static_cast<int>(unit->pauseBuffer.size()));
    DeliverHeld(unit);
}

void Curl::DeliverHeld(UnitObject* unit) {
    unit->itemLock.AssertHeld();
    if (unit->pauseBuffer.empty() || unit->IsPaused())
        return;
    std::vector<unsigned char> held = std::exchange(unit->pauseBuffer, {});
    CallTransfer(unit, unit->code, held.data(), static_cast<unsigned int>(held.size()), -1);
}

void Curl::CallTransfer(UnitObject* unit, int code, unsigned char* data, unsigned int size, int) {
    CurlState& s = *m_state;
    ICurlCB* cb = s.cb;
    if (cb == nullptr)
        return;
    const ItemGuard lock(s.itemLock);
    unit->itemLock.AssertHeld();
    for (;;) {
        if (s.quit || unit->IsAborted() || unit->code != detail::kCodeOk)
            return;
        if (unit->IsPaused())
            break;
        if (cb->OnDataReceived(unit, code, data, size) == 0)
            return;
        const detail::ItemRelease release(s.itemLock); // So that the owner's thread gets through.
        has_sleep_ms(kRefusedWaitMs);
    }
    if (!unit->pauseBuffer.empty())
        HAS_LOG(" Error!! curl pause buffer overwrite");
    if (!unit->curlPaused && unit->inMulti)
        unit->curlPaused = unit->easy->Pause();
    unit->pauseBuffer.insert(unit->pauseBuffer.end(), data, data + size);
}

size_t Curl::HeaderCB(char* data, size_t size, size_t nmemb, void* pointer) {
    HAS_LOG("Curl::HeaderCB() starts.");
    auto* unit = static_cast<UnitObject*>(pointer);
    const size_t length = size * nmemb;
    unit->engine.OnHeaderDownload(unit, data, static_cast<unsigned int>(length));
    return length;
}

void Curl::OnHeaderDownload(UnitObject* unit, const char* text, unsigned int length) {
    constexpr std::size_t kShortestDate = 16;
    HAS_LOG("OnHeaderDownload() starts.");
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return;
    }
    unit->itemLock.AssertHeld();
    CurlState& s = *m_state;
    const std::string line(text, length);
    if (line.size() >= kShortestDate && has_strncasecmp(line.c_str(), "Date", 4) == 0) {
        const std::int64_t date = detail::readHttpDate(detail::fieldValue(line));
        if (date > 0)
            s.urlInfo.LearnDate(unit->infoIndex, static_cast<long>(date));
    }
    if (detail::hasFieldName(line, "location")) {
        unit->hopLocation =
            detail::absoluteLocation(detail::answeringUrl(*unit->easy), detail::fieldValue(line));
        unit->location = unit->hopLocation;
    }
    if (detail::hasFieldName(line, "set-cookie")) {
        const GURL url(detail::answeringUrl(*unit->easy));
        s.cookieJar.addCookieToPool(detail::fieldValue(line), url.host(), url.path(),
                                    url.SchemeIs("https"));
    }
    if (detail::startsHeaders(line))
        unit->inHeaders = true;
    if (detail::endsHeaders(line))
        OnHeadersEnd(unit);
}

void Curl::OnHeadersEnd(UnitObject* unit) {
    unit->itemLock.AssertHeld();
    unit->inHeaders = false;
    const std::string next = std::exchange(unit->hopLocation, {});
    long status = 0;
    unit->easy->GetInfoWithLong(CURLINFO_RESPONSE_CODE, &status);
    unit->httpStatus = status;
    if (next.empty() || status < 300 || status >= 400)
        return;
    // The next hop gets the cookies that are its own, with those this one has just set.
    const std::string cookie = m_state->cookieJar.getCookieFromPool(next);
    unit->easy->SetOpt(CURLOPT_COOKIE, cookie.empty() ? nullptr : cookie.c_str());
}

void Curl::ProcessGetInfo(UnitObject* unit, int easyIndex) {
    constexpr int kParts = 2;
    if (easyIndex >= kParts) {
        HAS_LOG("[Warning] Error easycurlid 2");
        return;
    }
    double length = 0;
    if (unit->contentLength == 0 &&
        unit->easy->GetInfoWithDouble(CURLINFO_CONTENT_LENGTH_DOWNLOAD, &length) && length > 0) {
        unit->contentLength = detail::toBytes(length);
        HAS_LOG("Unit %p, Content Length = %ld", static_cast<void*>(unit),
                static_cast<long>(unit->contentLength.load()));
    }
    if (!unit->keepInfo || !m_state->urlInfo.WantsFileTime(unit->infoIndex))
        return;
    long fileTime = 0;
    if (unit->easy->GetInfoWithLong(CURLINFO_FILETIME, &fileTime) && fileTime > 0) {
        m_state->urlInfo.LearnFileTime(unit->infoIndex, fileTime);
        HAS_LOG("Unit %p, File Time = %ld", static_cast<void*>(unit), fileTime);
    }
}

// ---- Outcomes ---------------------------------------------------------------------------------

int Curl::ResultIf(UnitObject* unit, CURLcode curlCode, long httpStatus, int easyIndex) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return -1;
    }
    const detail::TransferEnd end = endOf(*unit, curlCode, httpStatus, easyIndex);
    const int code = detail::codeOf(curlCode, httpStatus);
    const std::string text = detail::codeText(code, curlCode);
    if (!text.empty())
        HAS_LOG("%s", text.c_str());
    if (code != detail::kCodeOk)
        unit->code = code;
    if (code < 0) {
        if (code != detail::kCodeCancelled)
            HAS_LOG("%s", detail::failureText(end, code).c_str());
        if (end.cancelled)
            unit->code = detail::kCodeCancelled;
        else
            ApplyRetryRules(unit, detail::outcomeOf(end, code));
    }
    ReportRedirect(unit, httpStatus);
    unit->aborted = false;
    HAS_LOG("--- final unit->code: %d", unit->code.load());
    return unit->code;
}

void Curl::ApplyRetryRules(UnitObject* unit, const detail::Outcome& outcome) {
    unit->itemLock.AssertHeld();
    unit->retries = outcome.retries;
    unit->skipBytes = outcome.skipBytes;
    if (!outcome.text.empty())
        HAS_LOG("%s", outcome.text.c_str());
    if (outcome.paces)
        has_sleep_ms(kRetryPaceMs);
    unit->code = outcome.code;
    HAS_LOG("--- unit->code 3 :%d", unit->code.load());
}

void Curl::ReportRedirect(UnitObject* unit, long httpStatus) {
    constexpr long kStatusOk = 200;
    unit->itemLock.AssertHeld();
    const std::string location = std::exchange(unit->location, {});
    long redirects = 0;
    if (unit->easy)
        unit->easy->GetInfoWithLong(CURLINFO_REDIRECT_COUNT, &redirects);
    unit->redirects = redirects;
    ICurlCB* cb = m_state->cb;
    if (cb != nullptr && !location.empty() && redirects >= 1 && httpStatus == kStatusOk)
        cb->OnRedirected(unit, location);
}

// ---- Pause, resume and cancel -----------------------------------------------------------------

int Curl::Pause(UnitObject* unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return 0;
    }
    if (unit->notPausable)
        return 0;
    CurlState& s = *m_state;
    const ItemGuard lock(s.itemLock);
    unit->itemLock.AssertHeld();
    if (!unit->IsPaused()) {
        HAS_LOG("curl pause: %d, %p", unit->slot, unit->userData.load());
        if (!unit->state.Change(UnitState::Paused))
            return 0;
        const long long now = has_getTime();
        unit->lastRxTime = now;
        s.lastPauseTime = now;
        unit->limitsDue = true;
        s.pausesDue = true;
        if (unit->pauseStart == 0)
            unit->pauseStart = now;
        s.wake.Signal();
    }
    HAS_LOG("<< Curl::Pause");
    return 1;
}

int Curl::Resume(UnitObject* unit) {
    const ItemGuard lock(m_state->itemLock);
    return Resume_unlock(unit);
}

int Curl::Resume_unlock(UnitObject* unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return 0;
    }
    CurlState& s = *m_state;
    s.itemLock.AssertHeld();
    unit->itemLock.AssertHeld();
    HAS_LOG(">> Curl::Resume_unlock");
    if (!unit->IsPaused())
        return 1;
    HAS_LOG("curl Resume_unlock: %d, %p", unit->slot, unit->userData.load());
    const long long now = has_getTime();
    unit->lastRxTime = now;
    unit->resumeTime = now;
    s.lastPauseTime = now;
    s.lastResumeTime = now;
    HAS_LOG("Resume_unlock, %p, %d", static_cast<void*>(unit), seconds(now));
    if (unit->pauseStart < now) {
        unit->pausedTotal += now - unit->pauseStart;
        HAS_LOG("process paused for %d seconds", seconds(unit->pausedTotal));
        unit->pauseStart = 0;
    }
    unit->limitsDue = true;
    s.pausesDue = true;
    unit->state.Change(UnitState::Running);
    s.wake.Signal();
    HAS_LOG("<< Curl::Resume_unlock");
    return 1;
}

int Curl::Cancel(UnitObject* unit) {
    const ItemGuard lock(m_state->itemLock);
    return Cancel_unlock(unit);
}

int Curl::Cancel_unlock(UnitObject* unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return 0;
    }
    HAS_LOG(">> Curl::Cancel_unlock %p", static_cast<void*>(unit));
    Resume_unlock(unit);
    const bool first = unit->InUse() && !unit->aborted.exchange(true);
    if (first) {
        if (unit->IsCompleted())
            unit->code = detail::kCodeCancelled;
        else
            unit->state.Change(UnitState::Aborted);
        m_state->wake.Signal();
    }
    HAS_LOG("<< Curl::Cancel_unlock");
    return first ? 1 : 0;
}

// ---- Queries and settings ---------------------------------------------------------------------

bool Curl::IsDownloading(UnitObject* unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return false;
    }
    const ItemGuard lock(m_state->itemLock);
    return unit->InUse() && !unit->IsPaused();
}

bool Curl::IsPause(UnitObject* unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return false;
    }
    const ItemGuard lock(m_state->itemLock);
    return unit->InUse() && unit->IsPaused();
}

void* Curl::GetData(UnitObject* unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return nullptr;
    }
    return unit->userData.load();
}

void* Curl::SetData(UnitObject* unit, void* userData) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return nullptr;
    }
    return unit->userData.exchange(userData);
}

unsigned int Curl::GetPos(UnitObject* unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return 0;
    }
    return low32(unit->received);
}

unsigned int Curl::GetSize(UnitObject* unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return 0;
    }
    return low32(unit->contentLength);
}

bool Curl::GetUnitInfo(UnitObject* unit, UnitInfo& info) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return false;
    }
    const ItemGuard lock(m_state->itemLock);
    const unsigned long long total = unit->contentLength;
    info.url = unit->url;
    info.httpStatus = unit->httpStatus;
    info.redirects = unit->redirects;
    info.latency = unit->latency;
    info.received = static_cast<long long>(unit->received.load());
    info.contentLength = total == 0 ? -1 : static_cast<long long>(total);
    info.infoIndex = unit->infoIndex;
    return true;
}

bool Curl::GetFailure(UnitObject* unit, DownloadFailure& failure) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return false;
    }
    const ItemGuard lock(m_state->itemLock);
    unit->itemLock.AssertHeld();
    if (!unit->IsCompleted() && !unit->state.Is(UnitState::Ended))
        return false;
    failure = unit->report;
    return true;
}

} // namespace hascommon
