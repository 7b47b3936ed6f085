#include <Hascommon/detail/PlainUrl.h>

#include <algorithm>
#include <cstddef>

namespace hascommon::detail {
namespace {

constexpr std::size_t kMostHost = 253;
constexpr std::size_t kMostText = 8192;
constexpr int kAddressParts = 4;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isLower(char c) {
    return c >= 'a' && c <= 'z';
}

bool isHostCharacter(char c) {
    return isLower(c) || isDigit(c) || c == '-' || c == '.';
}

bool isPathCharacter(char c) {
    return isLower(c) || isDigit(c) || (c >= 'A' && c <= 'Z') ||
           std::string_view("-._~/!$&()*+,;=:@").find(c) != std::string_view::npos;
}

bool isQueryCharacter(char c) {
    return isPathCharacter(c) || c == '?';
}

/// Decimal digits up to `most`, without a zero in front.
bool isNumber(std::string_view text, int most) {
    constexpr std::size_t kMostDigits = 5;
    if (text.empty() || text.size() > kMostDigits || (text.front() == '0' && text.size() > 1))
        return false;
    int value = 0;
    for (const char c : text) {
        if (!isDigit(c))
            return false;
        value = value * 10 + (c - '0');
    }
    return value <= most;
}

bool isAddress(std::string_view host) {
    for (int part = 1; part < kAddressParts; ++part) {
        const std::size_t dot = host.find('.');
        if (dot == std::string_view::npos || !isNumber(host.substr(0, dot), 255))
            return false;
        host.remove_prefix(dot + 1);
    }
    return isNumber(host, 255);
}

/// A name that begins with a letter is never taken for a number.
bool isHost(std::string_view host) {
    if (host.empty() || host.size() > kMostHost)
        return false;
    if (isDigit(host.front()))
        return isAddress(host);
    return isLower(host.front()) && host.back() != '.' &&
           host.find("..") == std::string_view::npos &&
           std::all_of(host.begin(), host.end(), isHostCharacter);
}

bool isPort(std::string_view port, std::string_view scheme) {
    return isNumber(port, 65535) && port != "0" && port != (scheme == "http" ? "80" : "443");
}

bool isPath(std::string_view path) {
    return path.find("/.") == std::string_view::npos && // dot segments, above all
           std::all_of(path.begin(), path.end(), isPathCharacter);
}

bool isQuery(std::string_view query) {
    return !query.empty() && std::all_of(query.begin(), query.end(), isQueryCharacter);
}

/// The text up to `end`, which is taken off it together with what is behind `end`.
std::string_view takeUntil(std::string_view& text, std::size_t end, std::size_t skip) {
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(std::min(end + skip, text.size()));
    return taken;
}

} // namespace

std::optional<PlainUrl> readPlainUrl(std::string_view text) {
    constexpr std::string_view kSeparator = "://";
    PlainUrl url;
    const std::size_t separator = text.find(kSeparator);
    if (separator == std::string_view::npos || text.size() > kMostText)
        return std::nullopt;
    url.scheme = takeUntil(text, separator, kSeparator.size());
    const std::size_t slash = text.find('/');
    if ((url.scheme != "http" && url.scheme != "https") || slash == std::string_view::npos)
        return std::nullopt;
    url.host = takeUntil(text, slash, 0);
    const std::size_t colon = url.host.find(':');
    const bool hasPort = colon != std::string_view::npos;
    if (hasPort) {
        url.port = url.host;
        url.host = takeUntil(url.port, colon, 1);
    }
    const std::size_t question = text.find('?');
    const bool hasQuery = question != std::string_view::npos;
    url.path = takeUntil(text, std::min(question, text.size()), 1);
    url.query = text;
    const bool isPlain = isHost(url.host) && (!hasPort || isPort(url.port, url.scheme)) &&
                         isPath(url.path) && (!hasQuery || isQuery(url.query));
    return isPlain ? std::optional(url) : std::nullopt;
}

} // namespace hascommon::detail
