#include <Hasnet/detail/CookieList.h>

#include <Hasnet/detail/CookieText.h>

#include <algorithm>
#include <numeric>

namespace hascommon::detail {
namespace {

/// A host of more labels than a name can have is looked up by walking the list.
constexpr std::ptrdiff_t kMostLabels = 128;

/// The texts cannot hold the zero byte that ends each; the byte before tells a missing text from an
/// empty one.
std::string keyOf(const Cookie& cookie) {
    std::string key;
    for (const char* text : {cookie.name, cookie.domain, cookie.spath}) {
        key += text == nullptr ? '-' : '+';
        key += upperCase(text == nullptr ? "" : text);
        key += '\0';
    }
    return key;
}

} // namespace

bool CookieList::add(CookiePtr cookie) {
    if (cookie == nullptr)
        return false;
    const auto [entry, isNew] = m_byKey.try_emplace(keyOf(*cookie), m_records.size());
    if (!isNew) {
        CookiePtr& old = m_records[entry->second];
        if (!mayReplace(*old, *cookie))
            return false;
        old = std::move(cookie);
        return true;
    }
    std::vector<size_t>& sameDomain =
        cookie->domain == nullptr ? m_withoutDomain : m_byDomain[upperCase(cookie->domain)];
    sameDomain.push_back(m_records.size());
    m_records.push_back(std::move(cookie));
    return true;
}

/// Places of all cookies that may match the host, and of others.
std::vector<size_t> CookieList::candidates(std::string_view host) const {
    std::vector<size_t> places = m_withoutDomain;
    if (std::count(host.begin(), host.end(), '.') > kMostLabels) {
        places.resize(m_records.size());
        std::iota(places.begin(), places.end(), size_t{0});
        return places;
    }
    const std::string upper = upperCase(host);
    for (size_t at = 0;; ++at) {
        const auto found = m_byDomain.find(upper.substr(at));
        if (found != m_byDomain.end())
            places.insert(places.end(), found->second.begin(), found->second.end());
        at = upper.find('.', at);
        if (at == std::string::npos)
            break;
    }
    std::sort(places.begin(), places.end());
    return places;
}

std::vector<const Cookie*> CookieList::find(std::string_view host, std::string_view path,
                                            bool secure, std::int64_t now) const {
    std::vector<const Cookie*> found;
    for (const size_t place : candidates(host)) {
        const Cookie& cookie = *m_records[place];
        if (matchesRequest(cookie, host, path, secure, now))
            found.push_back(&cookie);
    }
    std::stable_sort(found.begin(), found.end(), [](const Cookie* a, const Cookie* b) {
        return compareForSending(*a, *b) < 0;
    });
    return found;
}

void CookieList::clear() {
    m_records.clear();
    m_byKey.clear();
    m_byDomain.clear();
    m_withoutDomain.clear();
}

} // namespace hascommon::detail
