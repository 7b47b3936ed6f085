// What a browser refuses to take as a cookie.
#pragma once

#include <Hasnet/detail/CookieList.h>
#include <Hasnet/detail/CookieParser.h>

#include <string_view>

namespace hascommon::detail {

/// As browsers do: enough for the sites of a player, too few to fill a memory with.
constexpr CookieLimits kStrictLimits{180, 3000};

/// Whether a jar with strict rules takes a cookie that a server sent (RFC 6265bis, section 5.7).
///
/// A Domain that is a public suffix, or an address, has to be the host's own and makes the cookie
/// one for that host only.
/// @param host          the host that sent it
/// @param secureOrigin  whether it came over https
/// @param list          the jar, whose secure cookies a plain answer may not hide
bool isAcceptable(ParsedCookie& parsed, std::string_view host, bool secureOrigin,
                  const CookieList& list);

/// Takes from a stored cookie the subdomains of a public suffix or an address, which it may have
/// got while the rules were not strict.
void narrowToHost(Cookie& cookie);

} // namespace hascommon::detail
