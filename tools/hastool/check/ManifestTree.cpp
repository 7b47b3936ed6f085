#include "ManifestTree.h"

#include <hastool/base/ToolError.h>

#include <algorithm>
#include <map>

#include <libxml/tree.h>

namespace hastool {
namespace {

constexpr char kDeclarations[] = "http://www.w3.org/2000/xmlns/";

std::string toText(const xmlChar* text) {
    return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

std::string nameSpaceOf(const xmlNs* nameSpace) {
    return nameSpace != nullptr ? toText(nameSpace->href) : std::string();
}

std::string valueOf(const xmlAttr& attribute) {
    xmlChar* const value = xmlNodeListGetString(attribute.doc, attribute.children, 1);
    std::string text = trimmed(toText(value));
    xmlFree(value);
    return text;
}

/// Copies an element and all inside it; the parser's own limit holds the depth.
class Copier {
public:
    /// @return null when there are too many elements
    std::unique_ptr<ManifestElement> copy(const xmlNode& node, const ManifestElement* parent);

private:
    static void copyAttributes(const xmlNode& node, ManifestElement& element);
    bool copyChildren(const xmlNode& node, ManifestElement& element);

    size_t m_count = 0;
};

std::unique_ptr<ManifestElement> Copier::copy(const xmlNode& node, const ManifestElement* parent) {
    if (++m_count > kMaxManifestElements)
        return nullptr;
    auto element = std::make_unique<ManifestElement>();
    element->name = toText(node.name);
    element->nameSpace = nameSpaceOf(node.ns);
    element->line = xmlGetLineNo(const_cast<xmlNode*>(&node));
    element->parent = parent;
    copyAttributes(node, *element);
    if (!copyChildren(node, *element))
        return nullptr;
    element->text = trimmed(element->text);
    return element;
}

/// A prefix that nothing declares stays in the name that the parser tells.
void Copier::copyAttributes(const xmlNode& node, ManifestElement& element) {
    for (const xmlAttr* it = node.properties; it != nullptr; it = it->next) {
        ManifestElement::Attribute attribute;
        attribute.name = toText(it->name);
        attribute.nameSpace = nameSpaceOf(it->ns);
        const size_t colon = attribute.name.find(':');
        attribute.isPrefixed = it->ns != nullptr || colon != std::string::npos;
        if (colon != std::string::npos)
            attribute.name.erase(0, colon + 1);
        attribute.value = valueOf(*it);
        if (attribute.nameSpace != kDeclarations)
            element.attributes.push_back(std::move(attribute));
    }
}

bool Copier::copyChildren(const xmlNode& node, ManifestElement& element) {
    std::map<std::string, size_t> places;
    for (const xmlNode* it = node.children; it != nullptr; it = it->next) {
        if (it->type == XML_TEXT_NODE || it->type == XML_CDATA_SECTION_NODE)
            element.text += toText(it->content);
        if (it->type != XML_ELEMENT_NODE)
            continue;
        auto child = copy(*it, &element);
        if (!child)
            return false;
        child->place = ++places[child->name];
        element.children.push_back(std::move(child));
    }
    return true;
}

} // namespace

const std::string* ManifestElement::attribute(std::string_view wanted) const {
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [&](const Attribute& it) { return it.name == wanted; });
    return found != attributes.end() ? &found->value : nullptr;
}

std::string ManifestElement::value(std::string_view wanted) const {
    const std::string* const found = attribute(wanted);
    return found != nullptr ? *found : std::string();
}

const ManifestElement* ManifestElement::child(std::string_view wanted) const {
    const auto found = std::find_if(children.begin(), children.end(),
                                    [&](const auto& it) { return it->name == wanted; });
    return found != children.end() ? found->get() : nullptr;
}

std::vector<const ManifestElement*> ManifestElement::all(std::string_view wanted) const {
    std::vector<const ManifestElement*> found;
    for (const auto& it : children) {
        if (it->name == wanted)
            found.push_back(it.get());
    }
    return found;
}

std::string ManifestElement::path() const {
    if (parent == nullptr)
        return name;
    constexpr size_t kMostId = 40;
    const std::string id = name == "Representation" ? value("id") : std::string();
    const std::string which =
        id.empty() || id.size() > kMostId ? std::to_string(place) : "id=" + id;
    return parent->path() + "/" + name + "[" + which + "]";
}

ManifestTree readManifestTree(const std::string& text) {
    try {
        XmlDocument document(text, "");
        const xmlNode* const root = xmlDocGetRootElement(document.tree());
        return root != nullptr ? Copier().copy(*root, nullptr) : nullptr;
    } catch (const ToolError&) {
        return nullptr;
    }
}

} // namespace hastool
