#include "Terminal.h"

#include <hastool/base/ShownUrl.h>

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

} // namespace hastool
