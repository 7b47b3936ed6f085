#include <Hasutil/HssXPathReader.h>

#include <Hascommon/StringUtil.h>
#include <Hasutil/detail/EntityBudget.h>
#include <Hasutil/detail/QuietLibXml.h>
#include <Hasutil/detail/XPathResult.h>

#include <mutex>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>

namespace hascommon {

namespace {

constexpr int kOldestLibXml = 20708;

/// Entities stay references, external ones and DTDs are not loaded, and nothing is printed.
constexpr int kParseOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;

// Trivially destroyed, so it is good for readers that live until the process ends.
std::mutex g_initLock;

std::string toString(const xmlChar* text) {
    return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

const xmlChar* toXml(const char* text) {
    return reinterpret_cast<const xmlChar*>(text);
}

} // namespace

std::atomic<unsigned int> HssXPathReader::m_isInit{0};

void HssXPathReader::InitLibXML() {
    const std::lock_guard<std::mutex> guard(g_initLock);
    if (m_isInit == 0) {
        xmlInitParser();
        xmlCheckVersion(kOldestLibXml);
    }
    ++m_isInit;
}

void HssXPathReader::FreeLibXML() {
    const std::lock_guard<std::mutex> guard(g_initLock);
    if (m_isInit == 1)
        xmlCleanupParser();
    --m_isInit;
}

HssXPathReader::HssXPathReader() = default;

HssXPathReader::~HssXPathReader() {
    Free();
}

bool HssXPathReader::Load(const char* file) {
    if (m_document != nullptr)
        return true;
    const detail::QuietLibXml quiet;
    if (file != nullptr)
        adopt(xmlReadFile(file, nullptr, kParseOptions));
    return false;
}

bool HssXPathReader::Load(const char* buffer, int size) {
    if (m_document != nullptr)
        return true;
    const detail::QuietLibXml quiet;
    if (buffer != nullptr && size > 0)
        adopt(xmlReadMemory(buffer, size, nullptr, nullptr, kParseOptions));
    return false;
}

void HssXPathReader::adopt(_xmlDoc* document) {
    if (document == nullptr)
        return;
    if (!detail::entitiesAreWithinBudget(document)) {
        xmlFreeDoc(document);
        return;
    }
    m_document = document;
    m_context = detail::newQuietContext(document);
}

void HssXPathReader::Free() {
    try {
        xmlXPathFreeContext(m_context);
        xmlFreeDoc(m_document);
    } catch (...) {
        // From an embedder's own memory functions in libxml2. There is nobody to tell.
    }
    m_context = nullptr;
    m_document = nullptr;
}

bool HssXPathReader::IsLoaded() {
    return m_document != nullptr && m_context != nullptr;
}

_xmlDoc* HssXPathReader::GetDocument() {
    return m_document;
}

std::string HssXPathReader::GetXmlParamStr(const char* xpath) {
    try {
        const detail::XPathResult result(m_context, xpath);
        const xmlNode* const node = result.firstNode();
        if (node == nullptr)
            return {};
        const bool isText = node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
        return isText ? toString(node->content) : std::string();
    } catch (...) {
        return {};
    }
}

std::string HssXPathReader::GetXmlParamAttr(const char* xpath, const char* name) {
    try {
        const detail::XPathResult result(m_context, xpath);
        const xmlNode* const node = result.firstNode();
        if (node == nullptr || node->type != XML_ELEMENT_NODE)
            return {};
        const detail::XmlText value(xmlGetProp(node, toXml(name)));
        return toString(value.get());
    } catch (...) {
        return {};
    }
}

int HssXPathReader::GetXmlParamInt(const char* xpath) {
    return convNotEmptyDigitStringToInt(GetXmlParamStr(xpath));
}

double HssXPathReader::GetXmlParamFloat(const char* xpath) {
    return convNotEmptyDigitStringToDouble(GetXmlParamStr(xpath));
}

bool HssXPathReader::GetXmlParamBool(const char* xpath) {
    return has_iequal(GetXmlParamStr(xpath), "true");
}

int HssXPathReader::GetXmlParamKBps(const char* xpath) {
    return GetXmlParamInt(xpath);
}

XmlElement HssXPathReader::GetXmlElement(const char* xpath) {
    const detail::XPathResult result(m_context, xpath);
    const xmlNode* const node = result.firstNode();
    const bool isElement = node != nullptr && node->type == XML_ELEMENT_NODE;
    return isElement ? XmlElement(node) : XmlElement();
}

XPathAnswer HssXPathReader::Evaluate(const char* xpath) {
    try {
        return detail::XPathResult::answer(m_context, xpath);
    } catch (...) {
        return {};
    }
}

} // namespace hascommon
