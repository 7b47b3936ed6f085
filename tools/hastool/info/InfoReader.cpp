#include "InfoReader.h"

#include "DashInfo.h"
#include "HlsInfo.h"
#include "SmoothInfo.h"
#include <hastool/base/ToolError.h>
#include <hastool/base/WebPage.h>
#include <hastool/formats/dash/DashManifest.h>
#include <hastool/formats/smooth/SmoothManifest.h>

namespace hastool {

PresentationInfo readInfo(const std::string& url, const InfoAccess& access) {
    const Document document = access.fetch({url, std::nullopt});
    if (looksLikeDash(document.text))
        return readDashInfo(document, access);
    if (looksLikeSmooth(document.text))
        return readSmoothInfo(document);
    if (looksLikeWebPage(document.text))
        throw ToolError(document.url, "a web page, not a manifest");
    return readHlsInfo(document, access);
}

} // namespace hastool
