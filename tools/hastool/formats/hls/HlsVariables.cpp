#include "HlsVariables.h"

#include <hastool/base/ToolError.h>

#include <algorithm>

namespace hastool {

bool isHlsVariableName(std::string_view text) {
    const auto isAllowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_';
    };
    return !text.empty() && std::all_of(text.begin(), text.end(), isAllowed);
}

bool HlsVariables::define(const std::string& name, const std::string& value) {
    return m_values.emplace(name, value).second;
}

std::optional<std::string> HlsVariables::find(const std::string& name) const {
    const auto found = m_values.find(name);
    return found != m_values.end() ? std::optional<std::string>(found->second) : std::nullopt;
}

std::optional<std::string> HlsVariables::substitute(std::string_view text, std::string& problem) {
    constexpr std::string_view kBegin = "{$";
    std::string result;
    while (!text.empty()) {
        const size_t begin = std::min(text.find(kBegin), text.size());
        result.append(text.substr(0, begin));
        text.remove_prefix(begin);
        const size_t end = text.find('}');
        const bool isReference = end != std::string_view::npos && end > kBegin.size() &&
                                 isHlsVariableName(text.substr(kBegin.size(), end - kBegin.size()));
        if (!isReference) {
            result.append(text.substr(0, kBegin.size()));
            text.remove_prefix(std::min(kBegin.size(), text.size()));
            continue;
        }
        const std::string name(text.substr(kBegin.size(), end - kBegin.size()));
        const auto value = find(name);
        m_grown += value ? value->size() : 0;
        if (!value || m_grown > kMaxHlsGrowth) {
            problem = value ? "variables that stand for too much text"
                            : "a variable that is not defined: " + inQuotes(name);
            return std::nullopt;
        }
        result.append(*value);
        text.remove_prefix(end + 1);
    }
    return result;
}

} // namespace hastool
