#include <Hasutil/XmlElement.h>

#include <Hasutil/detail/QuietLibXml.h>
#include <Hasutil/detail/XPathResult.h>

#include <cstring>

#include <libxml/tree.h>

namespace hascommon {

namespace {

std::string toString(const xmlChar* text) {
    return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

/// xmlHasProp() would also answer with defaults of a DTD, and looks names up with their prefix.
const xmlAttr* find(const xmlNode* node, const char* name) {
    if (node == nullptr || name == nullptr)
        return nullptr;
    for (const xmlAttr* it = node->properties; it != nullptr; it = it->next) {
        if (std::strcmp(reinterpret_cast<const char*>(it->name), name) == 0)
            return it;
    }
    return nullptr;
}

} // namespace

XmlElement::XmlElement(const _xmlNode* node)
    : m_node(node) {}

XmlElement XmlElement::firstElement(const _xmlNode* node) {
    while (node != nullptr && node->type != XML_ELEMENT_NODE)
        node = node->next;
    return XmlElement(node);
}

std::string XmlElement::Name() const {
    return m_node != nullptr ? toString(m_node->name) : std::string();
}

bool XmlElement::HasAttribute(const char* name) const {
    return find(m_node, name) != nullptr;
}

std::string XmlElement::Attribute(const char* name) const {
    const xmlAttr* const attribute = find(m_node, name);
    if (attribute == nullptr)
        return {};
    const detail::QuietLibXml quiet;
    const detail::XmlText value(xmlNodeListGetString(m_node->doc, attribute->children, 1));
    return toString(value.get());
}

std::string XmlElement::Text() const {
    if (m_node == nullptr)
        return {};
    const detail::QuietLibXml quiet;
    const detail::XmlText text(xmlNodeGetContent(m_node));
    return toString(text.get());
}

XmlElement XmlElement::FirstChild() const {
    return m_node != nullptr ? firstElement(m_node->children) : XmlElement();
}

XmlElement XmlElement::Next() const {
    return m_node != nullptr ? firstElement(m_node->next) : XmlElement();
}

} // namespace hascommon
