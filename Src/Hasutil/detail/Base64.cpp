#define HAS_LOG_FILE "CCENCMediaContent.cpp"
#define HAS_LOG_FUNCTION "base64Decode"
#include <Hasutil/detail/Base64.h>

#include <Hascommon/detail/Log.h>

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

/// Decodes every group of four characters to three bytes.
std::string decodeGroups(const std::string& text) {
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

} // namespace

namespace hascommon::detail {

std::string decodeBase64(const std::string& text) {
    if (text.size() % 4 != 0)
        return {};
    std::string bytes = decodeGroups(text);
    const size_t lastOther = text.find_last_not_of('=');
    const size_t padding = text.size() - (lastOther == std::string::npos ? 0 : lastOther + 1);
    HAS_LOG("[*] num of [=] ( %d )", static_cast<int>(padding));
    if (padding > 2)
        HAS_LOG_HIGHLIGHTED("  [ERROR] num of = should less than two( %d )",
                            static_cast<int>(padding));
    else
        bytes.resize(bytes.size() - padding);
    return bytes;
}

} // namespace hascommon::detail
