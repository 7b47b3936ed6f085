#include "PsshBox.h"

#include "BoxView.h"

#include <Hasutil/CCENCMediaContent.h>

#include <cstdint>
#include <optional>

namespace hastool {

std::string psshPayload(const std::string& base64) {
    CCENCMediaContent decoder;
    const std::string bytes = decoder.base64Decode(base64);
    const auto box = findBox(bytes, "pssh");
    if (!box)
        return {};
    ByteReader reader(box->content);
    const auto version = reader.number(1);
    bool isWhole = reader.skip(3 + 16);
    if (version && *version > 0) {
        const auto count = reader.number(4);
        isWhole = isWhole && count && *count <= reader.rest().size() / 16 &&
                  reader.skip(static_cast<size_t>(*count) * 16);
    }
    const auto size = reader.number(4);
    const auto data = reader.bytes(static_cast<size_t>(size.value_or(0)));
    return isWhole && size && data ? toBase64(std::string(*data)) : std::string();
}

std::string toBase64(const std::string& bytes) {
    constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        uint32_t group = 0;
        for (size_t k = i; k < i + 3; ++k)
            group = group << 8 | (k < bytes.size() ? static_cast<unsigned char>(bytes[k]) : 0u);
        for (unsigned shift = 18, n = 0; n < 4; shift -= 6, ++n)
            text += i + n <= bytes.size() ? kAlphabet[group >> shift & 0x3F] : '=';
    }
    return text;
}

} // namespace hastool
