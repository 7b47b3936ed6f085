// Text to cookie records.
#pragma once

#include <Hasnet/detail/CookieRecord.h>

#include <cstdint>
#include <string_view>

namespace hascommon::detail {

/// A cookie from a header.
struct ParsedCookie {
    CookiePtr cookie;     ///< null where the line is no cookie, or not one that this host may set
    bool hasPath = false; ///< the path is the header's own, not made from the request's
};

/// Parses the value of a Set-Cookie header.
/// @param domain  the host of the request, null where there was none
/// @param path    its path, likewise
/// @param now     the jar's time in seconds
ParsedCookie parseCookieHeader(std::string_view line, const char* domain, const char* path,
                               std::int64_t now);

/// Parses a line of a cookie file.
/// @return null for a comment and for a line with too few fields
CookiePtr parseCookieFileLine(std::string_view line);

} // namespace hascommon::detail
