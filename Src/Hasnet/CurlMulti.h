/// @file
/// The multi handle over libcurl.
#pragma once

#include <Hasnet/ICurlMulti.h>

namespace hascommon {

/// ICurlMulti by one libcurl call each; owns its handle.
///
/// As with CurlEasy, a constructed object may hold no handle; the factory never hands one out.
class HAS_API CurlMulti : public ICurlMulti {
public:
    /// `curl_multi_init`, after the one `curl_global_init` of the library.
    CurlMulti();
    /// `curl_multi_cleanup`, whatever the object went through.
    ~CurlMulti() override;
    CurlMulti(const CurlMulti&) = delete;
    CurlMulti& operator=(const CurlMulti&) = delete;

    bool AddHandle(ICurlEasy& easy) override;    ///< `curl_multi_add_handle`
    bool RemoveHandle(ICurlEasy& easy) override; ///< `curl_multi_remove_handle`
    /// `curl_multi_perform`; does not tell success, see ICurlMulti::Perform().
    bool Perform(int& runningHandles) override;
    /// `curl_multi_fdset`.
    bool FDSet(fd_set* read, fd_set* write, fd_set* except, int* maxFd) override;
    /// `select`, which is not libcurl's: GetLastError() tells the call before.
    int Select(int nfds, fd_set* read, fd_set* write, fd_set* except, timeval* timeout) override;
    /// `curl_multi_info_read`, and the easy handle's CURLINFO_PRIVATE.
    int InfoRead(int& msgsInQueue, CurlMsg& msg) override;
    int GetLastError() const override;
    CURLM* GetHandle() override;
    int Poll(int extraFd, int timeoutMs) override; ///< `curl_multi_poll`

private:
    /// Remembers the result of a call; @return whether it is CURLM_OK.
    bool keep(CURLMcode code);

    CURLM* m_handle;
    int m_lastError = 0;
};

} // namespace hascommon
