#include "ShownUrl.h"

#include <algorithm>
#include <atomic>
#include <string_view>

namespace hastool {
namespace {

constexpr std::string_view kLeftOut = "...";
constexpr std::string_view kBehindScheme = "://";

std::atomic<bool> g_showsUrls{false};

/// Whether the query was left out before. A line number may then follow it.
bool isLeftOut(const std::string& text, size_t query) {
    return text.compare(query + 1, kLeftOut.size(), kLeftOut) == 0;
}

/// Where a URL that begins before `from` ends in a text: at a blank or a quotation mark, and before
/// the punctuation of the sentence around it.
size_t endOfUrl(const std::string& text, size_t from) {
    const size_t blank = std::min(text.find_first_of(" \t\r\n\"'", from), text.size());
    const size_t query = text.find('?', from);
    if (query < blank && isLeftOut(text, query))
        return blank;
    const size_t last = text.find_last_not_of(".,:;)", blank - 1);
    return last == std::string::npos || last < from ? from : last + 1;
}

std::string withoutPassword(const std::string& authority) {
    const size_t at = authority.rfind('@');
    const size_t colon = authority.find(':');
    if (at == std::string::npos || colon > at)
        return authority;
    return authority.substr(0, colon + 1).append(kLeftOut).append(authority.substr(at));
}

/// @param rest  of a URL, behind "://"
std::string withoutSecretsOf(const std::string& rest) {
    const size_t path = std::min(rest.find_first_of("/?#"), rest.size());
    const size_t query = std::min(rest.find('?', path), rest.size());
    std::string shown = withoutPassword(rest.substr(0, path)) + rest.substr(path, query - path);
    if (query == rest.size())
        return shown;
    return isLeftOut(rest, query) ? shown + rest.substr(query) : (shown + "?").append(kLeftOut);
}

} // namespace

void showUrls() {
    g_showsUrls = true;
}

bool showsUrls() {
    return g_showsUrls;
}

std::string withoutSecrets(const std::string& text) {
    if (g_showsUrls)
        return text;
    std::string result;
    size_t done = 0;
    for (size_t at = text.find(kBehindScheme); at != std::string::npos;
         at = text.find(kBehindScheme, done)) {
        const size_t begin = at + kBehindScheme.size();
        const size_t end = endOfUrl(text, begin);
        result.append(text, done, begin - done);
        result += withoutSecretsOf(text.substr(begin, end - begin));
        done = end;
    }
    return result.append(text, done);
}

std::string placeIn(const std::string& url, size_t line) {
    return withoutSecrets(url) + ":" + std::to_string(line);
}

} // namespace hastool
