#include "Utf8.h"

namespace hastool {
namespace {

/// The bytes of the character that a text begins with; 0 where it begins with none.
size_t characterLength(std::string_view text) {
    const auto at = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = at(0);
    if (first < 0x80)
        return 1;
    const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length)
        return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((at(i) & 0xC0) != 0x80)
            return 0;
    }
    const unsigned char second = at(1);
    const bool isOverlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool isSurrogate = first == 0xED && second >= 0xA0;
    const bool isTooHigh = first == 0xF4 && second >= 0x90;
    return isOverlong || isSurrogate || isTooHigh ? 0 : length;
}

} // namespace

std::optional<size_t> findBadUtf8(std::string_view text) {
    for (size_t i = 0; i < text.size();) {
        const size_t length = characterLength(text.substr(i));
        if (length == 0)
            return i;
        i += length;
    }
    return std::nullopt;
}

} // namespace hastool
