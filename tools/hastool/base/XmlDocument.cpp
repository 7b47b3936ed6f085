#include "XmlDocument.h"

#include "Number.h"
#include "ToolError.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace hastool {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

/// Drops a comment, processing instruction, DTD or byte order mark at the begin.
bool dropPrologue(std::string_view& text) {
    constexpr std::string_view kEnds[][2] = {
        {"\xEF\xBB\xBF", "\xEF\xBB\xBF"}, {"<!--", "-->"}, {"<?", "?>"}, {"<!DOCTYPE", ">"}};
    for (const auto& [begin, end] : kEnds) {
        if (text.substr(0, begin.size()) != begin)
            continue;
        const size_t at = text.find(end);
        text.remove_prefix(at == std::string_view::npos ? text.size() : at + end.size());
        return true;
    }
    return false;
}

/// Sets libxml2 up for as long as the process runs: tearing it down earlier would take it from its
/// other users too.
class LibXml {
public:
    LibXml() { hascommon::HssXPathReader::InitLibXML(); }
    ~LibXml() { hascommon::HssXPathReader::FreeLibXML(); }
    LibXml(const LibXml&) = delete;
    LibXml& operator=(const LibXml&) = delete;
};

void load(hascommon::HssXPathReader& reader, const std::string& text) {
    constexpr auto kMaxSize = static_cast<size_t>(std::numeric_limits<int>::max());
    static const LibXml library;
    if (text.size() <= kMaxSize)
        reader.Load(text.data(), static_cast<int>(text.size()));
}

} // namespace

XmlDocument::XmlDocument(const std::string& text, const std::string& url) {
    load(m_reader, text);
    if (!m_reader.IsLoaded())
        throw ToolError(url, "not a well-formed XML document");
}

hascommon::XmlElement XmlDocument::root() {
    return m_reader.GetXmlElement("/*");
}

std::string_view withoutPrologue(std::string_view text) {
    do
        text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    while (dropPrologue(text));
    return text;
}

std::string outermostElement(const std::string& text) {
    hascommon::HssXPathReader reader;
    load(reader, text);
    if (reader.IsLoaded())
        return reader.GetXmlElement("/*").Name();
    const std::string_view rest = withoutPrologue(text);
    if (rest.empty() || rest.front() != '<')
        return {};
    std::string_view name = rest.substr(1, rest.find_first_of(" \t\r\n/>", 1) - 1);
    const size_t colon = name.find(':');
    if (colon != std::string_view::npos)
        name.remove_prefix(colon + 1);
    return std::string(name);
}

std::string trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    return std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

std::string withoutBlanks(std::string_view text) {
    std::string result;
    std::copy_if(text.begin(), text.end(), std::back_inserter(result),
                 [](char c) { return kBlanks.find(c) == std::string_view::npos; });
    return result;
}

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

std::optional<uint64_t> XmlAttributes::number(const char* name) const {
    if (!m_element.HasAttribute(name))
        return std::nullopt;
    const auto value = parseUnsigned(text(name));
    if (!value)
        fail(name);
    return value;
}

std::optional<int64_t> XmlAttributes::integer(const char* name) const {
    if (!m_element.HasAttribute(name))
        return std::nullopt;
    const std::string digits = text(name);
    const bool isNegative = !digits.empty() && digits.front() == '-';
    const auto value = parseUnsigned(std::string_view(digits).substr(isNegative ? 1 : 0));
    if (!value || *value > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()))
        fail(name);
    return isNegative ? -static_cast<int64_t>(*value) : static_cast<int64_t>(*value);
}

void XmlAttributes::fail(const char* name) const {
    throw ToolError(m_url, m_element.Name() + " with a bad " + name + ": " +
                               inQuotes(m_element.Attribute(name)));
}

} // namespace hastool
