#include <Hasnet/CHttpCookie.h>

#include <Hascommon/Datetime.h>
#include <Hascommon/GURL.h>
#include <Hascommon/LockGuard.h>
#include <Hascommon/SafeString.h>
#include <Hascommon/detail/Ascii.h>
#include <Hascommon/detail/Log.h>
#include <Hasnet/detail/CookieFile.h>
#include <Hasnet/detail/CookieList.h>
#include <Hasnet/detail/CookieParser.h>
#include <Hasnet/detail/CookieText.h>
#include <Hasnet/detail/StrictCookies.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace hascommon {
namespace {

constexpr std::string_view kHeaderName = "Set-Cookie:";

const char* orEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

std::string_view withoutBlanks(std::string_view line) {
    return line.substr(std::min(line.find_first_not_of(' '), line.size()));
}

detail::ParsedCookie parseHeader(std::string_view line, const char* domain, const char* path,
                                 long long now) {
    return detail::parseCookieHeader(withoutBlanks(line), domain, path, now);
}

detail::CookiePtr parseLine(bool header, std::string_view line, const char* domain,
                            const char* path, long long now) {
    return header ? parseHeader(line, domain, path, now).cookie
                  : detail::parseCookieFileLine(withoutBlanks(line));
}

/// A line of a file, which may hold a header instead of fields.
detail::CookiePtr parseStoredLine(std::string_view line, long long now) {
    line = line.substr(0, line.find('\0'));
    const bool header = detail::equalNoCase(line.substr(0, kHeaderName.size()), kHeaderName);
    return parseLine(header, line.substr(header ? kHeaderName.size() : 0), nullptr, nullptr, now);
}

std::vector<detail::CookiePtr> readCookies(FILE* file, long long now) {
    std::vector<detail::CookiePtr> cookies;
    std::string line;
    while (detail::readLine(file, line)) {
        if (detail::CookiePtr cookie = parseStoredLine(line, now))
            cookies.push_back(std::move(cookie));
    }
    return cookies;
}

/// Whether the user-defined cookie, which is not to be saved, looks like this one.
bool isUserCookie(const Cookie& cookie, const Cookie& user) {
    return user.name != nullptr && user.domain != nullptr && user.path != nullptr &&
           detail::equalExactly(cookie.name, user.name) &&
           detail::equalExactly(cookie.domain, user.domain) &&
           detail::equalExactly(cookie.path, user.path);
}

bool isReplacedBy(const Cookie& cookie, const Cookie& user) {
    return detail::equalExactly(cookie.name, user.name) &&
           detail::equalExactly(cookie.domain, user.domain) &&
           detail::equalExactly(cookie.path, user.path);
}

void appendPair(std::string& text, const Cookie& cookie) {
    text.append(cookie.name).append("=").append(orEmpty(cookie.value));
}

/// Puts a record into a list that somebody else keeps, in the place of the same cookie or last.
bool mergeIntoList(Cookie*& list, detail::CookiePtr cookie) {
    Cookie** at = &list;
    while (*at != nullptr && !detail::isSameCookie(**at, *cookie))
        at = &(*at)->next;
    if (*at == nullptr) {
        *at = cookie.release();
        return true;
    }
    if (!detail::mayReplace(**at, *cookie))
        return false;
    // The record keeps its place in memory too; what it held goes with the new one's shell.
    std::swap(**at, *cookie);
    std::swap((*at)->next, cookie->next);
    return true;
}

Cookie* linkCopies(const std::vector<const Cookie*>& cookies) {
    Cookie* head = nullptr;
    Cookie** tail = &head;
    for (const Cookie* cookie : cookies) {
        auto* const copy = static_cast<Cookie*>(malloc(sizeof(Cookie)));
        if (copy == nullptr)
            break;
        *copy = *cookie;
        copy->next = nullptr;
        *tail = copy;
        tail = &copy->next;
    }
    return head;
}

} // namespace

CHttpCookie::CHttpCookie()
    : m_cookieList(std::make_unique<detail::CookieList>())
    , m_userCookie(std::make_unique<detail::CookieList>()) {
    HAS_LOG("CHttpCookie constructor");
}

CHttpCookie::~CHttpCookie() {
    HAS_LOG("CHttpCookie deconstructor start >>>");
    if (!m_saved)
        saveCookieFile();
    clearAll();
    HAS_LOG("<<< CHttpCookie deconstructor end");
}

void CHttpCookie::init(std::string appId) {
    const std::string folder = "/opt/usr/apps/" + appId + "/data/cookie/";
    const std::string persistentFile = folder + "persistent_cookie.txt";
    const std::string sessionFile = folder + "session_cookie.txt";
    {
        const LockGuard<Mutex> guard(m_mutex);
        m_cookieList->clear();
        m_userCookie->clear();
        m_appId = std::move(appId);
        m_persistentFile = persistentFile;
        m_sessionFile = sessionFile;
    }
    const long long utc = has_getUTC();
    m_utcOffset = (utc - has_getTime()) / 1000;
    readInCookieJar(persistentFile);
    readInCookieJar(sessionFile);
}

void CHttpCookie::readInCookieJar(std::string path) {
    HAS_LOG("readInCookieJar start >>>");
    if (path.empty()) {
        HAS_LOG("no cookie file");
        return;
    }
    FILE* opened = nullptr;
    if (has_fopen_s(&opened, path.c_str(), "re")) {
        const detail::FilePtr file(opened);
        HAS_LOG("cookie file opened");
        const long long now = getPseudoUTC();
        std::vector<detail::CookiePtr> cookies = readCookies(file.get(), now);
        const LockGuard<Mutex> guard(m_mutex);
        for (detail::CookiePtr& cookie : cookies) {
            if (m_strict)
                detail::narrowToHost(*cookie);
            m_cookieList->add(std::move(cookie), now);
        }
    }
    HAS_LOG("<<< readInCookieJar end");
}

std::string CHttpCookie::textToSave(bool sessionOnly, long long now) {
    const Cookie* const user = m_userCookie->first();
    std::string text = detail::cookieFileHeader();
    for (const Cookie* cookie : m_cookieList->inOrder()) {
        const bool wanted = sessionOnly ? cookie->expires == 0 : now < cookie->expires;
        if (wanted && (user == nullptr || !isUserCookie(*cookie, *user)))
            text += detail::cookieFileLine(*cookie);
    }
    return text;
}

void CHttpCookie::flushOutCookieJar(std::string path, bool sessionOnly) {
    const long long now = getPseudoUTC();
    HAS_LOG("flushOutCookieJar start >>>");
    if (path.empty())
        return;
    const LockGuard<Mutex> fileGuard(m_fileMutex);
    std::string text;
    {
        const LockGuard<Mutex> guard(m_mutex);
        if (!m_cookieList->empty())
            text = textToSave(sessionOnly, now);
    }
    if (text.empty()) {
        HAS_LOG("no cookie in pool");
        return;
    }
    if (!detail::replaceFile(path, text))
        return;
    HAS_LOG("<<< flushOutCookieJar end");
}

void CHttpCookie::saveCookieFile() {
    std::string persistentFile;
    std::string sessionFile;
    {
        const LockGuard<Mutex> guard(m_mutex);
        persistentFile = m_persistentFile;
        sessionFile = m_sessionFile;
    }
    flushOutCookieJar(persistentFile, false);
    flushOutCookieJar(sessionFile, true);
    m_saved = true;
}

void CHttpCookie::clearAll() {
    const LockGuard<Mutex> guard(m_mutex);
    m_cookieList->clear();
    m_userCookie->clear();
}

long long CHttpCookie::getPseudoUTC() {
    return has_getTime() / 1000 + m_utcOffset;
}

void CHttpCookie::SetStrictCookies(bool strict) {
    const LockGuard<Mutex> guard(m_mutex);
    m_strict = strict;
    m_cookieList->setLimits(strict ? detail::kStrictLimits : detail::CookieLimits{},
                            getPseudoUTC());
}

void CHttpCookie::addCookieToPool(std::string line, std::string domain, std::string path) {
    addCookieToPool(std::move(line), std::move(domain), std::move(path), false);
}

void CHttpCookie::addCookieToPool(std::string line, std::string domain, std::string path,
                                  bool secureOrigin) {
    HAS_LOG("addCookieToPool %s, %s, %s", line.c_str(), domain.c_str(), path.c_str());
    const long long now = getPseudoUTC();
    detail::ParsedCookie parsed = parseHeader(line.c_str(), domain.c_str(), path.c_str(), now);
    if (parsed.cookie == nullptr)
        return;
    const LockGuard<Mutex> guard(m_mutex);
    if (!m_strict || detail::isAcceptable(parsed, domain, secureOrigin, *m_cookieList))
        m_cookieList->add(std::move(parsed.cookie), now);
}

void CHttpCookie::addUsrDefCookie(std::string line) {
    const long long now = getPseudoUTC();
    detail::CookiePtr cookie = parseHeader(line.c_str(), nullptr, nullptr, now).cookie;
    const LockGuard<Mutex> guard(m_mutex);
    m_userCookie->clear();
    m_userCookie->add(std::move(cookie), now);
}

void CHttpCookie::delUsrDefCookie() {
    const LockGuard<Mutex> guard(m_mutex);
    m_userCookie->clear();
}

std::string CHttpCookie::getCookieFromPool(std::string url) {
    HAS_LOG("getCookieFromPool start >>>");
    std::string text = hasCookies() ? cookiesFor(url) : std::string();
    HAS_LOG("<<< getCookieFromPool end");
    return text;
}

bool CHttpCookie::hasCookies() {
    const LockGuard<Mutex> guard(m_mutex);
    return !m_cookieList->empty() || !m_userCookie->empty();
}

std::string CHttpCookie::cookiesFor(const std::string& url) {
    const GURL request(url);
    const std::string& host = request.host();
    const std::string& path = request.path();
    const bool secure = request.SchemeIs("https");
    const long long now = getPseudoUTC();
    std::string text;
    {
        const LockGuard<Mutex> guard(m_mutex);
        const auto userMatch = m_userCookie->find(host, path, secure, now);
        for (const Cookie* cookie : m_cookieList->find(host, path, secure, now)) {
            if (!userMatch.empty() && isReplacedBy(*cookie, *userMatch.front()))
                continue;
            appendPair(text, *cookie);
            text += ';';
        }
        if (!userMatch.empty())
            appendPair(text, *userMatch.front());
    }
    return text;
}

bool CHttpCookie::addCookieEntryToList(Cookie*& list, bool header, const char* line,
                                       const char* domain, const char* path) {
    if (line == nullptr)
        return false;
    detail::CookiePtr cookie = parseLine(header, line, domain, path, getPseudoUTC());
    return cookie != nullptr && mergeIntoList(list, std::move(cookie));
}

Cookie* CHttpCookie::getCookieEntryFromList(Cookie* list, const char* host, const char* path,
                                            bool secure) {
    const long long now = getPseudoUTC();
    std::vector<const Cookie*> found;
    for (const Cookie* at = list; at != nullptr; at = at->next) {
        if (detail::matchesRequest(*at, orEmpty(host), orEmpty(path), secure, now))
            found.push_back(at);
    }
    std::stable_sort(found.begin(), found.end(), [](const Cookie* a, const Cookie* b) {
        return detail::compareForSending(*a, *b) < 0;
    });
    return linkCopies(found);
}

void CHttpCookie::freeCookieList(Cookie* list) {
    while (list != nullptr) {
        const detail::CookiePtr first(list);
        list = first->next;
    }
}

void CHttpCookie::freeCookieCopies(Cookie* list) {
    while (list != nullptr) {
        Cookie* const next = list->next;
        free(list);
        list = next;
    }
}

bool CHttpCookie::tailmatch(const char* domain, const char* host) {
    return detail::tailMatches(orEmpty(domain), orEmpty(host));
}

bool CHttpCookie::pathmatch(const char* cookiePath, const char* requestPath) {
    return detail::pathMatches(orEmpty(cookiePath), orEmpty(requestPath));
}

std::string CHttpCookie::sanitize_cookie_path(const char* path) {
    return detail::sanitizePath(orEmpty(path));
}

int CHttpCookie::cookie_sort(const Cookie* a, const Cookie* b) {
    return detail::compareForSending(*a, *b);
}

bool CHttpCookie::isBlank(char c) {
    return c == ' ';
}

bool CHttpCookie::strstore(char** field, const char* text) {
    return field != nullptr && text != nullptr && detail::store(*field, text);
}

bool CHttpCookie::rawEqual(const char* a, const char* b) {
    return detail::equalNoCase(std::string_view(orEmpty(a)), std::string_view(orEmpty(b)));
}

bool CHttpCookie::rawNEqual(const char* a, const char* b, std::size_t n) {
    const std::string_view first(orEmpty(a), strnlen(orEmpty(a), n));
    return detail::equalNoCase(first, std::string_view(orEmpty(b), strnlen(orEmpty(b), n)));
}

char CHttpCookie::shiftToUpper(char c) {
    return detail::toAsciiUpper(c);
}

} // namespace hascommon
