#include "TransferTrace.h"

#include "ResponseHead.h"
#include <hastool/base/ShownUrl.h>

#include <Hascommon/Linux/Dlog.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <string_view>

#include <strings.h>
#include <unistd.h>

namespace hastool {
namespace {

constexpr char kLeftOut[] = "...";
constexpr char kClearLine[] = "\r\033[K"; // of progress that changes in place

/// Their values give access.
constexpr std::array<const char*, 4> kSecretFields{"Authorization", "Proxy-Authorization", "Cookie",
                                                   "Set-Cookie"};
/// Their values are URLs, perhaps without scheme and host.
constexpr std::array<const char*, 3> kUrlFields{"Location", "Content-Location", "Referer"};

template<size_t Count>
bool isOneOf(const std::array<const char*, Count>& names, const std::string& name) {
    return std::any_of(names.begin(), names.end(),
                       [&](const char* known) { return strcasecmp(known, name.c_str()) == 0; });
}

/// What servers send must not control a terminal.
std::string onOneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return text;
}

void tell(const std::string& text) {
    static const bool isTerminal = isatty(STDERR_FILENO) == 1;
    const std::string line =
        (isTerminal ? kClearLine : "") + onOneLine(withoutSecrets(text)) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

std::string tagOf(int id, char direction) {
    return "[" + std::to_string(id) + "] " + direction + " ";
}

/// "12.3 ms"; "-" for what the transfer did not come to.
std::string timeText(long long microseconds) {
    if (microseconds <= 0)
        return "-";
    char text[32];
    std::snprintf(text, sizeof text, "%.1f ms", static_cast<double>(microseconds) / 1000);
    return text;
}

__attribute__((format(printf, 1, 0))) std::string formatted(const char* format, va_list args) {
    va_list again;
    va_copy(again, args);
    const int size = std::vsnprintf(nullptr, 0, format, args);
    std::string text(static_cast<size_t>(std::max(size, 0)) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    text.pop_back();
    return text;
}

/// Without colours, line ends, and what a cookie holds.
std::string shownLogLine(std::string text) {
    constexpr std::string_view kCookie = "addCookieToPool ";
    for (size_t at = text.find('\033'); at != std::string::npos; at = text.find('\033', at))
        text.erase(at, std::min(text.find('m', at), text.size() - 1) - at + 1);
    std::replace(text.begin(), text.end(), '\n', ' ');
    text.erase(text.find_last_not_of(' ') + 1);
    const size_t cookie = text.find(kCookie);
    if (cookie != std::string::npos && !showsUrls())
        text.replace(cookie + kCookie.size(), std::string::npos, kLeftOut);
    return text;
}

__attribute__((format(printf, 5, 0))) int tellLogLine(void*, int, int, const char*,
                                                      const char* format, va_list args) {
    tell(shownLogLine(formatted(format, args)));
    return 1;
}

} // namespace

std::string shownHeader(const std::string& line) {
    const size_t colon = line.find(':');
    if (colon == std::string::npos || showsUrls())
        return line;
    const std::string name = line.substr(0, colon);
    if (isOneOf(kSecretFields, name))
        return name + ": " + kLeftOut;
    const size_t query = line.find('?', colon);
    if (isOneOf(kUrlFields, name) && line.find("://", colon) >= query && query != std::string::npos)
        return line.substr(0, query + 1) + kLeftOut;
    return line;
}

TransferTrace::TransferTrace(Verbosity verbosity)
    : m_verbosity(verbosity) {
    if (m_verbosity == Verbosity::Library)
        has_setLogSink(tellLogLine, nullptr);
}

TransferTrace::~TransferTrace() {
    if (m_verbosity == Verbosity::Library)
        has_setLogSink(nullptr, nullptr);
}

void TransferTrace::request(int id, const std::string& url, const std::string& range,
                            const std::string& agent,
                            const std::vector<std::string>& headers) const {
    if (!isOn())
        return;
    const std::string tag = tagOf(id, '>');
    tell(tag + "GET " + url);
    if (!range.empty())
        tell(tag + "Range: bytes=" + range);
    if (!agent.empty())
        tell(tag + "User-Agent: " + agent);
    for (const std::string& line : headers)
        tell(tag + shownHeader(line));
}

void TransferTrace::response(int id, const std::string& lines) const {
    if (!isOn())
        return;
    for (const std::string_view line : headerLines(lines))
        tell(tagOf(id, '<') + shownHeader(std::string(line)));
}

void TransferTrace::ending(int id, const hascommon::DownloadFailure& how,
                           std::chrono::microseconds time, unsigned long long bytes,
                           const std::string& result) const {
    if (!isOn())
        return;
    tell(tagOf(id, '*') + result + ", " + std::to_string(bytes) + " bytes, " +
         (how.peer.empty() ? "no peer" : how.peer) + "; look-up " + timeText(how.nameLookup) +
         ", connect " + timeText(how.connect) + ", TLS " + timeText(how.tls) + ", first byte " +
         timeText(how.firstByte) + ", end " + timeText(time.count()));
}

} // namespace hastool
