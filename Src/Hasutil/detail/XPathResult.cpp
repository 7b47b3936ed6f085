#include <Hasutil/detail/XPathResult.h>

#include <Hasutil/detail/QuietLibXml.h>

#include <string>
#include <vector>

#include <libxml/globals.h>
#include <libxml/xmlerror.h>
#include <libxml/xpathInternals.h>

namespace hascommon::detail {

namespace {

#if LIBXML_VERSION >= 21200
using ErrorPtr = const xmlError*;
#else
using ErrorPtr = xmlErrorPtr;
#endif

void ignoreError(void*, ErrorPtr) {}

/// Keeps the first message on this thread, for as long as it lives. libxml2 has words for what is
/// wrong with an expression only where the context has no handler of its own.
class XPathErrors {
public:
    explicit XPathErrors(xmlXPathContext* context)
        : m_context(context)
        , m_function(xmlStructuredError)
        , m_user(xmlStructuredErrorContext) {
        m_context->error = nullptr;
        xmlSetStructuredErrorFunc(this, keep);
    }
    ~XPathErrors() {
        xmlSetStructuredErrorFunc(m_user, m_function);
        m_context->error = ignoreError;
    }
    XPathErrors(const XPathErrors&) = delete;
    XPathErrors& operator=(const XPathErrors&) = delete;

    std::string text() const {
        const std::string text = m_text.substr(0, m_text.find_last_not_of(" \n") + 1);
        return text.empty() ? "no value" : text;
    }

private:
    static void keep(void* user, ErrorPtr error) {
        std::string& text = static_cast<XPathErrors*>(user)->m_text;
        if (text.empty() && error != nullptr && error->message != nullptr)
            text = error->message;
    }

    xmlXPathContext* m_context;
    xmlStructuredErrorFunc m_function;
    void* m_user;
    std::string m_text;
};

std::string toString(XmlText text) {
    return text == nullptr ? "" : reinterpret_cast<const char*>(text.get());
}

/// Elements inside elements repeat their text, so it is not bounded by the document alone.
constexpr size_t kMostText = size_t{64} << 20;

/// @return whether there was room for all
bool copyNodes(xmlNodeSet* set, std::vector<std::string>& nodes) {
    if (set == nullptr)
        return true;
    xmlXPathNodeSetSort(set);
    size_t size = 0;
    for (int i = 0; i < set->nodeNr; ++i) {
        nodes.push_back(toString(XmlText(xmlXPathCastNodeToString(set->nodeTab[i]))));
        size += nodes.back().size();
        if (size > kMostText)
            return false;
    }
    return true;
}

XPathAnswer failed(const std::string& why) {
    XPathAnswer answer;
    answer.text = why;
    return answer;
}

XPathAnswer answerOf(xmlXPathObject& object) {
    XPathAnswer answer;
    switch (object.type) {
    case XPATH_NODESET:
        answer.kind = XPathAnswer::Kind::Nodes;
        if (!copyNodes(object.nodesetval, answer.nodes))
            return failed("more than 64 MiB of text");
        break;
    case XPATH_BOOLEAN:
        answer.kind = XPathAnswer::Kind::Boolean;
        break;
    case XPATH_NUMBER:
        answer.kind = XPathAnswer::Kind::Number;
        break;
    case XPATH_STRING:
        answer.kind = XPathAnswer::Kind::Text;
        break;
    default:
        return failed("no value");
    }
    answer.boolean = xmlXPathCastToBoolean(&object) != 0;
    answer.number = xmlXPathCastToNumber(&object);
    answer.text = toString(XmlText(xmlXPathCastToString(&object)));
    return answer;
}

} // namespace

XPathAnswer XPathResult::answer(xmlXPathContext* context, const char* xpath) {
    if (context == nullptr)
        return failed("no document");
    if (xpath == nullptr)
        return failed("no expression");
    const XPathErrors errors(context);
    const XPathResult result(context, xpath);
    return result.m_object == nullptr ? failed(errors.text()) : answerOf(*result.m_object);
}

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
