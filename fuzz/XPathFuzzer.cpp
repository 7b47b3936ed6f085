// The XPath reader must agree with libxml2 itself. The input is the size of the expression in
// bytes, the expression, and a document.
#include <Hasutil/HssXPathReader.h>
#include <Input.h>
#include <support/ExactBytes.h>

#include <algorithm>
#include <memory>
#include <string>

#include <libxml/parser.h>
#include <libxml/xpath.h>

namespace {

using fuzz::Input;
using fuzz::require;
using hascommon::HssXPathReader;
using hascommon::XPathAnswer;
using test::ExactBytes;

constexpr size_t kLongestExpression = 40;
constexpr size_t kLongestDocument = 4096;
/// The time grows to the power of the number of predicates, so longer expressions are left out.
constexpr long kMostPredicates = 2;

void ignoreMessage(void*, const char*, ...) {}

struct DocumentFree {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
struct ContextFree {
    void operator()(xmlXPathContext* context) const { xmlXPathFreeContext(context); }
};
struct ObjectFree {
    void operator()(xmlXPathObject* object) const { xmlXPathFreeObject(object); }
};
using Document = std::unique_ptr<xmlDoc, DocumentFree>;

/// The text of the first node, when it is one.
std::string firstText(xmlDoc* document, const std::string& xpath) {
    const std::unique_ptr<xmlXPathContext, ContextFree> context(xmlXPathNewContext(document));
    const std::unique_ptr<xmlXPathObject, ObjectFree> result(
        xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(xpath.c_str()), context.get()));
    if (result == nullptr || result->type != XPATH_NODESET || result->nodesetval == nullptr ||
        result->nodesetval->nodeNr == 0)
        return {};
    const xmlNode* const node = result->nodesetval->nodeTab[0];
    const bool isText = node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
    return isText && node->content != nullptr ? reinterpret_cast<const char*>(node->content) : "";
}

void query(HssXPathReader& reader, xmlDoc* document, const std::string& xpath) {
    const std::string expected = firstText(document, xpath);
    require(reader.GetXmlParamStr(xpath.c_str()) == expected);
    require(reader.GetXmlParamStr(xpath.c_str()) == expected); // the first call has left no trace
    require(expected.empty() || reader.GetXmlParamAttr(xpath.c_str(), "a").empty());
    require(reader.GetXmlParamKBps(xpath.c_str()) == reader.GetXmlParamInt(xpath.c_str()));
    reader.GetXmlParamFloat(xpath.c_str());
    reader.GetXmlParamBool(xpath.c_str());
    const XPathAnswer answer = reader.Evaluate(xpath.c_str());
    const bool isNodes = answer.kind == XPathAnswer::Kind::Nodes;
    require(answer.nodes.empty() || isNodes);
    require(expected.empty() || (isNodes && !answer.nodes.empty()));
    require(answer.kind != XPathAnswer::Kind::Error || !answer.text.empty());
    require(!isNodes || answer.boolean == !answer.nodes.empty());
}

void compare(const ExactBytes& bytes, const std::string& xpath) {
    const auto* const text = reinterpret_cast<const char*>(bytes.data());
    const Document document(
        xmlReadMemory(text, bytes.intSize(), nullptr, nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
    HssXPathReader reader;
    require(!reader.Load(text, bytes.intSize()));
    const bool hasEntities = document != nullptr && document->intSubset != nullptr &&
                             document->intSubset->entities != nullptr;
    require(reader.IsLoaded() == (document != nullptr) || hasEntities);
    if (!reader.IsLoaded())
        return require(reader.GetXmlParamStr("//text()").empty());
    require(reader.Load(text, bytes.intSize()));
    query(reader, document.get(), "//text()");
    query(reader, document.get(), xpath);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    xmlSetGenericErrorFunc(nullptr, ignoreMessage);
    Input input(data, std::min(size, kLongestDocument));
    const auto expression = input.bytes(input.byte() % kLongestExpression);
    const std::string xpath(expression.begin(), expression.end());
    if (std::count(xpath.begin(), xpath.end(), '[') > kMostPredicates)
        return 0;
    compare(ExactBytes(input.rest()), xpath);
    return 0;
}
