#include "ResponseHead.h"

#include <hastool/base/Number.h>

#include <algorithm>
#include <cstddef>

namespace hastool {
namespace {

constexpr std::string_view kBlank = " \t\r\n";

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlank);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isSameName(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

} // namespace

std::vector<std::string_view> headerLines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = trimmed(text.substr(0, end));
        if (!line.empty())
            lines.push_back(line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

ResponseHead::ResponseHead(std::string_view lines) {
    constexpr std::string_view kProtocol = "HTTP/";
    for (const std::string_view line : headerLines(lines)) {
        if (line.substr(0, kProtocol.size()) == kProtocol)
            readStatus(line);
        else
            readField(line);
    }
}

void ResponseHead::readStatus(std::string_view line) {
    constexpr size_t kDigits = 3;
    m_fields.clear();
    const size_t blank = std::min(line.find(' '), line.size());
    const auto status = parseUnsigned(trimmed(line.substr(blank)).substr(0, kDigits));
    m_status = status ? static_cast<long>(*status) : 0;
}

void ResponseHead::readField(std::string_view line) {
    const size_t colon = line.find(':');
    if (colon != std::string_view::npos)
        m_fields.push_back({std::string(trimmed(line.substr(0, colon))),
                            std::string(trimmed(line.substr(colon + 1)))});
}

std::string ResponseHead::field(std::string_view name) const {
    const auto found = std::find_if(m_fields.rbegin(), m_fields.rend(), [&](const Field& field) {
        return isSameName(field.name, name);
    });
    return found == m_fields.rend() ? std::string() : found->value;
}

} // namespace hastool
