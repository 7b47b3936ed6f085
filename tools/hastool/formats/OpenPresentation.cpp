#include "OpenPresentation.h"

#include <hastool/formats/dash/DashPresentation.h>
#include <hastool/formats/hls/HlsPresentation.h>
#include <hastool/formats/smooth/SmoothPresentation.h>

namespace hastool {

std::unique_ptr<Presentation> openPresentation(const std::string& url, const FetchDocument& fetch,
                                               std::chrono::milliseconds liveTimeout,
                                               const TimeSource& time,
                                               const RenditionChoice& choice, bool lowLatency) {
    const Document document = fetch({url, std::nullopt});
    if (looksLikeDash(document.text))
        return std::make_unique<DashPresentation>(document, fetch, liveTimeout, time, choice,
                                                  lowLatency);
    if (looksLikeSmooth(document.text))
        return std::make_unique<SmoothPresentation>(document, fetch, liveTimeout, time, choice);
    return std::make_unique<HlsPresentation>(document, fetch, liveTimeout, time, choice,
                                             lowLatency);
}

} // namespace hastool
