#include "HlsLines.h"

#include <algorithm>
#include <utility>

namespace hastool {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t\r";

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return text.substr(0, 0);
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Whether blanks were cut off but for a carriage return, which ends a line.
bool hasSpaces(std::string_view line, std::string_view trimmedLine) {
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return line.size() != trimmedLine.size();
}

HlsLine readLine(std::string_view text) {
    constexpr std::string_view kTag = "#EXT";
    HlsLine line;
    line.text = text;
    if (text.front() != '#') {
        line.kind = HlsLine::Kind::Uri;
        return line;
    }
    if (text.substr(0, kTag.size()) != kTag)
        return line;
    line.kind = HlsLine::Kind::Tag;
    const size_t end = std::min(text.find_first_of(": \t"), text.size());
    line.hasColon = end < text.size() && text[end] == ':';
    line.tag = text.substr(1, end - 1);
    line.value = trimmed(text.substr(std::min(end + 1, text.size())));
    return line;
}

/// The length of a value with its quotation marks; npos when a quotation does not end.
size_t valueLength(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos || text[first] != '"')
        return std::min(text.find(','), text.size());
    const size_t end = text.find('"', first + 1);
    if (end == std::string_view::npos)
        return end;
    return std::min(text.find(',', end), text.size());
}

bool readValue(std::string_view text, HlsAttributeText& attribute) {
    const std::string_view value = trimmed(text);
    attribute.hasSpaces = attribute.hasSpaces || value.size() != text.size();
    attribute.isQuoted = !value.empty() && value.front() == '"';
    attribute.value = value;
    if (!attribute.isQuoted)
        return value.find('"') == std::string_view::npos;
    if (value.find('"', 1) != value.size() - 1)
        return false;
    attribute.value = value.substr(1, value.size() - 2);
    return true;
}

} // namespace

const HlsAttributeText* HlsAttributeLine::find(std::string_view name) const {
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [&](const HlsAttributeText& it) { return it.name == name; });
    return found == attributes.end() ? nullptr : &*found;
}

std::string_view HlsAttributeLine::get(std::string_view name) const {
    const HlsAttributeText* const found = find(name);
    return found == nullptr ? std::string_view() : found->value;
}

HlsAttributeLine readHlsAttributeLine(std::string_view text) {
    HlsAttributeLine result;
    while (!text.empty()) {
        result.rest = text;
        HlsAttributeText attribute;
        const size_t equals = std::min(text.find('='), text.size());
        const std::string_view name = text.substr(0, equals);
        attribute.name = trimmed(name);
        attribute.hasSpaces = attribute.name.size() != name.size();
        const std::string_view behind = text.substr(std::min(equals + 1, text.size()));
        const size_t length = valueLength(behind);
        result.isBroken = equals == text.size() || attribute.name.empty() ||
                          attribute.name.find_first_of(",\" \t\r") != std::string_view::npos ||
                          length == std::string_view::npos ||
                          !readValue(behind.substr(0, length), attribute);
        if (result.isBroken)
            return result;
        result.attributes.push_back(attribute);
        text = behind.substr(length);
        if (text.size() == 1) // a comma with nothing behind it
            result.attributes.emplace_back();
        text.remove_prefix(std::min<size_t>(1, text.size()));
    }
    result.rest = text;
    return result;
}

HlsLines::HlsLines(std::string text)
    : m_text(std::move(text)) {
    std::string_view rest = m_text;
    m_hasByteOrderMark = rest.substr(0, kByteOrderMark.size()) == kByteOrderMark;
    if (m_hasByteOrderMark)
        rest.remove_prefix(kByteOrderMark.size());
    for (size_t number = 1; !rest.empty() && m_lines.size() < kMaxHlsLines; ++number) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        const std::string_view whole = rest.substr(0, end);
        const std::string_view inside = trimmed(whole);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (inside.empty())
            continue;
        m_lines.push_back(readLine(inside));
        m_lines.back().number = number;
        m_lines.back().hasSpaces = hasSpaces(whole, inside);
    }
}

const HlsLine* HlsLines::find(std::string_view tag) const {
    const auto found = std::find_if(m_lines.begin(), m_lines.end(),
                                    [&](const HlsLine& it) { return it.tag == tag; });
    return found == m_lines.end() || tag.empty() ? nullptr : &*found;
}

} // namespace hastool
