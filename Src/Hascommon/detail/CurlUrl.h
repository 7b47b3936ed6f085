// libcurl's URL handle, owned and in C++ strings.
#pragma once

#include <memory>
#include <string>

#include <curl/curl.h>

namespace hascommon::detail {

class CurlUrl {
public:
    /// @return whether libcurl took `text` for the part; the handle is as before otherwise
    bool set(CURLUPart part, const std::string& text, unsigned int flags = 0);
    bool clear(CURLUPart part);
    /// @return the part, empty where the URL has no such part
    std::string get(CURLUPart part, unsigned int flags = 0) const;

private:
    struct Cleanup {
        void operator()(CURLU* handle) const { curl_url_cleanup(handle); }
    };
    std::unique_ptr<CURLU, Cleanup> m_handle{curl_url()};
};

/// The ASCII form of a host name in UTF-8; empty for a name that has no such form.
std::string asciiHost(const std::string& host);

} // namespace hascommon::detail
