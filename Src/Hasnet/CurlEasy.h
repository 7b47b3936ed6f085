/// @file
/// The easy handle over libcurl.
#pragma once

#include <Hasnet/ICurlEasy.h>

namespace hascommon {

/// ICurlEasy by one libcurl call each; owns its handle.
///
/// A constructed object may hold no handle when libcurl had none to give: GetHandle() is then null
/// and every operation fails. ConcreateCurlFactory never hands such an object out.
class HAS_API CurlEasy : public ICurlEasy {
public:
    /// `curl_easy_init`, after the one `curl_global_init` of the library.
    CurlEasy();
    /// `curl_easy_cleanup`, whatever the object went through.
    ~CurlEasy() override;
    CurlEasy(const CurlEasy&) = delete;
    CurlEasy& operator=(const CurlEasy&) = delete;

    bool Perform() override; ///< `curl_easy_perform`
    void Reset() override;   ///< `curl_easy_reset`; GetLastError() tells the call before
    bool Pause() override;   ///< `curl_easy_pause`, both directions
    bool Resume() override;  ///< `curl_easy_pause`, neither direction
    bool GetInfoWithLong(CURLINFO info, long* value) override;     ///< `curl_easy_getinfo`
    bool GetInfoWithDouble(CURLINFO info, double* value) override; ///< `curl_easy_getinfo`
    /// `curl_easy_setopt`. libcurl copies texts, but not what other pointers lead to: a list or a
    /// buffer has to outlive the transfer.
    bool SetOpt(CURLoption option, const void* value) override;
    bool GetInfo(CURLINFO info, const void* value) override; ///< `curl_easy_getinfo`
    int GetLastError() const override;
    CURL* GetHandle() override;

private:
    /// Remembers the result of a call; @return whether it is CURLE_OK.
    bool keep(CURLcode code);

    CURL* m_handle;
    int m_lastError = 0;
};

} // namespace hascommon
