// An XML manifest as a tree that remembers where everything stands.
#pragma once

#include <hastool/base/XmlDocument.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// One element with all that is inside it.
struct ManifestElement {
    struct Attribute {
        std::string name;        ///< without a prefix
        std::string nameSpace;   ///< empty for a name without a prefix, which is the element's own
        std::string value;       ///< without blanks at its ends
        bool isPrefixed = false; ///< also with a prefix that nothing declares
    };

    std::string name;      ///< without its prefix
    std::string nameSpace; ///< empty where none is declared
    std::string text;      ///< directly inside, without blanks at its ends
    long line = 0;
    size_t place = 1; ///< counts those of the same name inside the same parent
    const ManifestElement* parent = nullptr;
    std::vector<Attribute> attributes;
    std::vector<std::unique_ptr<ManifestElement>> children;

    ManifestElement() = default;
    ManifestElement(const ManifestElement&) = delete;
    ManifestElement& operator=(const ManifestElement&) = delete;

    /// Null where there is no such attribute. @param wanted  without a prefix
    const std::string* attribute(std::string_view wanted) const;
    bool has(std::string_view wanted) const { return attribute(wanted) != nullptr; }
    /// Empty where there is no such attribute.
    std::string value(std::string_view wanted) const;
    /// The first of a name inside; null where there is none.
    const ManifestElement* child(std::string_view wanted) const;
    std::vector<const ManifestElement*> all(std::string_view wanted) const;
    /// "MPD/Period[2]/AdaptationSet[1]", with the id where it has one: "Representation[id=v1]".
    std::string path() const;
};

using ManifestTree = std::shared_ptr<const ManifestElement>;

/// The most elements that a tree holds: more than a manifest that can be played has.
constexpr size_t kMaxManifestElements = 600000;

/// @return null for text that is not well-formed, and for one of too many elements
ManifestTree readManifestTree(const std::string& text);

/// Calls a function for an element and for all inside it, in their order.
template<typename Visit>
void walkManifest(const ManifestElement& element, const Visit& visit) {
    visit(element);
    for (const auto& child : element.children)
        walkManifest(*child, visit);
}

} // namespace hastool
