#include <Hasnet/detail/CookieParser.h>

#include <Hascommon/detail/Number.h>
#include <Hasnet/detail/CookieText.h>
#include <Hasnet/detail/HttpDate.h>

#include <limits>
#include <string>
#include <vector>

namespace hascommon::detail {
namespace {

/// Longer names are no names, longer values are cut.
constexpr size_t kLongestName = 1023;
constexpr size_t kLongestValue = 4999;

constexpr std::string_view kHttpOnlyPrefix = "#HttpOnly_";
constexpr size_t kFields = 7;

std::string_view trimSpaces(std::string_view text) {
    const size_t begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

/// One ";"-separated part of a header: "name=value", or a name alone.
struct Part {
    std::string_view name;
    std::string_view value;
    bool hasValue = false;
};

Part splitPart(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    Part part;
    part.name = text.substr(0, text.find_first_of("\r\n ="));
    const size_t equals = part.name.size();
    if (part.name.empty() || equals > kLongestName)
        return {};
    if (equals == text.size() || text[equals] != '=')
        return part;
    part.hasValue = true;
    const std::string_view rest = text.substr(equals + 1);
    part.value = trimSpaces(rest.substr(0, std::min(rest.find_first_of("\r\n"), kLongestValue)));
    return part;
}

std::int64_t addSaturated(std::int64_t a, std::int64_t b) {
    constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
    if (b > 0 && a > kMax - b)
        return kMax;
    if (b < 0 && a < kMin - b)
        return kMin;
    return a + b;
}

/// A date that cannot be read makes a session cookie; the very beginning of time must not.
std::int64_t parseExpiryDate(const std::string& text) {
    const std::int64_t date = readHttpDate(text);
    if (date == 0)
        return 1;
    return date < 0 ? 0 : date;
}

/// Gathers one cookie from the parts of a header. Each operation returns false where the cookie has
/// to be given up at once.
class HeaderParser {
public:
    HeaderParser(const char* domain, std::int64_t now)
        : m_requestDomain(domain)
        , m_now(now) {}

    bool add(const Part& part) {
        if (m_cookie == nullptr)
            return false;
        if (equalNoCase(part.name, "secure"))
            m_cookie->secure = true;
        else if (equalNoCase(part.name, "httponly"))
            m_cookie->httponly = true;
        else if (part.hasValue)
            return addPair(part);
        return true;
    }

    ParsedCookie finish(const char* requestPath) {
        if (m_cookie == nullptr || m_bad || m_cookie->name == nullptr)
            return {};
        const bool hasPath = m_cookie->path != nullptr;
        if (!addDefaults(requestPath))
            return {};
        return {std::move(m_cookie), hasPath};
    }

private:
    bool addPair(const Part& part) {
        if (equalNoCase(part.name, "path"))
            return m_cookie->path == nullptr && setPath(part.value);
        if (equalNoCase(part.name, "domain"))
            return setDomain(part.value);
        if (equalNoCase(part.name, "version"))
            return store(m_cookie->version, part.value);
        if (equalNoCase(part.name, "max-age"))
            return setMaxAge(part.value);
        if (equalNoCase(part.name, "expires"))
            return setExpires(part.value);
        if (m_cookie->name != nullptr)
            return true;
        return store(m_cookie->name, part.name) && store(m_cookie->value, part.value);
    }

    bool setPath(std::string_view path) {
        return store(m_cookie->path, path) && store(m_cookie->spath, sanitizePath(path));
    }

    bool setDomain(std::string_view domain) {
        if (!domain.empty() && domain.front() == '.')
            domain.remove_prefix(1);
        if (m_requestDomain != nullptr && !tailMatches(domain, m_requestDomain)) {
            m_bad = true;
            return true;
        }
        m_cookie->tailmatch = true;
        return store(m_cookie->domain, domain);
    }

    bool setMaxAge(std::string_view age) {
        const bool quoted = !age.empty() && age.front() == '"';
        const std::string digits(age.substr(quoted ? 1 : 0));
        m_cookie->expires = addSaturated(parseInt64(digits), m_now);
        return store(m_cookie->maxage, age);
    }

    bool setExpires(std::string_view date) {
        m_cookie->expires = parseExpiryDate(std::string(date));
        return store(m_cookie->expirestr, date);
    }

    bool addDefaults(const char* requestPath) {
        if (m_cookie->domain == nullptr && m_requestDomain != nullptr &&
            !store(m_cookie->domain, m_requestDomain))
            return false;
        if (m_cookie->path != nullptr || requestPath == nullptr)
            return true;
        const std::string_view folder = defaultPath(requestPath);
        return folder.empty() || setPath(folder);
    }

    const char* m_requestDomain;
    std::int64_t m_now;
    CookiePtr m_cookie = makeCookie();
    bool m_bad = false;
};

/// The texts between tabs; two tabs in a row have none between them.
std::vector<std::string_view> splitFields(std::string_view line) {
    std::vector<std::string_view> fields;
    while (!line.empty() && fields.size() < kFields) {
        const std::string_view field = line.substr(0, line.find('\t'));
        if (!field.empty())
            fields.push_back(field);
        line.remove_prefix(std::min(field.size() + 1, line.size()));
    }
    return fields;
}

CookiePtr makeFromFields(const std::vector<std::string_view>& fields, bool httpOnly) {
    CookiePtr cookie = makeCookie();
    if (cookie == nullptr)
        return nullptr;
    const std::string_view domain = fields[0].substr(fields[0].front() == '.' ? 1 : 0);
    const bool stored = store(cookie->domain, domain) && store(cookie->path, fields[2]) &&
                        store(cookie->spath, sanitizePath(fields[2])) &&
                        store(cookie->name, fields[5]) && store(cookie->value, fields[6]);
    cookie->tailmatch = equalNoCase(fields[1], "true");
    cookie->secure = equalNoCase(fields[3], "true");
    cookie->expires = parseInt64(std::string(fields[4]));
    cookie->httponly = httpOnly;
    return stored ? std::move(cookie) : nullptr;
}

} // namespace

ParsedCookie parseCookieHeader(std::string_view line, const char* domain, const char* path,
                               std::int64_t now) {
    HeaderParser parser(domain, now);
    for (bool more = true; more;) {
        const size_t semicolon = line.find(';');
        if (!parser.add(splitPart(line.substr(0, semicolon))))
            return {};
        more = semicolon != std::string_view::npos;
        if (more)
            line.remove_prefix(semicolon + 1);
    }
    return parser.finish(path);
}

CookiePtr parseCookieFileLine(std::string_view line) {
    const bool httpOnly = line.substr(0, kHttpOnlyPrefix.size()) == kHttpOnlyPrefix;
    if (httpOnly)
        line.remove_prefix(kHttpOnlyPrefix.size());
    if (!line.empty() && line.front() == '#')
        return nullptr;
    std::vector<std::string_view> fields = splitFields(line.substr(0, line.find_first_of("\r\n")));
    // An old form of the file has no path; the flag for https then stands in its place.
    if (fields.size() > 2 && (fields[2] == "true" || fields[2] == "false"))
        fields.insert(fields.begin() + 2, "/");
    if (fields.size() == kFields - 1)
        fields.emplace_back("");
    return fields.size() < kFields ? nullptr : makeFromFields(fields, httpOnly);
}

} // namespace hascommon::detail
