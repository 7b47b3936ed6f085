// Making, copying and freeing cookie records.
#pragma once

#include <Hasnet/Cookie.h>

#include <memory>
#include <string_view>

namespace hascommon::detail {

/// Frees a record and its texts, not the rest of its list.
struct CookieFree {
    void operator()(Cookie* cookie) const;
};
using CookiePtr = std::unique_ptr<Cookie, CookieFree>;

/// A zero-filled record; null where there is no memory.
CookiePtr makeCookie();

/// Replaces a text of a record by a copy of `text`, which ends at a zero byte if it has one.
/// @return whether there was memory for it; the text before stays otherwise
bool store(char*& field, std::string_view text);

/// Whether one of the two replaces the other in a list: same name, domain and path for matching,
/// whatever their case.
bool isSameCookie(const Cookie& a, const Cookie& b);

/// Whether `fresh` may take the place of `old`, which is the same cookie.
bool mayReplace(const Cookie& old, const Cookie& fresh);

/// Negative where `a` is sent before `b`, 0 where it does not matter.
int compareForSending(const Cookie& a, const Cookie& b);

/// Whether a cookie goes with a request at the time `now`.
bool matchesRequest(const Cookie& cookie, std::string_view host, std::string_view path, bool secure,
                    std::int64_t now);

} // namespace hascommon::detail
