#include "PsshText.h"

#include "../engine/BoxView.h"

#include <string_view>

namespace hastool {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr size_t kSystemIdSize = 16;
constexpr size_t kKeyIdSize = 16;

/// The data of a box; nothing when the bytes are no `pssh` box and nothing but one.
std::optional<std::string> dataOf(std::string_view bytes) {
    const auto box = takeBox(bytes);
    if (!box || !bytes.empty() || box->type != "pssh")
        return std::nullopt;
    ByteReader reader(box->content);
    const auto version = reader.number(1);
    if (!version || !reader.skip(3 + kSystemIdSize))
        return std::nullopt;
    if (*version > 0) {
        const uint64_t count = reader.number(4).value_or(0);
        if (count > reader.rest().size() / kKeyIdSize)
            return std::nullopt;
        reader.skip(static_cast<size_t>(count) * kKeyIdSize);
    }
    const auto size = reader.number(4);
    if (!size || *size != reader.rest().size())
        return std::nullopt;
    return std::string(reader.rest());
}

} // namespace

std::string toBase64(const std::string& bytes) {
    std::string text;
    for (size_t at = 0; at < bytes.size(); at += 3) {
        const size_t count = std::min<size_t>(3, bytes.size() - at);
        unsigned bits = 0;
        for (size_t i = 0; i < 3; ++i)
            bits = bits << 8 | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0U);
        for (size_t i = 0; i < 4; ++i)
            text += i <= count ? kAlphabet[bits >> (18 - 6 * i) & 0x3F] : '=';
    }
    return text;
}

std::optional<std::string> fromBase64(const std::string& text) {
    const size_t end = text.find_last_not_of('=') + 1;
    if (text.size() % 4 != 0 || text.size() - end > 2)
        return std::nullopt;
    std::string bytes;
    unsigned bits = 0;
    for (size_t i = 0; i < end; ++i) {
        const size_t value = kAlphabet.find(text[i]);
        if (value == std::string_view::npos)
            return std::nullopt;
        bits = (bits << 6 | static_cast<unsigned>(value)) & 0xFFFFFF;
        if (i % 4 != 0)
            bytes += static_cast<char>(bits >> (6 - 2 * (i % 4)) & 0xFF);
    }
    return bytes;
}

std::optional<std::string> psshDataText(const std::string& text) {
    const auto bytes = fromBase64(text);
    if (!bytes)
        return std::nullopt;
    const auto data = dataOf(*bytes);
    return data ? toBase64(*data) : text;
}

} // namespace hastool
