/// @file
/// One libcurl multi handle.
#pragma once

#include <Hascommon/Export.h>
#include <Hasnet/CurlMsg.h>
#include <Hasnet/ICurlEasy.h>

#include <curl/curl.h>
#include <sys/select.h>

namespace hascommon {

/// A multi handle and the result of the last libcurl call made through it.
///
/// Thread safety: as libcurl's multi handles, one thread at a time. A handle stays its caller's
/// when it is added.
class HAS_API ICurlMulti {
public:
    /// Cleans the handle up; no easy handle may be in it any more.
    virtual ~ICurlMulti();

    /// Adds an easy handle. @return whether libcurl said CURLM_OK
    virtual bool AddHandle(ICurlEasy& easy) = 0;
    /// Takes an easy handle off. @return whether libcurl said CURLM_OK
    virtual bool RemoveHandle(ICurlEasy& easy) = 0;
    /// Drives all transfers (`curl_multi_perform`).
    /// @param runningHandles  receives the number of unfinished transfers
    /// @return whether libcurl asks to be called again at once (CURLM_CALL_MULTI_PERFORM): false
    ///         for success and for every error alike, so that a caller may loop on it.
    ///         GetLastError() tells the two apart
    virtual bool Perform(int& runningHandles) = 0;
    /// Asks for the descriptors to wait for. Those of 1024 and above cannot be told and are left
    /// out by libcurl; see Poll().
    /// @return whether libcurl said CURLM_OK
    virtual bool FDSet(fd_set* read, fd_set* write, fd_set* except, int* maxFd) = 0;
    /// Plain `select`; GetLastError() stays as it was.
    /// @return as select: how many descriptors have something, 0 at a time-out, -1 on failure
    virtual int Select(int nfds, fd_set* read, fd_set* write, fd_set* except, timeval* timeout) = 0;
    /// Takes one finished transfer.
    /// @param msgsInQueue  receives the number of messages left
    /// @param msg          filled when the result is 1, else untouched
    /// @return 1 for a finished transfer, 0 for none
    virtual int InfoRead(int& msgsInQueue, CurlMsg& msg) = 0;
    /// The CURLMcode of the last call; 0 before the first.
    virtual int GetLastError() const = 0;
    /// The raw handle; stays this object's.
    virtual CURLM* GetHandle() = 0;
    /// Waits for traffic, for input on one further descriptor, or for libcurl's own timers,
    /// whatever the descriptors' numbers are (`curl_multi_poll`).
    /// @param extraFd    further descriptor to wait for, or -1
    /// @param timeoutMs  the longest wait in milliseconds
    /// @return how many descriptors have something, 0 at a time-out, -1 when libcurl failed
    virtual int Poll(int extraFd, int timeoutMs) = 0;
};

} // namespace hascommon
