#include "Presentation.h"

#include "DashPresentation.h"
#include "HlsPresentation.h"
#include "SmoothPresentation.h"

#include <utility>

namespace hastool {

void Presentation::warn(const std::string& what) {
    if (m_told.size() < kMaxWarnings && m_told.insert(what).second)
        m_warnings.push_back(what);
}

std::vector<std::string> Presentation::takeWarnings() {
    return std::exchange(m_warnings, {});
}

std::unique_ptr<Presentation> openPresentation(const std::string& url, const FetchDocument& fetch,
                                               std::chrono::milliseconds liveTimeout,
                                               const TimeSource& time) {
    const Document document = fetch({url, std::nullopt});
    if (looksLikeDash(document.text))
        return std::make_unique<DashPresentation>(document, fetch, liveTimeout, time);
    if (looksLikeSmooth(document.text))
        return std::make_unique<SmoothPresentation>(document, fetch, liveTimeout, time);
    return std::make_unique<HlsPresentation>(document, fetch, liveTimeout, time);
}

} // namespace hastool
