#include <Hasutil/detail/Base64.h>

#include <array>
#include <cstddef>

namespace {

using EncodeMap = std::array<unsigned char, 256>;

EncodeMap initEncodeMap() {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    EncodeMap map{};
    for (size_t value = 0; value < alphabet.size(); ++value)
        map[static_cast<unsigned char>(alphabet[value])] = static_cast<unsigned char>(value);
    return map;
}

} // namespace

namespace hascommon::detail {

std::string decodeBase64Groups(const std::string& text) {
    static const EncodeMap map = initEncodeMap();
    std::string bytes(text.size() / 4 * 3, '\0');
    size_t out = 0;
    for (size_t in = 0; out < bytes.size(); in += 4) {
        unsigned int group = 0;
        for (size_t i = 0; i < 4; ++i)
            group = group << 6 | map[static_cast<unsigned char>(text[in + i])];
        bytes[out++] = static_cast<char>(group >> 16);
        bytes[out++] = static_cast<char>(group >> 8 & 0xFF);
        bytes[out++] = static_cast<char>(group & 0xFF);
    }
    return bytes;
}

} // namespace hascommon::detail
