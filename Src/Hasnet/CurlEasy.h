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
    CurlEasy();
    ~CurlEasy() override;
    CurlEasy(const CurlEasy&) = delete;
    CurlEasy& operator=(const CurlEasy&) = delete;

    bool Perform() override;
    void Reset() override;
    bool Pause() override;
    bool Resume() override;
    bool GetInfoWithLong(CURLINFO info, long* value) override;
    bool GetInfoWithDouble(CURLINFO info, double* value) override;
    bool SetOpt(CURLoption option, const void* value) override;
    bool GetInfo(CURLINFO info, const void* value) override;
    int GetLastError() const override;
    CURL* GetHandle() override;

private:
    bool keep(CURLcode code);

    CURL* m_handle;
    int m_lastError = 0;
};

} // namespace hascommon
