// libxml2's XPath objects, released by themselves.
#pragma once

#include <Hasutil/XPathAnswer.h>

#include <memory>

#include <libxml/tree.h>
#include <libxml/xpath.h>

namespace hascommon::detail {

struct XmlTextFree {
    void operator()(xmlChar* text) const { xmlFree(text); }
};
using XmlText = std::unique_ptr<xmlChar, XmlTextFree>;

/// A context that prints nothing about malformed expressions; null when memory runs out.
xmlXPathContext* newQuietContext(xmlDoc* document);

/// The result of one expression.
class XPathResult {
public:
    /// @param context  may be null, which matches nothing
    /// @param xpath    may be null, which matches nothing
    XPathResult(xmlXPathContext* context, const char* xpath);

    /// @return the first node in document order; null when the result is no set of nodes, or an
    ///         empty one
    const xmlNode* firstNode() const;

    /// Evaluates an expression and copies its value, or what libxml2 says of it.
    static XPathAnswer answer(xmlXPathContext* context, const char* xpath);

private:
    struct Free {
        void operator()(xmlXPathObject* object) const { xmlXPathFreeObject(object); }
    };

    std::unique_ptr<xmlXPathObject, Free> m_object;
};

} // namespace hascommon::detail
