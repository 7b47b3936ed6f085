// The jar's cookies in their order of arrival, with an index beside them.
#pragma once

#include <Hasnet/detail/CookieRecord.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace hascommon::detail {

/// How many cookies a list keeps; the one not used for the longest time gives way.
struct CookieLimits {
    std::size_t perDomain = std::numeric_limits<std::size_t>::max();
    std::size_t total = std::numeric_limits<std::size_t>::max();
};

class CookieList {
public:
    /// Appends the cookie, or puts it in the place of the same cookie. Beyond the limits cookies
    /// that have expired at `now` go first.
    /// @return whether it is in the list now
    bool add(CookiePtr cookie, std::int64_t now);

    /// The cookies that go with a request, in the order in which they are sent; they count as used.
    std::vector<const Cookie*> find(std::string_view host, std::string_view path, bool secure,
                                    std::int64_t now);

    /// Whether a secure cookie of this name reaches where the given one would be sent, so that the
    /// given one could pass for it (RFC 6265bis, section 5.7, "leave secure cookies alone").
    bool hasSecureOver(const Cookie& cookie) const;

    /// Sets the limits, which hold at once.
    void setLimits(const CookieLimits& limits, std::int64_t now);

    std::vector<const Cookie*> inOrder() const;
    /// The first cookie; null in an empty list.
    const Cookie* first() const;
    bool empty() const { return m_records.empty(); }
    void clear();

private:
    /// Counts arrivals: a cookie that takes another's place has its number, key and domain.
    using Number = std::uint64_t;
    struct Record {
        CookiePtr cookie;
        std::uint64_t lastUse;
    };

    std::vector<Number> candidates(std::string_view host) const;
    std::vector<Number>& sameDomain(const Cookie& cookie);
    std::vector<Number> all() const;
    void trim(std::vector<Number> numbers, std::size_t limit, std::int64_t now);
    void remove(Number number);

    std::map<Number, Record> m_records;
    /// By what makes a cookie the same, and by the domain in upper case.
    std::unordered_map<std::string, Number> m_byKey;
    std::unordered_map<std::string, std::vector<Number>> m_byDomain;
    std::vector<Number> m_withoutDomain;
    CookieLimits m_limits;
    Number m_nextNumber = 0;
    std::uint64_t m_uses = 0;
};

} // namespace hascommon::detail
