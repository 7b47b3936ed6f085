#include <Hasnet/detail/CookieText.h>

#include <Hascommon/detail/Ascii.h>

#include <algorithm>
#include <cstring>

namespace hascommon::detail {
namespace {

std::string_view withoutQuery(std::string_view path) {
    return path.substr(0, path.find('?'));
}

} // namespace

bool equalNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return toAsciiUpper(x) == toAsciiUpper(y); });
}

bool equalNoCase(const char* a, const char* b) {
    if (a == nullptr || b == nullptr)
        return a == b;
    return equalNoCase(std::string_view(a), std::string_view(b));
}

bool equalExactly(const char* a, const char* b) {
    if (a == nullptr || b == nullptr)
        return a == b;
    return strcmp(a, b) == 0;
}

std::string upperCase(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), toAsciiUpper);
    return result;
}

bool tailMatches(std::string_view domain, std::string_view host) {
    if (domain.size() > host.size())
        return false;
    const size_t at = host.size() - domain.size();
    if (!equalNoCase(host.substr(at), domain))
        return false;
    return at == 0 || host[at - 1] == '.';
}

bool pathMatches(std::string_view cookiePath, std::string_view path) {
    if (cookiePath.size() == 1)
        return true;
    std::string_view request = withoutQuery(path);
    if (request.empty() || request.front() != '/')
        request = "/";
    if (request.substr(0, cookiePath.size()) != cookiePath)
        return false;
    return request.size() == cookiePath.size() || request[cookiePath.size()] == '/';
}

std::string sanitizePath(std::string_view path) {
    if (!path.empty() && path.front() == '"')
        path.remove_prefix(1);
    if (!path.empty() && path.back() == '"')
        path.remove_suffix(1);
    if (path.empty() || path.front() != '/')
        return "/";
    if (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    return std::string(path);
}

std::string_view defaultPath(std::string_view requestPath) {
    const std::string_view path = withoutQuery(requestPath);
    return path.substr(0, path.rfind('/') + 1);
}

} // namespace hascommon::detail
