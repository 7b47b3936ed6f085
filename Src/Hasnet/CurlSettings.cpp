// The operations of the download engine that only keep or tell something.
#include <Hasnet/Curl.h>

#include <Hasnet/detail/CurlState.h>

namespace hascommon {

using detail::CurlState;
using ItemGuard = LockGuard<detail::ItemLock>;
using OptionsGuard = LockGuard<Mutex>;

void Curl::SetCookie(const std::string& cookie) {
    KeepUserCookie(cookie);
    if (!cookie.empty())
        m_state->cookieJar.addUsrDefCookie(cookie);
}

void Curl::KeepUserCookie(const std::string& cookie) {
    const OptionsGuard guard(m_state->optionsMutex);
    m_state->options.userCookie = cookie;
}

bool Curl::AddHeaderLine(const std::string& line) {
    const OptionsGuard guard(m_state->optionsMutex);
    m_state->options.headerList = detail::withLine(m_state->options.headerList, line);
    return m_state->options.headerList != nullptr;
}

void Curl::SetStrictCookies(bool strict) {
    m_state->cookieJar.SetStrictCookies(strict);
}

void Curl::clearUsrDefCookie() {
    m_state->cookieJar.delUsrDefCookie();
}

void Curl::SetProxy(const std::string& proxy) {
    const OptionsGuard guard(m_state->optionsMutex);
    m_state->options.proxy = proxy;
}

void Curl::SetAgent(const std::string& agent) {
    const OptionsGuard guard(m_state->optionsMutex);
    m_state->options.agent = agent;
}

void Curl::SetVerifyPeer(bool verify) {
    const OptionsGuard guard(m_state->optionsMutex);
    m_state->options.verifyPeer = verify;
}

void Curl::SetCaFile(const std::string& path) {
    const OptionsGuard guard(m_state->optionsMutex);
    m_state->options.caFile = path;
}

void Curl::SetConnTimeout(int timeout) {
    m_state->connTimeout = timeout;
}

void Curl::SetLowSpeedTimeout(int timeout) {
    m_state->lowSpeedTimeout = timeout;
}

void Curl::getEngineInfo(unsigned int* info) {
    if (info != nullptr)
        *info = m_state->engineInfo;
}

void Curl::setEngineInfo(unsigned int* info) {
    if (info != nullptr)
        m_state->engineInfo = *info;
}

void Curl::LockMutItem() HAS_NO_THREAD_SAFETY_ANALYSIS {
    m_state->itemLock.Lock();
}

void Curl::UnlockMutItem() HAS_NO_THREAD_SAFETY_ANALYSIS {
    m_state->itemLock.Unlock();
}

bool Curl::IsIdle() {
    const ItemGuard lock(m_state->itemLock);
    return m_state->AllFree();
}

unsigned int Curl::GetRequestKey() {
    return m_state->requestKey;
}

UnitObject* Curl::GetCompleted(int& code, long& date) {
    CurlState& s = *m_state;
    const ItemGuard lock(s.itemLock);
    if (s.completed.empty())
        return nullptr;
    UnitObject* unit = s.completed.front();
    s.completed.pop_front();
    code = unit->code;
    date = s.urlInfo.Date(unit->infoIndex);
    return unit;
}

} // namespace hascommon
