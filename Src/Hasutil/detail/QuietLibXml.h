// Keeps libxml2 from printing.
#pragma once

#include <libxml/xmlerror.h>

namespace hascommon::detail {

/// For as long as it lives libxml2 prints nothing on this thread. Some of its messages go past the
/// handlers of parser and context to the thread's general one, which is put back afterwards.
class QuietLibXml {
public:
    QuietLibXml();
    ~QuietLibXml();
    QuietLibXml(const QuietLibXml&) = delete;
    QuietLibXml& operator=(const QuietLibXml&) = delete;

private:
    xmlGenericErrorFunc m_function;
    void* m_context;
};

} // namespace hascommon::detail
