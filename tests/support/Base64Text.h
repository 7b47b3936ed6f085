// Writes base64, for tests that give it to the library.
#pragma once

#include <string>
#include <vector>

namespace test {

inline std::string base64Text(const std::vector<unsigned char>& bytes) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t at = 0; at < bytes.size(); at += 3) {
        unsigned int group = 0;
        for (size_t i = at; i < at + 3; ++i)
            group = group << 8 | (i < bytes.size() ? bytes[i] : 0U);
        for (size_t i = 0; i < 4; ++i)
            text += at + i > bytes.size() ? '=' : alphabet[group >> (18 - 6 * i) & 63U];
    }
    return text;
}

} // namespace test
