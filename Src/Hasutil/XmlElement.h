/// @file
/// Walks the elements of an XML document.
#pragma once

#include <Hascommon/Export.h>

#include <string>

struct _xmlNode;

namespace hascommon {

/// One element of a reader's document, or no element, like a null pointer. It is for walking lists,
/// which single queries would search from the front again and again. See
/// HssXPathReader::GetXmlElement().
///
/// **Names** are local ones: a prefix is not part of them and a namespace makes no difference, so a
/// document with a default namespace reads like one without.
///
/// **Ownership.** A view of the reader's document, of the size of a pointer, to be copied freely;
/// not to be used behind the reader's Free() or its end.
///
/// **Failures.** Where there is no element, texts are empty and neighbours are no elements either.
/// Nothing throws except for want of memory.
///
/// Thread safety: as the reader's.
class HAS_API XmlElement {
public:
    /// No element.
    XmlElement() = default;

    /// Whether there is an element.
    explicit operator bool() const { return m_node != nullptr; }

    std::string Name() const;

    /// @param name  may be null, which names no attribute
    bool HasAttribute(const char* name) const;

    /// @return the attribute's value, references to the document's own entities replaced; empty
    ///         when there is no such attribute
    /// @param name  may be null, which names no attribute
    std::string Attribute(const char* name) const;

    /// @return all text inside, that of the elements inside it too, blanks and all
    std::string Text() const;

    /// The first element inside; no element when there are only texts or nothing.
    XmlElement FirstChild() const;

    /// The element behind it inside the same parent; no element behind the last.
    XmlElement Next() const;

    /// Both are the same element, or both are no element.
    bool operator==(const XmlElement& other) const { return m_node == other.m_node; }
    bool operator!=(const XmlElement& other) const { return m_node != other.m_node; }

private:
    friend class HssXPathReader;

    HAS_LOCAL explicit XmlElement(const _xmlNode* node);
    HAS_LOCAL static XmlElement firstElement(const _xmlNode* node);

    const _xmlNode* m_node = nullptr; ///< an element
};

} // namespace hascommon
