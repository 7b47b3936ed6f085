// Shorthand for tests of the cookie jar.
#pragma once

#include <Hasnet/CHttpCookie.h>

#include <memory>
#include <string>

namespace test {

/// A cookie list of the test's own.
class OwnList {
public:
    OwnList() = default;
    ~OwnList() { hascommon::CHttpCookie::freeCookieList(head); }
    OwnList(const OwnList&) = delete;
    OwnList& operator=(const OwnList&) = delete;

    /// Parses a line handed over in a buffer of exactly its size.
    bool add(bool header, const std::string& line, const char* domain = nullptr,
             const char* path = nullptr) {
        const auto copy = std::make_unique<char[]>(line.size() + 1);
        line.copy(copy.get(), line.size());
        return m_jar.addCookieEntryToList(head, header, copy.get(), domain, path);
    }
    bool addHeader(const std::string& line, const char* domain = nullptr,
                   const char* path = nullptr) {
        return add(true, line, domain, path);
    }
    bool addLine(const std::string& line) { return add(false, line); }

    /// "name=value;" of the matching cookies in their order.
    std::string match(const char* host, const char* path, bool secure) {
        hascommon::Cookie* const copies = m_jar.getCookieEntryFromList(head, host, path, secure);
        std::string text;
        for (const hascommon::Cookie* at = copies; at != nullptr; at = at->next)
            text.append(at->name).append("=").append(at->value).append(";");
        hascommon::CHttpCookie::freeCookieCopies(copies);
        return text;
    }

    /// The names in list order, each with a blank behind it.
    std::string names() const {
        std::string text;
        for (const hascommon::Cookie* at = head; at != nullptr; at = at->next)
            text.append(at->name).append(" ");
        return text;
    }

    long long now() { return m_jar.getPseudoUTC(); }

    hascommon::Cookie* head = nullptr;

private:
    hascommon::CHttpCookie m_jar;
};

/// The text; "(none)" for null, so that null differs from an empty text.
inline std::string text(const char* field) {
    return field == nullptr ? "(none)" : field;
}

} // namespace test
