#include <Hasutil/detail/EntityBudget.h>

#include <cstddef>
#include <cstring>
#include <string>

#include <libxml/entities.h>

namespace hascommon::detail {

namespace {

/// As much as libxml2 lets one text hold.
constexpr std::size_t kMostBytes = 10000000;

/// Deeper than any real set of entities; an entity that contains itself ends here.
constexpr int kMostLevels = 40;

class Budget {
public:
    explicit Budget(const xmlDoc* document)
        : m_document(document) {}

    /// Takes off what a reference to the entity grows to.
    /// @return false once nothing is left
    bool spend(const xmlChar* name, int level) {
        const xmlEntity* const entity = xmlGetDocEntity(m_document, name);
        if (entity == nullptr || entity->content == nullptr)
            return true;
        const auto* const content = reinterpret_cast<const char*>(entity->content);
        const std::size_t length = strlen(content) + 1; // so that empty ones cost something too
        if (length > m_left || level == kMostLevels)
            return false;
        m_left -= length;
        return spendReferences(content, level + 1);
    }

private:
    bool spendReferences(const char* content, int level) {
        const char* at = strchr(content, '&');
        while (at != nullptr) {
            const char* const end = strchr(at, ';');
            if (end == nullptr)
                return true;
            const std::string name(at + 1, end);
            if (!spend(reinterpret_cast<const xmlChar*>(name.c_str()), level))
                return false;
            at = strchr(end, '&');
        }
        return true;
    }

    const xmlDoc* m_document;
    std::size_t m_left = kMostBytes;
};

/// The references among the parts of an attribute's value.
bool spendAttributes(Budget& budget, const xmlNode* element) {
    for (const xmlAttr* attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        for (const xmlNode* part = attribute->children; part != nullptr; part = part->next) {
            if (part->type == XML_ENTITY_REF_NODE && !budget.spend(part->name, 0))
                return false;
        }
    }
    return true;
}

bool spendNode(Budget& budget, const xmlNode* node) {
    if (node->type == XML_ENTITY_REF_NODE)
        return budget.spend(node->name, 0);
    return node->type != XML_ELEMENT_NODE || spendAttributes(budget, node);
}

/// The node behind `node` in document order. Below a reference lies the entity's declaration, which
/// belongs to the DTD and is not gone into.
const xmlNode* following(const xmlNode* node) {
    if (node->type == XML_ELEMENT_NODE && node->children != nullptr)
        return node->children;
    while (node != nullptr && node->next == nullptr)
        node = node->parent;
    return node != nullptr ? node->next : nullptr;
}

} // namespace

bool entitiesAreWithinBudget(const xmlDoc* document) {
    if (document->intSubset == nullptr || document->intSubset->entities == nullptr)
        return true;
    Budget budget(document);
    for (const xmlNode* node = document->children; node != nullptr; node = following(node)) {
        if (!spendNode(budget, node))
            return false;
    }
    return true;
}

} // namespace hascommon::detail
