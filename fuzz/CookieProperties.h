// What the cookie harnesses check for all cookies.
#pragma once

#include <Hasnet/CHttpCookie.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <unistd.h>

namespace fuzz {

inline void require(bool condition, const char* what) {
    if (condition)
        return;
    fprintf(stderr, "property broken: %s\n", what);
    abort();
}

/// A folder for this process alone, in a memory file system where there is one.
class Folder {
public:
    Folder() {
        const char* const base = std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp";
        m_path = std::string(base) + "/hasfuzz." + std::to_string(getpid());
        std::filesystem::create_directories(m_path);
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string file(const char* name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

inline std::string readFile(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

inline std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == separator)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

/// Whether a file's line is read back as the cookie that it was written from. Tabs and empty texts
/// in fields, marks at the begin of a domain and too long lines are read as something else.
inline bool isUnambiguous(const std::string& line, long long now) {
    const std::vector<std::string> fields = split(line, '\t');
    if (fields.size() != 7 || line.size() > 4999)
        return false;
    for (size_t i = 0; i < 6; ++i) {
        if (fields[i].empty())
            return false;
    }
    std::string domain = fields[0];
    const std::string prefix = "#HttpOnly_";
    if (domain.compare(0, prefix.size(), prefix) == 0)
        domain.erase(0, prefix.size());
    if (!domain.empty() && domain[0] == '.' && fields[1] == "true")
        domain.erase(0, 1);
    if (domain.empty() || domain.find_first_of(".# ") == 0)
        return false;
    if (hascommon::CHttpCookie::rawNEqual(line.c_str(), "Set-Cookie:", 11))
        return false;
    const long long expires = strtoll(fields[4].c_str(), nullptr, 10);
    return fields[2] != "true" && fields[2] != "false" && (expires == 0 || expires > now + 60);
}

/// The parts of a line that tell cookies apart. A cookie without a path is written with "/", so two
/// cookies of a jar can become one.
inline std::string identity(const std::string& line) {
    std::vector<std::string> fields = split(line, '\t');
    fields.resize(7);
    if (fields[0].compare(0, 10, "#HttpOnly_") == 0)
        fields[0].erase(0, 10);
    if (!fields[0].empty() && fields[0][0] == '.')
        fields[0].erase(0, 1);
    const std::string path = hascommon::CHttpCookie::sanitize_cookie_path(fields[2].c_str());
    std::string key = fields[0] + '\t' + path + '\t' + fields[5];
    for (char& c : key)
        c = hascommon::CHttpCookie::shiftToUpper(c);
    return key;
}

inline bool areUnambiguous(const std::vector<std::string>& lines, long long now) {
    std::set<std::string> identities;
    for (const std::string& line : lines) {
        if (!isUnambiguous(line, now) || !identities.insert(identity(line)).second)
            return false;
    }
    return true;
}

/// Saves the jar, loads the file into another and saves that: both files must be the same.
inline void checkRoundTrip(hascommon::CHttpCookie& jar, bool sessionOnly) {
    static const Folder folder;
    const std::string first = folder.file("first.txt");
    const std::string second = folder.file("second.txt");
    std::filesystem::remove(first);
    std::filesystem::remove(second);
    jar.flushOutCookieJar(first, sessionOnly);
    const std::string saved = readFile(first);
    const size_t header = saved.find("\n\n");
    if (header == std::string::npos)
        return;
    std::vector<std::string> lines = split(saved.substr(header + 2), '\n');
    lines.pop_back();
    if (!areUnambiguous(lines, jar.getPseudoUTC()))
        return;
    hascommon::CHttpCookie again;
    again.readInCookieJar(first);
    again.flushOutCookieJar(second, sessionOnly);
    require(lines.empty() || readFile(second) == saved, "what was saved is loaded and saved again");
    again.clearAll();
}

/// A cookie list without an index: the plain model of the jar.
class ModelList {
public:
    ModelList() = default;
    ~ModelList() { hascommon::CHttpCookie::freeCookieList(head); }
    ModelList(const ModelList&) = delete;
    ModelList& operator=(const ModelList&) = delete;

    /// The answer of CHttpCookie::getCookieFromPool() without a user-defined cookie.
    std::string match(hascommon::CHttpCookie& jar, const char* host, const char* path,
                      bool secure) const {
        hascommon::Cookie* const copies = jar.getCookieEntryFromList(head, host, path, secure);
        std::string text;
        for (const hascommon::Cookie* at = copies; at != nullptr; at = at->next)
            text.append(at->name).append("=").append(at->value).append(";");
        hascommon::CHttpCookie::freeCookieCopies(copies);
        return text;
    }

    hascommon::Cookie* head = nullptr;
};

/// Checks that the jar, with its index, answers as the list does. If a second has ended between the
/// two answers, a cookie may have expired, so both are asked again.
inline void checkAgainstModel(hascommon::CHttpCookie& jar, const ModelList& model) {
    struct Request {
        const char* url;
        const char* host;
        const char* path;
        bool secure;
    };
    static const Request kRequests[] = {
        {"http://h.com/", "h.com", "/", false},
        {"https://www.h.com/a/b?q", "www.h.com", "/a/b", true},
        {"https://a.www.h.com/a", "a.www.h.com", "/a", true},
        {"http://h.com./a/b/", "h.com.", "/a/b/", false},
        {"https://[::1]/", "[::1]", "/", true},
    };
    for (const Request& request : kRequests) {
        long long before = 0;
        std::string expected;
        std::string actual;
        do {
            before = jar.getPseudoUTC();
            expected = model.match(jar, request.host, request.path, request.secure);
            actual = jar.getCookieFromPool(request.url);
        } while (before != jar.getPseudoUTC());
        require(actual == expected, "the jar answers as the plain list");
    }
}

} // namespace fuzz
