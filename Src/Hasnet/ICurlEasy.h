/// @file
/// One libcurl easy handle.
#pragma once

#include <Hascommon/Export.h>

#include <curl/curl.h>

namespace hascommon {

/// An easy handle and the result of the last libcurl call made through it.
///
/// Thread safety: as libcurl's easy handles, one thread at a time.
///
/// Every operation that returns bool is true exactly when libcurl said CURLE_OK; GetLastError()
/// tells what it said. Nothing throws, nothing is logged.
class HAS_API ICurlEasy {
public:
    /// Cleans the handle up; it must not be in a multi handle any more.
    virtual ~ICurlEasy();

    /// Runs the transfer to its end (`curl_easy_perform`).
    virtual bool Perform() = 0;
    /// Sets all options back to libcurl's defaults; the last error stays.
    virtual void Reset() = 0;
    /// Pauses both directions (CURLPAUSE_ALL).
    virtual bool Pause() = 0;
    /// Ends a pause (CURLPAUSE_CONT). Body that libcurl held back comes to the write function
    /// before the call returns.
    virtual bool Resume() = 0;
    /// Reads an information that libcurl gives as a long.
    virtual bool GetInfoWithLong(CURLINFO info, long* value) = 0;
    /// Reads an information that libcurl gives as a double.
    virtual bool GetInfoWithDouble(CURLINFO info, double* value) = 0;
    /// Sets an option. Numbers are given as a pointer of that value; strings, objects and functions
    /// by their address.
    virtual bool SetOpt(CURLoption option, const void* value) = 0;
    /// Reads an information; `value` points to what receives it, of the type libcurl documents.
    virtual bool GetInfo(CURLINFO info, const void* value) = 0;
    /// The CURLcode of the last call; 0 before the first.
    virtual int GetLastError() const = 0;
    /// The raw handle; stays this object's.
    virtual CURL* GetHandle() = 0;
};

} // namespace hascommon
