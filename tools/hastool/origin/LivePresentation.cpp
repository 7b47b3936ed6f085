#include "LivePresentation.h"

namespace hastool {

std::optional<LoopSegment> LivePresentation::file(const std::string& path) const {
    const auto found = m_files.find(path);
    return found != m_files.end() ? std::optional(found->second) : std::nullopt;
}

LiveDue LivePresentation::due(const std::string&, const LiveQuery&, double) const {
    return {};
}

} // namespace hastool
