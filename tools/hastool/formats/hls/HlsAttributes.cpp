#include "HlsAttributes.h"

#include <algorithm>
#include <utility>

namespace hastool {
namespace {

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// Takes a value off the front of the text, up to the comma; nothing when a quotation never ends.
std::optional<std::string_view> takeValue(std::string_view& text) {
    size_t begin = 0;
    size_t end = std::min(text.find(','), text.size());
    size_t next = end;
    if (!text.empty() && text.front() == '"') {
        begin = 1;
        end = text.find('"', 1);
        if (end == std::string_view::npos)
            return std::nullopt;
        next = std::min(text.find(',', end), text.size());
    }
    const std::string_view value = text.substr(begin, end - begin);
    text.remove_prefix(std::min(next + 1, text.size()));
    return begin == 0 ? trimmed(value) : value;
}

} // namespace

std::optional<HlsAttributes> HlsAttributes::parse(std::string_view text) {
    HlsAttributes result;
    while (!(text = trimmed(text)).empty()) {
        const size_t equals = text.find('=');
        if (equals == std::string_view::npos)
            return std::nullopt;
        const std::string name(trimmed(text.substr(0, equals)));
        text.remove_prefix(equals + 1);
        const bool isQuoted = !text.empty() && text.front() == '"';
        const auto value = takeValue(text);
        if (name.empty() || name.find_first_of(",\"") != std::string::npos || !value)
            return std::nullopt;
        result.m_values.emplace(name, Value{std::string(*value), isQuoted});
    }
    return result;
}

std::string HlsAttributes::get(const std::string& name) const {
    const auto found = m_values.find(name);
    return found == m_values.end() ? std::string() : found->second.text;
}

std::optional<std::string> HlsAttributes::substitute(HlsVariables& variables) {
    for (auto& [name, value] : m_values) {
        const std::string prefix = value.text.substr(0, 2);
        const bool isHex = prefix == "0x" || prefix == "0X" || name == "IV";
        if (!value.isQuoted && !isHex)
            continue;
        std::string problem;
        auto text = variables.substitute(value.text, problem);
        if (!text)
            return problem;
        value.text = std::move(*text);
    }
    return std::nullopt;
}

} // namespace hastool
