// The operations of the download engine that only keep or tell something.
#include <Hasnet/detail/EngineLog.h>

#include <Hasnet/Curl.h>

#include <Hasnet/detail/ByteCount.h>
#include <Hasnet/detail/Engine.h>

namespace hascommon {

using detail::ItemGuard;
using detail::low32;
using detail::RequestOptions;

void Curl::SetCookie(const std::string& cookie) {
    KeepUserCookie(cookie);
    if (!cookie.empty())
        m_engine->cookieJar.addUsrDefCookie(cookie);
}

void Curl::KeepUserCookie(const std::string& cookie) {
    m_engine->setup.Set(&RequestOptions::userCookie, cookie);
}

bool Curl::AddHeaderLine(const std::string& line) {
    return m_engine->setup.AddHeaderLine(line);
}

bool Curl::SetRequestHeaders(const std::vector<std::string>& lines) {
    return m_engine->setup.SetOwnerLines(lines);
}

void Curl::SetStrictCookies(bool strict) {
    m_engine->cookieJar.SetStrictCookies(strict);
}

void Curl::clearUsrDefCookie() {
    m_engine->cookieJar.delUsrDefCookie();
}

void Curl::SetProxy(const std::string& proxy) {
    m_engine->setup.Set(&RequestOptions::proxy, proxy);
}

void Curl::SetAgent(const std::string& agent) {
    m_engine->setup.Set(&RequestOptions::agent, agent);
}

void Curl::SetVerifyPeer(bool verify) {
    m_engine->setup.Set(&RequestOptions::verifyPeer, verify);
}

void Curl::SetCaFile(const std::string& path) {
    m_engine->setup.Set(&RequestOptions::caFile, path);
}

void Curl::SetConnectLimit(int milliseconds) {
    m_engine->setup.Set(&RequestOptions::connectLimitMs, milliseconds);
}

void Curl::SetConnTimeout(int timeout) {
    m_engine->setup.connTimeout = timeout;
}

void Curl::SetLowSpeedTimeout(int timeout) {
    m_engine->setup.lowSpeedTimeout = timeout;
}

void Curl::getEngineInfo(unsigned int* info) {
    if (info != nullptr)
        *info = m_engine->setup.engineInfo;
}

void Curl::setEngineInfo(unsigned int* info) {
    if (info != nullptr)
        m_engine->setup.engineInfo = *info;
}

void Curl::LockMutItem() HAS_NO_THREAD_SAFETY_ANALYSIS {
    m_engine->pass.lock.Lock();
}

void Curl::UnlockMutItem() HAS_NO_THREAD_SAFETY_ANALYSIS {
    m_engine->pass.lock.Unlock();
}

// ---- Of the engine ----------------------------------------------------------------------------

bool Curl::IsIdle() {
    const ItemGuard lock(m_engine->pass.lock);
    return m_engine->table.AllFree();
}

unsigned int Curl::GetRequestKey() {
    return m_engine->queue.Key();
}

UnitObject* Curl::GetCompleted(int& code, long& date) {
    return WaitCompleted(code, date, 0);
}

UnitObject* Curl::WaitCompleted(int& code, long& date, int timeoutMs) {
    return m_engine->completion.Wait(code, date, timeoutMs);
}

int Curl::CompletionFd() const {
    return m_engine->table.CompletionFd();
}

// ---- Of a unit --------------------------------------------------------------------------------

bool Curl::IsDownloading(UnitObject* unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return false;
    }
    const ItemGuard lock(m_engine->pass.lock);
    return unit->InUse() && !unit->IsPaused();
}

bool Curl::IsPause(UnitObject* unit) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return false;
    }
    const ItemGuard lock(m_engine->pass.lock);
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
    const ItemGuard lock(m_engine->pass.lock);
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

bool Curl::GetResponseHeaders(UnitObject* unit, std::string& lines) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return false;
    }
    const ItemGuard lock(m_engine->pass.lock);
    lines = unit->headerLines;
    return true;
}

bool Curl::GetFailure(UnitObject* unit, DownloadFailure& failure) {
    if (unit == nullptr) {
        HAS_LOG_NO_UNIT();
        return false;
    }
    const ItemGuard lock(m_engine->pass.lock);
    if (!unit->IsCompleted() && !unit->state.Is(detail::UnitState::Ended))
        return false;
    failure = unit->report;
    return true;
}

} // namespace hascommon
