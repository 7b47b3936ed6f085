#include <Hasnet/CurlEasy.h>

#include <Hasnet/detail/CurlGlobal.h>

#include <cstdint>

namespace hascommon {

CurlEasy::CurlEasy() {
    detail::ensureCurlGlobal();
    m_handle = curl_easy_init();
}

CurlEasy::~CurlEasy() {
    curl_easy_cleanup(m_handle);
}

bool CurlEasy::keep(CURLcode code) {
    m_lastError = code;
    return code == CURLE_OK;
}

bool CurlEasy::Perform() {
    return keep(curl_easy_perform(m_handle));
}

void CurlEasy::Reset() {
    if (m_handle != nullptr)
        curl_easy_reset(m_handle);
}

bool CurlEasy::Pause() {
    return keep(curl_easy_pause(m_handle, CURLPAUSE_ALL));
}

bool CurlEasy::Resume() {
    return keep(curl_easy_pause(m_handle, CURLPAUSE_CONT));
}

bool CurlEasy::GetInfoWithLong(CURLINFO info, long* value) {
    return keep(curl_easy_getinfo(m_handle, info, value));
}

bool CurlEasy::GetInfoWithDouble(CURLINFO info, double* value) {
    return keep(curl_easy_getinfo(m_handle, info, value));
}

bool CurlEasy::SetOpt(CURLoption option, const void* value) {
    // libcurl reads its variable argument by the option's kind, and a long, a function pointer or
    // an offset need not travel like a data pointer.
    const auto number = reinterpret_cast<std::intptr_t>(value);
    if (option >= CURLOPTTYPE_OFF_T && option < CURLOPTTYPE_BLOB)
        return keep(curl_easy_setopt(m_handle, option, static_cast<curl_off_t>(number)));
    if (option >= CURLOPTTYPE_FUNCTIONPOINT && option < CURLOPTTYPE_OFF_T)
        return keep(curl_easy_setopt(m_handle, option, reinterpret_cast<void (*)()>(number)));
    if (option < CURLOPTTYPE_OBJECTPOINT)
        return keep(curl_easy_setopt(m_handle, option, static_cast<long>(number)));
    return keep(curl_easy_setopt(m_handle, option, value));
}

bool CurlEasy::GetInfo(CURLINFO info, const void* value) {
    return keep(curl_easy_getinfo(m_handle, info, value));
}

int CurlEasy::GetLastError() const {
    return m_lastError;
}

CURL* CurlEasy::GetHandle() {
    return m_handle;
}

} // namespace hascommon
