#include "ByteRange.h"

#include <hastool/base/Number.h>

#include <limits>

namespace hastool {

std::string rangeText(const ByteRange& range) {
    std::string result = std::to_string(range.first) + "-";
    if (range.length)
        result += std::to_string(range.first + *range.length - 1);
    return result;
}

std::optional<ByteRange> parseRange(const std::string& text) {
    const size_t hyphen = text.find('-');
    if (hyphen == std::string::npos)
        return std::nullopt;
    const std::string_view view = text;
    const auto first = parseUnsigned(view.substr(0, hyphen));
    if (!first)
        return std::nullopt;
    if (hyphen + 1 == text.size())
        return ByteRange{*first, std::nullopt};
    const auto last = parseUnsigned(view.substr(hyphen + 1));
    if (!last || *last < *first || *last == std::numeric_limits<uint64_t>::max())
        return std::nullopt;
    return ByteRange{*first, *last - *first + 1};
}

} // namespace hastool
