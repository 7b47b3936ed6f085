#include <Hasutil/detail/QuietLibXml.h>

#include <libxml/globals.h>

namespace hascommon::detail {

namespace {

void ignoreMessage(void*, const char*, ...) {}

} // namespace

QuietLibXml::QuietLibXml()
    : m_function(xmlGenericError)
    , m_context(xmlGenericErrorContext) {
    xmlSetGenericErrorFunc(nullptr, ignoreMessage);
}

QuietLibXml::~QuietLibXml() {
    xmlSetGenericErrorFunc(m_context, m_function);
}

} // namespace hascommon::detail
