/// @file
/// Walks the elements of an XML document.
#pragma once

#include <Hascommon/Export.h>

#include <string>

struct _xmlNode;

namespace hascommon {

/// One element of a reader's document, or none: for lists, which single queries would search from
/// the front again and again. See HssXPathReader::GetXmlElement().
///
/// **Names** are local ones: a prefix is not part of them and a namespace makes no difference, so a
/// document with a default namespace reads like one without.
///
/// **Ownership.** A view of the reader's document, of the size of a pointer, to be copied freely;
/// not to be used behind the reader's Free() or its end.
///
/// **Failures.** Of no element everything is empty and every neighbour is none. Nothing throws but
/// for want of memory.
///
/// Thread safety: as the reader's.
class HAS_API XmlElement {
public:
    /// No element.
    XmlElement() = default;

    /// Whether there is an element.
    explicit operator bool() const { return m_node != nullptr; }

    std::string Name() const;

    /// @param name  may be null, which names none
    bool HasAttribute(const char* name) const;

    /// @return the attribute's value, references to the document's own entities replaced; empty
    ///         when there is no such attribute
    /// @param name  may be null, which names none
    std::string Attribute(const char* name) const;

    /// @return all text inside, that of the elements inside it too, blanks and all
    std::string Text() const;

    /// The first element inside; none when there is none.
    XmlElement FirstChild() const;

    /// The element behind it inside the same parent; none when it is the last.
    XmlElement Next() const;

    /// Both are the same element, or none.
    bool operator==(const XmlElement& other) const { return m_node == other.m_node; }
    bool operator!=(const XmlElement& other) const { return m_node != other.m_node; }

private:
    friend class HssXPathReader;

    HAS_LOCAL explicit XmlElement(const _xmlNode* node);
    HAS_LOCAL static XmlElement firstElement(const _xmlNode* node);

    const _xmlNode* m_node = nullptr; ///< an element
};

} // namespace hascommon
