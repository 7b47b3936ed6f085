#include "PsshText.h"

#include "Base64.h"
#include "BoxView.h"

#include <string_view>

namespace hastool {
namespace {

constexpr size_t kSystemIdSize = 16;
constexpr size_t kKeyIdSize = 16;

/// The data of a box; nothing unless the bytes are exactly one `pssh` box.
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

std::optional<std::string> psshDataText(const std::string& text) {
    const auto bytes = fromBase64(text);
    if (!bytes)
        return std::nullopt;
    const auto data = dataOf(*bytes);
    return data ? toBase64(*data) : text;
}

} // namespace hastool
