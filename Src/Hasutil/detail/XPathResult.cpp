#include <Hasutil/detail/XPathResult.h>

#include <Hasutil/detail/QuietLibXml.h>

#include <libxml/xmlerror.h>

namespace hascommon::detail {

namespace {

#if LIBXML_VERSION >= 21200
using ErrorPtr = const xmlError*;
#else
using ErrorPtr = xmlErrorPtr;
#endif

void ignoreError(void*, ErrorPtr) {}

} // namespace

xmlXPathContext* newQuietContext(xmlDoc* document) {
    xmlXPathContext* const context = xmlXPathNewContext(document);
    if (context == nullptr)
        return nullptr;
    context->error = ignoreError;
    xmlXPathContextSetCache(context, 1, -1, 0);
    return context;
}

XPathResult::XPathResult(xmlXPathContext* context, const char* xpath) {
    if (context == nullptr || xpath == nullptr)
        return;
    const QuietLibXml quiet;
    context->node = nullptr; // where an expression before this one broke off
    m_object.reset(xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(xpath), context));
}

const xmlNode* XPathResult::firstNode() const {
    if (m_object == nullptr || m_object->type != XPATH_NODESET)
        return nullptr;
    const xmlNodeSet* const nodes = m_object->nodesetval;
    if (nodes == nullptr || nodes->nodeNr < 1 || nodes->nodeTab == nullptr)
        return nullptr;
    return nodes->nodeTab[0];
}

} // namespace hascommon::detail
