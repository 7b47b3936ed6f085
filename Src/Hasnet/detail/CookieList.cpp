#include <Hasnet/detail/CookieList.h>

#include <Hasnet/detail/CookieText.h>

#include <algorithm>
#include <tuple>
#include <utility>

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

bool hasExpired(const Cookie& cookie, std::int64_t now) {
    return cookie.expires != 0 && now >= cookie.expires;
}

/// Whether one of the two domains holds the other.
bool domainsMeet(const char* a, const char* b) {
    return a == nullptr || b == nullptr || tailMatches(a, b) || tailMatches(b, a);
}

} // namespace

std::vector<CookieList::Number>& CookieList::sameDomain(const Cookie& cookie) {
    return cookie.domain == nullptr ? m_withoutDomain : m_byDomain[upperCase(cookie.domain)];
}

bool CookieList::add(CookiePtr cookie, std::int64_t now) {
    if (cookie == nullptr)
        return false;
    const auto [entry, isNew] = m_byKey.try_emplace(keyOf(*cookie), m_nextNumber);
    if (!isNew) {
        Record& old = m_records.at(entry->second);
        if (!mayReplace(*old.cookie, *cookie))
            return false;
        old = {std::move(cookie), ++m_uses};
        return true;
    }
    const Cookie& added = *cookie;
    sameDomain(added).push_back(m_nextNumber);
    m_records.emplace(m_nextNumber++, Record{std::move(cookie), ++m_uses});
    trim(sameDomain(added), m_limits.perDomain, now);
    if (m_records.size() > m_limits.total)
        trim(all(), m_limits.total, now);
    return true;
}

std::vector<CookieList::Number> CookieList::all() const {
    std::vector<Number> numbers;
    numbers.reserve(m_records.size());
    for (const auto& [number, record] : m_records)
        numbers.push_back(number);
    return numbers;
}

/// Removes of the given cookies what is beyond the limit: those that have expired, then those not
/// used for the longest time.
void CookieList::trim(std::vector<Number> numbers, std::size_t limit, std::int64_t now) {
    if (numbers.size() <= limit)
        return;
    const auto rank = [&](Number number) {
        const Record& record = m_records.at(number);
        return std::make_tuple(!hasExpired(*record.cookie, now), record.lastUse);
    };
    const auto kept = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() - limit);
    std::nth_element(numbers.begin(), kept, numbers.end(),
                     [&](Number a, Number b) { return rank(a) < rank(b); });
    std::for_each(numbers.begin(), kept, [&](Number number) { remove(number); });
}

void CookieList::remove(Number number) {
    const auto record = m_records.find(number);
    const Cookie& cookie = *record->second.cookie;
    m_byKey.erase(keyOf(cookie));
    std::vector<Number>& numbers = sameDomain(cookie);
    numbers.erase(std::remove(numbers.begin(), numbers.end(), number), numbers.end());
    if (numbers.empty() && cookie.domain != nullptr)
        m_byDomain.erase(upperCase(cookie.domain));
    m_records.erase(record);
}

void CookieList::setLimits(const CookieLimits& limits, std::int64_t now) {
    m_limits = limits;
    std::vector<std::vector<Number>> domains{m_withoutDomain};
    for (const auto& [domain, numbers] : m_byDomain)
        domains.push_back(numbers);
    for (std::vector<Number>& numbers : domains)
        trim(std::move(numbers), limits.perDomain, now);
    trim(all(), limits.total, now);
}

/// Numbers of all cookies that may match the host, and of others, in their order.
std::vector<CookieList::Number> CookieList::candidates(std::string_view host) const {
    if (std::count(host.begin(), host.end(), '.') > kMostLabels)
        return all();
    std::vector<Number> numbers = m_withoutDomain;
    const std::string upper = upperCase(host);
    for (size_t at = 0;; ++at) {
        const auto found = m_byDomain.find(upper.substr(at));
        if (found != m_byDomain.end())
            numbers.insert(numbers.end(), found->second.begin(), found->second.end());
        at = upper.find('.', at);
        if (at == std::string::npos)
            break;
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

std::vector<const Cookie*> CookieList::find(std::string_view host, std::string_view path,
                                            bool secure, std::int64_t now) {
    std::vector<const Cookie*> found;
    for (const Number number : candidates(host)) {
        Record& record = m_records.at(number);
        if (!matchesRequest(*record.cookie, host, path, secure, now))
            continue;
        record.lastUse = ++m_uses;
        found.push_back(record.cookie.get());
    }
    std::stable_sort(found.begin(), found.end(), [](const Cookie* a, const Cookie* b) {
        return compareForSending(*a, *b) < 0;
    });
    return found;
}

bool CookieList::hasSecureOver(const Cookie& cookie) const {
    return std::any_of(m_records.begin(), m_records.end(), [&](const auto& entry) {
        const Cookie& old = *entry.second.cookie;
        return old.secure && equalNoCase(old.name, cookie.name) &&
               domainsMeet(old.domain, cookie.domain) &&
               (old.spath == nullptr ||
                pathMatches(old.spath, cookie.spath == nullptr ? "" : cookie.spath));
    });
}

std::vector<const Cookie*> CookieList::inOrder() const {
    std::vector<const Cookie*> cookies;
    cookies.reserve(m_records.size());
    for (const auto& [number, record] : m_records)
        cookies.push_back(record.cookie.get());
    return cookies;
}

const Cookie* CookieList::first() const {
    return m_records.empty() ? nullptr : m_records.begin()->second.cookie.get();
}

void CookieList::clear() {
    m_records.clear();
    m_byKey.clear();
    m_byDomain.clear();
    m_withoutDomain.clear();
}

} // namespace hascommon::detail
