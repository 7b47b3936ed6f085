#include "InfoReader.h"

#include "DashInfo.h"
#include "HlsInfo.h"
#include "SmoothInfo.h"
#include <hastool/base/ToolError.h>
#include <hastool/base/XmlDocument.h>
#include <hastool/formats/dash/DashManifest.h>
#include <hastool/formats/smooth/SmoothManifest.h>

namespace hastool {
namespace {

/// Servers send pages with status 200 for errors, log-ins and what has moved.
bool looksLikePage(const std::string& text) {
    constexpr size_t kBegin = 512; // a doctype and comments before the element
    const std::string begin = lowered(text.substr(0, kBegin));
    return begin.find("<html") != std::string::npos ||
           begin.find("<!doctype html") != std::string::npos;
}

} // namespace

PresentationInfo readInfo(const std::string& url, const InfoAccess& access) {
    const Document document = access.fetch({url, std::nullopt});
    if (looksLikeDash(document.text))
        return readDashInfo(document, access);
    if (looksLikeSmooth(document.text))
        return readSmoothInfo(document);
    if (looksLikePage(document.text))
        throw ToolError(document.url, "a web page, not a manifest");
    return readHlsInfo(document, access);
}

} // namespace hastool
