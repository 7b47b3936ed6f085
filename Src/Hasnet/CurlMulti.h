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
    CurlMulti();
    ~CurlMulti() override;
    CurlMulti(const CurlMulti&) = delete;
    CurlMulti& operator=(const CurlMulti&) = delete;

    bool AddHandle(ICurlEasy& easy) override;
    bool RemoveHandle(ICurlEasy& easy) override;
    bool Perform(int& runningHandles) override;
    bool FDSet(fd_set* read, fd_set* write, fd_set* except, int* maxFd) override;
    int Select(int nfds, fd_set* read, fd_set* write, fd_set* except, timeval* timeout) override;
    int InfoRead(int& msgsInQueue, CurlMsg& msg) override;
    int GetLastError() const override;
    CURLM* GetHandle() override;
    int Poll(int extraFd, int timeoutMs) override;

private:
    bool keep(CURLMcode code);

    CURLM* m_handle;
    int m_lastError = 0;
};

} // namespace hascommon
