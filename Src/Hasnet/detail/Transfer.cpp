#include <Hasnet/detail/Transfer.h>

#include <Hasnet/detail/ByteCount.h>

#include <utility>

namespace hascommon::detail {

void Transfer::Renew(ICurlFactory& factory) {
    m_easy.reset();
    m_easy = {factory.CreateCurlEasy(),
              [&factory](ICurlEasy* easy) { factory.ReleaseCurlEasy(easy); }};
}

void Transfer::Clear() HAS_NO_THREAD_SAFETY_ANALYSIS {
    m_inMulti = false;
    m_paused = false;
    errorBuffer.fill('\0');
}

bool Transfer::Join(ICurlMulti& multi) {
    m_inMulti = multi.AddHandle(*m_easy);
    return m_inMulti;
}

bool Transfer::Leave(ICurlMulti& multi) {
    if (!std::exchange(m_inMulti, false))
        return false;
    multi.RemoveHandle(*m_easy);
    return true;
}

bool Transfer::Pause() {
    m_paused = m_easy->Pause();
    return m_paused;
}

bool Transfer::Resume() {
    m_paused = false;
    return m_easy->Resume();
}

long Transfer::Status() {
    long status = 0;
    m_easy->GetInfoWithLong(CURLINFO_RESPONSE_CODE, &status);
    return status;
}

long Transfer::Redirects() {
    long redirects = 0;
    if (m_easy)
        m_easy->GetInfoWithLong(CURLINFO_REDIRECT_COUNT, &redirects);
    return redirects;
}

std::string Transfer::AnsweringUrl() {
    char* url = nullptr;
    m_easy->GetInfo(CURLINFO_EFFECTIVE_URL, &url);
    return url != nullptr ? url : "";
}

unsigned long long Transfer::ContentLength() {
    double length = 0;
    return m_easy->GetInfoWithDouble(CURLINFO_CONTENT_LENGTH_DOWNLOAD, &length) ? toBytes(length)
                                                                                : 0;
}

long Transfer::FileTime() {
    long fileTime = 0;
    return m_easy->GetInfoWithLong(CURLINFO_FILETIME, &fileTime) ? fileTime : 0;
}

void Transfer::SetCookie(const std::string& cookie) {
    m_easy->SetOpt(CURLOPT_COOKIE, cookie.empty() ? nullptr : cookie.c_str());
}

} // namespace hascommon::detail
