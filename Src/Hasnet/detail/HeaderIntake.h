// What the engine takes from response headers.
#pragma once

#include <Hasnet/CHttpCookie.h>
#include <Hasnet/detail/UnitTable.h>

#include <cstddef>

namespace hascommon::detail {

/// Takes a response's lines from libcurl: the server's date, where a redirect leads, cookies; and
/// gives the next hop of a redirect the cookies that are its own.
class HeaderIntake {
public:
    HeaderIntake(ItemLock& lock, UrlInfoTable& urlInfo, CHttpCookie& cookieJar);

    /// libcurl's header function; the user pointer is the unit.
    static std::size_t HeaderCB(char* data, std::size_t size, std::size_t nmemb, void* unit);

private:
    void OnHeaderDownload(UnitObject* unit, const char* line, unsigned int length)
        HAS_REQUIRES(itemLock);
    void OnHeadersEnd(UnitObject* unit) HAS_REQUIRES(itemLock);

    ItemLock& m_lock;
    UrlInfoTable& m_urlInfo;
    CHttpCookie& m_cookieJar;
};

} // namespace hascommon::detail
