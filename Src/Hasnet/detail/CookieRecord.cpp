#include <Hasnet/detail/CookieRecord.h>

#include <Hasnet/detail/CookieText.h>

#include <cstdlib>
#include <cstring>

namespace hascommon::detail {
namespace {

size_t lengthOf(const char* text) {
    return text == nullptr ? 0 : strlen(text);
}

} // namespace

void CookieFree::operator()(Cookie* cookie) const {
    for (char* text : {cookie->name, cookie->value, cookie->path, cookie->spath, cookie->domain,
                       cookie->expirestr, cookie->version, cookie->maxage})
        free(text);
    free(cookie);
}

CookiePtr makeCookie() {
    return CookiePtr(static_cast<Cookie*>(calloc(1, sizeof(Cookie))));
}

bool store(char*& field, std::string_view text) {
    // An empty view may have no data at all.
    char* const copy = text.empty() ? strdup("") : strndup(text.data(), text.size());
    if (copy == nullptr)
        return false;
    free(field);
    field = copy;
    return true;
}

bool isSameCookie(const Cookie& a, const Cookie& b) {
    return equalNoCase(a.name, b.name) && equalNoCase(a.domain, b.domain) &&
           equalNoCase(a.spath, b.spath);
}

bool mayReplace(const Cookie& old, const Cookie& fresh) {
    return fresh.livecookie || !old.livecookie;
}

int compareForSending(const Cookie& a, const Cookie& b) {
    const size_t pathA = lengthOf(a.path);
    const size_t pathB = lengthOf(b.path);
    if (pathA != pathB)
        return pathA > pathB ? -1 : 1;
    const size_t domainA = lengthOf(a.domain);
    const size_t domainB = lengthOf(b.domain);
    if (domainA != domainB)
        return domainA > domainB ? -1 : 1;
    return a.name == nullptr || b.name == nullptr ? 0 : strcmp(a.name, b.name);
}

bool matchesRequest(const Cookie& cookie, std::string_view host, std::string_view path, bool secure,
                    std::int64_t now) {
    if (cookie.expires != 0 && now >= cookie.expires)
        return false;
    if (cookie.secure && !secure)
        return false;
    if (cookie.domain != nullptr) {
        const bool matches =
            cookie.tailmatch ? tailMatches(cookie.domain, host) : equalNoCase(cookie.domain, host);
        if (!matches)
            return false;
    }
    return cookie.spath == nullptr || pathMatches(cookie.spath, path);
}

} // namespace hascommon::detail
