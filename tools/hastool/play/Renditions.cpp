#include "Renditions.h"

#include <hastool/media/SpsList.h>

#include <algorithm>

namespace hastool {
namespace {

/// A manifest's text is shown on terminals and in traces, so it is checked.
bool isResolution(const std::string& text) {
    constexpr char kDigits[] = "0123456789";
    constexpr size_t kMaxSize = 20;
    const size_t middle = text.find_first_not_of(kDigits);
    return text.size() <= kMaxSize && middle != 0 && middle != std::string::npos &&
           text[middle] == 'x' && middle + 1 < text.size() &&
           text.find_first_not_of(kDigits, middle + 1) == std::string::npos;
}

} // namespace

Renditions::Renditions(const std::vector<StreamInfo>& streams) {
    for (const StreamInfo& stream : streams)
        m_all.push_back(
            {m_all.size(), stream.bitrate, isResolution(stream.label) ? stream.label : ""});
}

const std::string& Renditions::learn(size_t stream, const std::string& media) {
    std::string& resolution = m_all[stream].resolution;
    if (std::find(m_played.begin(), m_played.end(), stream) != m_played.end())
        return resolution;
    m_played.push_back(stream);
    if (const auto found = findResolution(memorySource(media)))
        resolution = found->text();
    return resolution;
}

std::string Renditions::resolution(size_t stream) const {
    return stream < m_all.size() ? m_all[stream].resolution : "";
}

std::vector<PlayedRendition> Renditions::played() const {
    std::vector<PlayedRendition> result;
    for (const size_t stream : m_played)
        result.push_back(m_all[stream]);
    return result;
}

} // namespace hastool
