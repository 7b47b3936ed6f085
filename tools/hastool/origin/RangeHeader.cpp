#include "RangeHeader.h"

#include <hastool/base/Number.h>

#include <algorithm>

namespace hastool {
namespace {

RangeAnswer lastBytes(uint64_t count, uint64_t fileSize) {
    if (count == 0 || fileSize == 0)
        return {RangeAnswer::Kind::Unsatisfiable, 0, 0};
    const uint64_t length = std::min(count, fileSize);
    return {RangeAnswer::Kind::Part, fileSize - length, length};
}

} // namespace

RangeAnswer answerRange(const std::string& header, uint64_t fileSize) {
    const RangeAnswer whole{RangeAnswer::Kind::Whole, 0, fileSize};
    constexpr std::string_view kUnit = "bytes=";
    const std::string_view text = header;
    const size_t hyphen = text.find('-');
    if (text.substr(0, kUnit.size()) != kUnit || hyphen == std::string_view::npos)
        return whole;
    const std::string_view from = text.substr(kUnit.size(), hyphen - kUnit.size());
    const std::string_view to = text.substr(hyphen + 1);
    const auto first = parseUnsigned(from);
    const auto last = parseUnsigned(to);
    if (from.empty() && last)
        return lastBytes(*last, fileSize);
    if (!first || (!last && !to.empty()) || last.value_or(*first) < *first)
        return whole;
    if (*first >= fileSize)
        return {RangeAnswer::Kind::Unsatisfiable, 0, 0};
    const uint64_t end = last ? std::min(*last, fileSize - 1) + 1 : fileSize;
    return {RangeAnswer::Kind::Part, *first, end - *first};
}

} // namespace hastool
