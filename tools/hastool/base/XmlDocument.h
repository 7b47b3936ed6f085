// XML manifests over the library's reader.
#pragma once

#include <Hasutil/HssXPathReader.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace hastool {

/// A parsed XML document.
class XmlDocument {
public:
    /// @param url  names it in messages. @throws ToolError for text that is not well-formed
    XmlDocument(const std::string& text, const std::string& url);
    XmlDocument(const XmlDocument&) = delete;
    XmlDocument& operator=(const XmlDocument&) = delete;

    /// The outermost element.
    hascommon::XmlElement root();
    /// All of it as libxml2 has it, to be read only; lives as long as the document.
    _xmlDoc* tree() { return m_reader.GetDocument(); }

private:
    hascommon::HssXPathReader m_reader;
};

/// The local name of the outermost element of an XML document in any encoding that the reader
/// knows. For a document that is not well-formed, the name that its text begins with: so its format
/// is known, and that format's parser says what is wrong. Empty when the text is not like XML.
std::string outermostElement(const std::string& text);

/// The text behind a byte order mark, declaration, comments and DTD at its begin.
std::string_view withoutPrologue(std::string_view text);

/// The text without blanks at its ends.
std::string trimmed(std::string_view text);
/// The text without any blanks, as base64 is read.
std::string withoutBlanks(std::string_view text);
/// The text with its ASCII letters in lower case.
std::string lowered(std::string text);

/// Reads the attributes of an element. A value that cannot be used ends in a ToolError that names
/// the document, the element and the attribute.
class XmlAttributes {
public:
    /// @param url  borrowed
    XmlAttributes(const hascommon::XmlElement& element, const std::string& url)
        : m_element(element)
        , m_url(url) {}

    std::string text(const char* name) const { return trimmed(m_element.Attribute(name)); }
    /// Nothing when there is no such attribute.
    std::optional<uint64_t> number(const char* name) const;
    std::optional<int64_t> integer(const char* name) const;
    [[noreturn]] void fail(const char* name) const;

private:
    hascommon::XmlElement m_element;
    const std::string& m_url;
};

} // namespace hastool
