#include "Quantities.h"

#include <algorithm>
#include <cstdio>

namespace hastool {
namespace {

std::string withUnit(double value, int digits, const char* unit) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f %s", digits, value, unit);
    return text;
}

} // namespace

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

std::string exactSeconds(double seconds) {
    char text[64];
    std::snprintf(text, sizeof text, "%.3f", std::clamp(seconds, -1e15, 1e15));
    std::string shown = text;
    shown.erase(shown.find_last_not_of('0') + 1);
    if (shown.back() == '.')
        shown.pop_back();
    return (shown == "-0" ? "0" : shown) + " s";
}

} // namespace hastool
