// base64: the decoder must agree with one that goes bit by bit.
#include <Hasutil/CCENCMediaContent.h>
#include <Input.h>

#include <string>

namespace {

using fuzz::require;

std::string plainDecode(const std::string& text) {
    if (text.size() % 4 != 0)
        return {};
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    unsigned int bits = 0;
    unsigned int byte = 0;
    for (const char c : text) {
        const size_t found = alphabet.find(c);
        const auto value = static_cast<unsigned int>(found == std::string::npos ? 0 : found);
        for (int bit = 5; bit >= 0; --bit) {
            byte = byte << 1 | (value >> bit & 1U);
            if (++bits % 8 == 0)
                bytes += static_cast<char>(byte & 0xFF);
        }
    }
    size_t padding = 0;
    while (padding < text.size() && text[text.size() - 1 - padding] == '=')
        ++padding;
    return padding > 2 ? bytes : bytes.substr(0, bytes.size() - padding);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(data, data + size);
    CCENCMediaContent content;
    require(content.base64Decode(text) == plainDecode(text));
    return 0;
}
