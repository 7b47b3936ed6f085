#include "HexText.h"

#include <cstdio>

namespace hastool {

std::string hexNumber(unsigned int value, int digits) {
    char text[16];
    const int length = std::snprintf(text, sizeof text, "0x%0*X", digits, value);
    return {text, static_cast<size_t>(length)};
}

std::string hexText(const Bytes& bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

} // namespace hastool
