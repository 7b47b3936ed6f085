/// @file
/// One cookie of a cookie list.
#pragma once

#include <cstdint>

namespace hascommon {

/// One cookie (RFC 6265), a node of a singly linked list.
///
/// Ownership: node and texts are separate blocks of the C heap. Each record of a list owns its
/// texts; the copies that CHttpCookie::getCookieEntryFromList() returns borrow those of the records
/// they were made from. A text is null where the cookie has none.
struct Cookie {
    Cookie* next;         ///< the following cookie, null for the last
    char* name;           ///< never null in a jar
    char* value;          ///< may be empty
    char* path;           ///< as it was given
    char* spath;          ///< the path as requests are matched with it
    char* domain;         ///< without a leading dot
    std::int64_t expires; ///< seconds on the jar's clock; 0 for a session cookie
    char* expirestr;      ///< the Expires attribute as it was given
    bool tailmatch;       ///< whether it goes to subdomains of `domain` as well
    char* version;        ///< the Version attribute as it was given
    char* maxage;         ///< the Max-Age attribute as it was given
    bool secure;          ///< whether it goes over https only
    bool livecookie;      ///< a record that one without this mark does not replace; the library
                          ///< itself sets it nowhere
    bool httponly;        ///< the HttpOnly attribute; kept, but of no effect here
};

} // namespace hascommon
