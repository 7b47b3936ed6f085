/// @file
/// The cookie jar of the download engine.
#pragma once

#include <Hascommon/Export.h>
#include <Hascommon/Mutex.h>
#include <Hascommon/ThreadAnnotations.h>
#include <Hasnet/Cookie.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace hascommon {

namespace detail {
class CookieList;
} // namespace detail

/// Keeps the cookies of one application (RFC 6265 as far as it goes with old servers) and two files
/// of them: one for persistent cookies and one for session cookies, which survive a restart of the
/// application as well.
///
/// **Order of calls.** Construct, init(), any of the others, saveCookieFile(), destruction. Before
/// init() the jar works, but has no files.
///
/// **Order of cookies.** A cookie with the name, domain and path of an earlier one takes its place;
/// any other goes to the end. Names, domains and paths are compared without regard to case here.
///
/// **The user-defined cookie** is one cookie set by the application. It stands outside the jar: it
/// is sent last wherever it matches, in place of a jar cookie with its name, domain and path, and
/// is never saved.
///
/// **Time.** Expiry is judged in seconds since 1970 by the wall clock (getPseudoUTC()).
///
/// **Limits.** A cookie's name has up to 1023 bytes (a longer one is ignored), its value up to 4999
/// (a longer one is cut), a line of a file up to 4999 (cut as well). How many cookies there may be
/// is not limited unless SetStrictCookies() asks for it; lookups take as long as there are cookies
/// for the host's domains.
///
/// **Threads.** All operations may be called from any thread. Those on lists of the caller's own
/// need the caller's own care for the list.
class HAS_API CHttpCookie {
public:
    CHttpCookie();
    /// Saves the files unless saveCookieFile() was called before.
    ~CHttpCookie();
    CHttpCookie(const CHttpCookie&) = delete;
    CHttpCookie& operator=(const CHttpCookie&) = delete;

    /// @name The jar and its files
    /// @{

    /// Empties the jar, then reads both files of the application. Files that are not there, or
    /// cannot be read, are no error.
    /// @param appId  the files lie in "/opt/usr/apps/" + appId + "/data/cookie/"
    void init(std::string appId);

    /// Adds the cookies of a file to the jar; lines that are no cookies are passed over.
    /// @param path  a file in the Netscape layout, in which lines "Set-Cookie: ..." may stand
    void readInCookieJar(std::string path);

    /// Writes the jar's cookies to a file, in their order; not the user-defined cookie.
    ///
    /// The file is replaced as a whole and readable by its owner only. Where that fails (there is
    /// no such folder, the disk is full) it stays as it was, and nobody is told. With an empty jar
    /// it stays as it was, too. Expiry times beyond 32 bits do not survive the file, this is meant.
    /// @param sessionOnly  write the session cookies; else the persistent ones that have not
    /// expired
    void flushOutCookieJar(std::string path, bool sessionOnly);

    /// Writes both files. The destructor then does not, even if cookies were added since: this is
    /// meant.
    void saveCookieFile();

    /// Empties the jar and drops the user-defined cookie; the files stay.
    void clearAll();

    /// @return the time that expiry is judged by, in seconds since 1970
    long long getPseudoUTC();

    /// Turns the rules of browsers (RFC 6265bis) on or off for what comes in from now on; off at
    /// first. With them
    /// - a cookie for a public suffix ("co.uk") or an address goes to the host itself only, and is
    ///   refused where the host is another; stored ones lose their subdomains as they are read;
    /// - an answer over plain http neither sets a secure cookie nor replaces or hides one;
    /// - a name that begins "__Secure-" needs the attribute Secure, one that begins "__Host-" also
    ///   a Path of "/" and no Domain;
    /// - a domain keeps 180 cookies and the jar 3000: expired ones, then those not used for the
    ///   longest time give way, at once and with every cookie added.
    /// The user-defined cookie and lists of the caller's own are not subject to them.
    void SetStrictCookies(bool strict);
    /// @}

    /// @name Cookies in and out
    /// @{

    /// Adds a cookie that a server sent, as if over plain http.
    /// @param line    the value of its Set-Cookie header
    /// @param domain  the host that sent it; a cookie for another site is ignored
    /// @param path    the path of the request
    void addCookieToPool(std::string line, std::string domain, std::string path);

    /// The same for a server whose scheme is known.
    /// @param secureOrigin  whether it came over https; looked at under strict rules only
    void addCookieToPool(std::string line, std::string domain, std::string path, bool secureOrigin);

    /// Replaces the user-defined cookie.
    /// @param line  as in a Set-Cookie header; without a Domain it goes to every host. Where it is
    /// no
    ///              cookie there is none afterwards.
    void addUsrDefCookie(std::string line);

    /// Drops the user-defined cookie.
    void delUsrDefCookie();

    /// @param url  an absolute URL
    /// @return the value of the request's Cookie header: "name=value;" for each jar cookie, then
    ///         "name=value" for the user-defined one; empty where none matches
    std::string getCookieFromPool(std::string url);
    /// @}

    /// @name Lists of the caller's own
    /// @{

    /// Parses one cookie into a list, as the jar does with its own.
    /// @param list    the head, null for an empty list; freed by the caller with freeCookieList()
    /// @param header  whether `line` is a Set-Cookie value, else a line of a file
    /// @param line    null adds nothing
    /// @param domain  the host of the request, may be null; looked at for headers only
    /// @param path    the path of the request, likewise
    /// @return whether the list holds the cookie now
    bool addCookieEntryToList(Cookie*& list, bool header, const char* line, const char* domain,
                              const char* path);

    /// Copies the cookies of a list that go with a request, in the order in which they are sent.
    /// @param list  may be null, as may `host` and `path`, which are then empty
    /// @return a new list of copies that borrow their texts; freed by the caller with
    ///         freeCookieCopies(). Null where none matches.
    Cookie* getCookieEntryFromList(Cookie* list, const char* host, const char* path, bool secure);

    /// Frees a list with its texts; null is ignored.
    static void freeCookieList(Cookie* list);
    /// Frees a list of copies, but not their texts; null is ignored.
    static void freeCookieCopies(Cookie* list);
    /// @}

    /// @name Comparing; a null text is taken for an empty one
    /// @{

    /// Whether `host` is `domain` or lies in it; letters' case does not count.
    static bool tailmatch(const char* domain, const char* host);
    /// Whether a request for `requestPath`, with or without a query, lies in `cookiePath`.
    static bool pathmatch(const char* cookiePath, const char* requestPath);
    /// @return the path without quotes around it and without a "/" at its end; "/" where it does
    /// not
    ///         begin with one
    static std::string sanitize_cookie_path(const char* path);
    /// Longer paths first, then longer domains, then by name.
    /// @return negative where `a` is sent before `b`, 0 where it does not matter
    static int cookie_sort(const Cookie* a, const Cookie* b);
    /// Whether `c` is the space character; a tab is none.
    static bool isBlank(char c);
    /// Replaces a text of a record by a copy of `text`.
    /// @return false, and the text as before, where there is no memory or `field` or `text` is null
    static bool strstore(char** field, const char* text);
    /// Whether two texts are equal but for the case of ASCII letters.
    static bool rawEqual(const char* a, const char* b);
    /// The same for their first `n` bytes.
    static bool rawNEqual(const char* a, const char* b, std::size_t n);
    /// 'a' to 'z' to 'A' to 'Z'; any other character as it is.
    static char shiftToUpper(char c);
    /// @}

private:
    std::string textToSave(bool sessionOnly, long long now) HAS_REQUIRES(m_mutex);
    HAS_LOCAL bool hasCookies();
    HAS_LOCAL std::string cookiesFor(const std::string& url);

    /// Held while a file is written, so that an older state cannot come after a newer one; taken
    /// before m_mutex, which no file operation holds up.
    Mutex m_fileMutex;
    Mutex m_mutex;
    std::string m_appId HAS_GUARDED_BY(m_mutex);
    std::string m_persistentFile HAS_GUARDED_BY(m_mutex);
    std::string m_sessionFile HAS_GUARDED_BY(m_mutex);
    std::unique_ptr<detail::CookieList> m_cookieList HAS_GUARDED_BY(m_mutex);
    /// Empty, or with the one user-defined cookie.
    std::unique_ptr<detail::CookieList> m_userCookie HAS_GUARDED_BY(m_mutex);
    bool m_strict HAS_GUARDED_BY(m_mutex) = false;
    std::atomic<std::int64_t> m_utcOffset{0};
    std::atomic<bool> m_saved{false};
};

} // namespace hascommon
