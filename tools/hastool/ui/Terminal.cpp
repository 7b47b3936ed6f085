#include "Terminal.h"

#include "../engine/ShownUrl.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/ioctl.h>
#include <unistd.h>

namespace hastool {
namespace {

constexpr size_t kUsualWidth = 80;
constexpr char kClearLine[] = "\r\033[K";

bool isTerminal() {
    const char* const kind = std::getenv("TERM");
    return isatty(STDERR_FILENO) != 0 && (kind == nullptr || std::strcmp(kind, "dumb") != 0);
}

size_t width() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return kUsualWidth;
    return size.ws_col;
}

std::string withUnit(double value, int digits, const char* unit) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f %s", digits, value, unit);
    return text;
}

} // namespace

Terminal::Terminal(bool quiet)
    : m_quiet(quiet)
    , m_isLive(!quiet && isTerminal()) {}

Terminal::~Terminal() {
    clear();
}

void Terminal::live(const std::string& text) {
    if (!m_isLive)
        return;
    print(kClearLine + withoutSecrets(text).substr(0, width() - 1));
    m_isShowing = true;
}

void Terminal::line(const std::string& text) {
    if (m_quiet)
        return;
    clear();
    print(withoutSecrets(text) + "\n");
}

void Terminal::trouble(const std::string& text) {
    clear();
    print("hastool: " + withoutSecrets(text) + "\n");
}

void Terminal::clear() {
    if (m_isShowing)
        print(kClearLine);
    m_isShowing = false;
}

void Terminal::print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

std::string sizeText(double bytes) {
    if (bytes < 1e3)
        return withUnit(bytes, 0, "B");
    if (bytes < 1e6)
        return withUnit(bytes / 1e3, 1, "kB");
    return bytes < 1e9 ? withUnit(bytes / 1e6, 2, "MB") : withUnit(bytes / 1e9, 2, "GB");
}

std::string rateText(double bitsPerSecond) {
    if (bitsPerSecond < 1e6)
        return withUnit(bitsPerSecond / 1e3, 0, "kbit/s");
    return withUnit(bitsPerSecond / 1e6, 2, "Mbit/s");
}

std::string secondsText(double seconds) {
    return withUnit(seconds, 1, "s");
}

std::string padded(const std::string& text, size_t width, bool right) {
    if (text.size() >= width)
        return text;
    const std::string fill(width - text.size(), ' ');
    return right ? fill + text : text + fill;
}

} // namespace hastool
