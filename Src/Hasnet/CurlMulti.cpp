#include <Hasnet/CurlMulti.h>

#include <Hasnet/detail/CurlGlobal.h>

namespace hascommon {

CurlMulti::CurlMulti() {
    detail::ensureCurlGlobal();
    m_handle = curl_multi_init();
}

CurlMulti::~CurlMulti() {
    curl_multi_cleanup(m_handle);
}

bool CurlMulti::keep(CURLMcode code) {
    m_lastError = code;
    return code == CURLM_OK;
}

bool CurlMulti::AddHandle(ICurlEasy& easy) {
    return keep(curl_multi_add_handle(m_handle, easy.GetHandle()));
}

bool CurlMulti::RemoveHandle(ICurlEasy& easy) {
    return keep(curl_multi_remove_handle(m_handle, easy.GetHandle()));
}

bool CurlMulti::Perform(int& runningHandles) {
    keep(curl_multi_perform(m_handle, &runningHandles));
    return m_lastError == CURLM_CALL_MULTI_PERFORM;
}

bool CurlMulti::FDSet(fd_set* read, fd_set* write, fd_set* except, int* maxFd) {
    return keep(curl_multi_fdset(m_handle, read, write, except, maxFd));
}

int CurlMulti::Select(int nfds, fd_set* read, fd_set* write, fd_set* except, timeval* timeout) {
    return select(nfds, read, write, except, timeout);
}

int CurlMulti::InfoRead(int& msgsInQueue, CurlMsg& msg) {
    const CURLMsg* message = curl_multi_info_read(m_handle, &msgsInQueue);
    if (message == nullptr || message->msg != CURLMSG_DONE)
        return 0;
    char* privateData = nullptr;
    m_lastError = curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &privateData);
    msg.msg = message->msg;
    msg.privateData = privateData;
    msg.result = message->data.result;
    msg.easyHandle = message->easy_handle;
    return CURLMSG_DONE;
}

int CurlMulti::GetLastError() const {
    return m_lastError;
}

CURLM* CurlMulti::GetHandle() {
    return m_handle;
}

int CurlMulti::Poll(int extraFd, int timeoutMs) {
    curl_waitfd extra{};
    extra.fd = extraFd;
    extra.events = CURL_WAIT_POLLIN;
    int ready = 0;
    const unsigned int extras = extraFd >= 0 ? 1U : 0U;
    return keep(curl_multi_poll(m_handle, &extra, extras, timeoutMs, &ready)) ? ready : -1;
}

} // namespace hascommon
