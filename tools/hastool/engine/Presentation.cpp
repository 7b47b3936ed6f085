#include "Presentation.h"

#include "HlsPresentation.h"

namespace hastool {

std::unique_ptr<Presentation> openPresentation(const std::string& url, const FetchDocument& fetch,
                                               std::chrono::milliseconds liveTimeout) {
    return std::make_unique<HlsPresentation>(fetch(url), fetch, liveTimeout);
}

} // namespace hastool
