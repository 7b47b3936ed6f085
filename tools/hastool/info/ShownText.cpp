#include "ShownText.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace hastool {
namespace {

constexpr uint32_t kNone = 0xFFFFFFFF;

/// Takes the first character off a text; kNone for a byte that is not the begin of one.
uint32_t takeCharacter(std::string_view& text) {
    constexpr uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
    const auto first = static_cast<unsigned char>(text.front());
    const size_t more = first < 0x80             ? 0
                        : (first & 0xE0) == 0xC0 ? 1
                        : (first & 0xF0) == 0xE0 ? 2
                        : (first & 0xF8) == 0xF0 ? 3
                                                 : text.size();
    uint32_t value = more == 0 ? first : first & (0x3Fu >> std::min<size_t>(more, 6));
    bool isGood = more < text.size();
    for (size_t i = 1; isGood && i <= more; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        isGood = (byte & 0xC0) == 0x80;
        value = value << 6 | (byte & 0x3F);
    }
    isGood =
        isGood && value >= kLeast[more] && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
    text.remove_prefix(isGood ? more + 1 : 1);
    return isGood ? value : kNone;
}

bool isBetween(uint32_t value, uint32_t first, uint32_t last) {
    return value >= first && value <= last;
}

bool isShown(uint32_t value) {
    const bool isControl = value < 0x20 || isBetween(value, 0x7F, 0x9F);
    const bool isFormat = isBetween(value, 0x200B, 0x200F) || isBetween(value, 0x2028, 0x202E) ||
                          isBetween(value, 0x2060, 0x206F) || value == 0xFEFF || value == 0x61C;
    return value != kNone && !isControl && !isFormat;
}

size_t columnsOf(uint32_t value) {
    if (isBetween(value, 0x300, 0x36F))
        return 0; // accents, drawn over the letter before
    const bool isWide = isBetween(value, 0x1100, 0x115F) || isBetween(value, 0x2E80, 0xA4CF) ||
                        isBetween(value, 0xAC00, 0xD7A3) || isBetween(value, 0xF900, 0xFAFF) ||
                        isBetween(value, 0xFE30, 0xFE6F) || isBetween(value, 0xFF00, 0xFF60) ||
                        isBetween(value, 0xFFE0, 0xFFE6) || isBetween(value, 0x1F300, 0x1FAFF) ||
                        isBetween(value, 0x20000, 0x3FFFD);
    return isWide ? 2 : 1;
}

/// The longest begin of a text that takes no more than so many columns.
std::string beginOf(const std::string& text, size_t width) {
    std::string_view rest = text;
    size_t end = 0;
    while (!rest.empty()) {
        const size_t columns = columnsOf(takeCharacter(rest));
        if (columns > width)
            break;
        width -= columns;
        end = text.size() - rest.size();
    }
    return text.substr(0, end);
}

} // namespace

std::string shownText(const std::string& text) {
    std::string result;
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view before = rest;
        const bool isGood = isShown(takeCharacter(rest));
        result += isGood ? before.substr(0, before.size() - rest.size()) : std::string_view("?");
    }
    return result;
}

size_t shownWidth(const std::string& text) {
    size_t width = 0;
    for (std::string_view rest = text; !rest.empty();)
        width += columnsOf(takeCharacter(rest));
    return width;
}

std::string fitted(const std::string& text, size_t width, bool right) {
    constexpr std::string_view kCut = "...";
    if (shownWidth(text) > width)
        return fitted(
            beginOf(text, width - std::min(width, kCut.size())).append(kCut.substr(0, width)),
            width);
    const std::string fill(width - shownWidth(text), ' ');
    return right ? fill + text : text + fill;
}

} // namespace hastool
