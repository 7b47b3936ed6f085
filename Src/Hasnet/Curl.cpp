#include <Hasnet/detail/EngineLog.h>

#include <Hasnet/Curl.h>

#include <Hasnet/detail/Engine.h>
#include <Hasnet/detail/ResultCode.h>
#include <Hasnet/detail/SocketBuffers.h>

#include <utility>

namespace hascommon {

using detail::ItemGuard;

// ---- The engine -------------------------------------------------------------------------------

Curl::Curl(curl_thread_option option, int sleepTime, std::string cookiePath) {
    HAS_LOG("Constructor starts.\n");
    HAS_LOG("curl sleep time  %d\n", sleepTime);
    m_engine = std::make_unique<detail::Engine>(*this, option, sleepTime, std::move(cookiePath));
    detail::writeSocketBuffers();
}

Curl::~Curl() {
    HAS_LOG("Destructor starts.\n");
    Stop();
    m_engine.reset();
    HAS_LOG("End of destructor");
}

void Curl::Init(ICurlCB* cb, IDownloadEvent* ev) {
    m_engine->owner.cb = cb;
    m_engine->owner.ev = ev;
    m_engine->cookieJar.init(m_engine->cookiePath);
}

void Curl::StartLoop() {
    m_engine->thread.Start();
}

bool Curl::Loop(void* engine) {
    return static_cast<Curl*>(engine)->m_engine->thread.Turn();
}

int Curl::RunOnce() {
    return m_engine->pass.Process();
}

void Curl::Quit() {
    HAS_LOG("Quit() starts.");
    m_engine->cookieJar.saveCookieFile();
    Stop();
    HAS_LOG("The end of Curl::Quit().");
}

void Curl::Stop() {
    m_engine->ending.Stop();
}

void Curl::Reset() {
    HAS_LOG(">> Reset");
    m_engine->ending.Reset();
}

// ---- A request --------------------------------------------------------------------------------

int Curl::BeginDownload(unsigned int key, const std::string& url, bool keepInfo, UnitObject*& unit,
                        bool flag, void* userData) {
    HAS_LOG("Curl::BeginDownload() starts.");
    if (key < m_engine->queue.Key()) {
        HAS_LOG("Curl::BeginDownload");
        return 0;
    }
    if (url.empty())
        return RESULT_EMPTY_URL;
    const std::size_t start = url.find("http");
    if (m_engine->queue.Quit() || start == std::string::npos)
        return -1;
    const int result = m_engine->begin.BeginDownloadImpl(
        key, url.substr(start), url.substr(0, start), keepInfo, unit, flag, userData);
    HAS_LOG("The end of BeginDownload().");
    return result;
}

int Curl::BeginDownload2(unsigned int key, const std::string& url, const std::string& range,
                         bool keepInfo, UnitObject*& unit, bool flag, void* userData) {
    HAS_LOG("Curl::BeginDownload2() starts.");
    if (key < m_engine->queue.Key()) {
        HAS_LOG("<< Curl::BeginDownload");
        return 0;
    }
    if (url.empty())
        return RESULT_EMPTY_URL;
    if (m_engine->queue.Quit())
        return -1;
    const int result =
        m_engine->begin.BeginDownloadImpl(key, url, range, keepInfo, unit, flag, userData);
    HAS_LOG("The end of Curl::BeginDownload2()");
    return result;
}

int Curl::BeginDownload3(int infoIndex, UnitObject*& unit, bool flag, void* userData) {
    const unsigned int key = m_engine->queue.Key();
    const detail::UrlInfo info = m_engine->table.urlInfo.Get(infoIndex).value_or(
        detail::UrlInfo{}); // A copy: the entry may change.
    HAS_LOG(">> Curl::BeginDownload3( %s ) ", info.url.c_str());
    if (info.url.empty())
        return RESULT_EMPTY_URL;
    if (m_engine->queue.Quit())
        return -1;
    const int result = m_engine->begin.BeginDownloadImpl(key, info.url, info.range, info.keepInfo,
                                                         unit, flag, userData);
    HAS_LOG("<< Curl::BeginDownload3");
    return result;
}

int Curl::EndDownload(UnitObject*& unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return -1;
    }
    return m_engine->ending.Collect(*unit);
}

int Curl::EndDownload_unlock(UnitObject*& unit) {
    HAS_LOG(">> Curl::EndDownload()");
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return -1;
    }
    return m_engine->ending.Collect(*unit);
}

int Curl::ResultIf(UnitObject* unit, CURLcode curlCode, long httpStatus, int easyIndex) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return -1;
    }
    const ItemGuard lock(m_engine->pass.lock);
    return m_engine->settlement.ResultIf(*unit, curlCode, httpStatus, easyIndex);
}

// ---- Pause, resume and cancel -----------------------------------------------------------------

int Curl::Pause(UnitObject* unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return 0;
    }
    return m_engine->control.Pause(unit);
}

int Curl::Resume(UnitObject* unit) {
    const ItemGuard lock(m_engine->pass.lock);
    return Resume_unlock(unit);
}

int Curl::Resume_unlock(UnitObject* unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return 0;
    }
    const ItemGuard lock(m_engine->pass.lock);
    return m_engine->control.Resume_unlock(unit);
}

int Curl::Cancel(UnitObject* unit) {
    const ItemGuard lock(m_engine->pass.lock);
    return Cancel_unlock(unit);
}

int Curl::Cancel_unlock(UnitObject* unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return 0;
    }
    const ItemGuard lock(m_engine->pass.lock);
    return m_engine->control.Cancel_unlock(unit);
}

} // namespace hascommon
