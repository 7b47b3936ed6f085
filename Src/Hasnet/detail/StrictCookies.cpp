#include <Hasnet/detail/StrictCookies.h>

#include <Hascommon/detail/Ascii.h>
#include <Hasnet/detail/CookieText.h>

#include <algorithm>
#include <string>

#include <arpa/inet.h>
#include <libpsl.h>

namespace hascommon::detail {
namespace {

constexpr std::string_view kSecurePrefix = "__Secure-";
constexpr std::string_view kHostPrefix = "__Host-";

bool isAddress(std::string_view host) {
    if (!host.empty() && host.front() == '[')
        return true;
    in_addr address{};
    return inet_pton(AF_INET, std::string(host).c_str(), &address) == 1;
}

/// Whether anybody may register names below the domain. Without a list every domain counts as one.
bool isPublicSuffix(std::string_view domain) {
    std::string name(domain.substr(0, domain.find_last_not_of('.') + 1));
    std::transform(name.begin(), name.end(), name.begin(), toAsciiLower);
    return name.empty() || psl_is_public_suffix(psl_builtin(), name.c_str()) != 0;
}

bool hasPrefix(const Cookie& cookie, std::string_view prefix) {
    return equalNoCase(std::string_view(cookie.name).substr(0, prefix.size()), prefix);
}

bool keepsPrefixPromise(const ParsedCookie& parsed) {
    const Cookie& cookie = *parsed.cookie;
    if (hasPrefix(cookie, kSecurePrefix))
        return cookie.secure;
    if (hasPrefix(cookie, kHostPrefix))
        return cookie.secure && !cookie.tailmatch && parsed.hasPath &&
               std::string_view(cookie.path) == "/";
    return true;
}

} // namespace

void narrowToHost(Cookie& cookie) {
    if (cookie.tailmatch && (isAddress(cookie.domain) || isPublicSuffix(cookie.domain)))
        cookie.tailmatch = false;
}

bool isAcceptable(ParsedCookie& parsed, std::string_view host, bool secureOrigin,
                  const CookieList& list) {
    Cookie& cookie = *parsed.cookie;
    if (!keepsPrefixPromise(parsed))
        return false;
    if (!secureOrigin && (cookie.secure || list.hasSecureOver(cookie)))
        return false;
    if (cookie.tailmatch && isAddress(host))
        cookie.tailmatch = false;
    narrowToHost(cookie);
    return cookie.tailmatch || equalNoCase(std::string_view(cookie.domain), host);
}

} // namespace hascommon::detail
