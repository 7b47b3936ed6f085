// The jar's cookies in their order of arrival, with an index beside them.
#pragma once

#include <Hasnet/detail/CookieRecord.h>

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace hascommon::detail {

class CookieList {
public:
    /// Appends the cookie, or puts it in the place of the same cookie.
    /// @return whether it is in the list now
    bool add(CookiePtr cookie);

    /// The cookies that go with a request, in the order in which they are sent.
    std::vector<const Cookie*> find(std::string_view host, std::string_view path, bool secure,
                                    std::int64_t now) const;

    const std::vector<CookiePtr>& records() const { return m_records; }
    bool empty() const { return m_records.empty(); }
    void clear();

private:
    std::vector<size_t> candidates(std::string_view host) const;

    std::vector<CookiePtr> m_records;
    /// Places in m_records, by what makes a cookie the same, and by the domain in upper case.
    /// A cookie that takes another's place has its key and its domain.
    std::unordered_map<std::string, size_t> m_byKey;
    std::unordered_map<std::string, std::vector<size_t>> m_byDomain;
    std::vector<size_t> m_withoutDomain;
};

} // namespace hascommon::detail
