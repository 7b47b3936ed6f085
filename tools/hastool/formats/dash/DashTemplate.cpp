#include "DashTemplate.h"

#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <optional>
#include <string_view>

namespace hastool {
namespace {

constexpr size_t kMaxWidth = 64;

/// The width of "%05d" or "" (then 1); nothing for another format.
std::optional<size_t> parseWidth(std::string_view format) {
    if (format.empty())
        return 1;
    if (format.size() < 4 || format.substr(0, 2) != "%0" || format.back() != 'd')
        return std::nullopt;
    const auto width = parseUnsigned(format.substr(2, format.size() - 3));
    if (!width || *width > kMaxWidth)
        return std::nullopt;
    return static_cast<size_t>(*width);
}

std::string padded(uint64_t number, size_t width) {
    std::string digits = std::to_string(number);
    if (digits.size() < width)
        digits.insert(0, width - digits.size(), '0');
    return digits;
}

std::optional<std::string> valueOf(std::string_view identifier, const DashTemplateValues& values) {
    if (identifier.empty())
        return "$";
    if (identifier == "RepresentationID")
        return values.representationId;
    const size_t nameEnd = std::min(identifier.find('%'), identifier.size());
    const std::string_view name = identifier.substr(0, nameEnd);
    const auto width = parseWidth(identifier.substr(nameEnd));
    if (!width)
        return std::nullopt;
    if (name == "Number")
        return padded(values.number, *width);
    if (name == "Bandwidth")
        return padded(values.bandwidth, *width);
    if (name == "Time")
        return padded(values.time, *width);
    return std::nullopt;
}

} // namespace

std::string expandDashTemplate(const std::string& text, const DashTemplateValues& values,
                               const std::string& where) {
    std::string result;
    std::string_view rest = text;
    for (size_t at = rest.find('$'); at != std::string_view::npos; at = rest.find('$')) {
        const size_t end = rest.find('$', at + 1);
        if (end == std::string_view::npos)
            throw ToolError(where, "a template with a single \"$\": " + inQuotes(text));
        const auto value = valueOf(rest.substr(at + 1, end - at - 1), values);
        if (!value)
            throw ToolError(where, "a template with an unknown identifier: " + inQuotes(text));
        result.append(rest.substr(0, at)).append(*value);
        rest.remove_prefix(end + 1);
    }
    return result.append(rest);
}

} // namespace hastool
