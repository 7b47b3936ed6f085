// Character classes that no locale changes.
#pragma once

namespace hascommon::detail {

constexpr bool isAsciiSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

constexpr bool isAsciiDigit(char c) {
    return c >= '0' && c <= '9';
}

constexpr char toAsciiUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
}

constexpr char toAsciiLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

/// The value of a hexadecimal digit of either case, -1 for any other character.
constexpr int hexDigit(char c) {
    if (isAsciiDigit(c))
        return c - '0';
    const char upper = toAsciiUpper(c);
    return upper >= 'A' && upper <= 'F' ? upper - 'A' + 10 : -1;
}

} // namespace hascommon::detail
