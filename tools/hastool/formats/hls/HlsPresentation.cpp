#include "HlsPresentation.h"

#include <hastool/net/HttpUrl.h>

#include <algorithm>
#include <iterator>

namespace hastool {
namespace {

bool hasVideo(const HlsVariant& variant) {
    static const char* const kinds[] = {"avc", "hvc", "hev", "dvh", "av01", "vp0", "mp4v"};
    return variant.codecs.empty() || !variant.resolution.empty() ||
           std::any_of(std::begin(kinds), std::end(kinds), [&](const char* kind) {
               return variant.codecs.find(kind) != std::string::npos;
           });
}

/// The variants to choose from: with video if there is any, one per bitrate, in ascending order.
std::vector<HlsVariant> usableVariants(std::vector<HlsVariant> variants) {
    if (std::any_of(variants.begin(), variants.end(), hasVideo)) {
        const auto end = std::remove_if(variants.begin(), variants.end(),
                                        [](const HlsVariant& it) { return !hasVideo(it); });
        variants.erase(end, variants.end());
    }
    std::stable_sort(variants.begin(), variants.end(), [](const auto& left, const auto& right) {
        return left.bandwidth < right.bandwidth;
    });
    const auto end =
        std::unique(variants.begin(), variants.end(), [](const auto& left, const auto& right) {
            return left.bandwidth == right.bandwidth;
        });
    variants.erase(end, variants.end());
    return variants;
}

/// The rendition of a group that is played; null when its audio comes with the video.
const HlsRendition* findAudio(const HlsPlaylist& playlist, const std::string& group) {
    const HlsRendition* best = nullptr;
    for (const HlsRendition& it : playlist.audio) {
        if (it.group != group || group.empty())
            continue;
        if (best == nullptr || (it.isDefault && !best->isDefault))
            best = &it;
    }
    return best != nullptr && !best->uri.empty() ? best : nullptr;
}

} // namespace

HlsPresentation::HlsPresentation(const Document& document, const FetchDocument& fetch,
                                 std::chrono::milliseconds liveTimeout, const TimeSource& time)
    : m_tracks(1) {
    HlsPlaylist playlist = parseHlsPlaylist(document.text, document.url);
    const auto tell = [this](const std::string& what) { warn(what); };
    m_readers.emplace_back(fetch, tell, liveTimeout, time);
    if (!playlist.isMaster()) {
        m_tracks[0].streams.emplace_back();
        m_readers[0].add(document.url, std::move(playlist));
        return;
    }
    for (const std::string& warning : playlist.warnings)
        warn(warning);
    m_readers[0].setVariables(playlist.variables);
    const std::vector<HlsVariant> variants = usableVariants(playlist.variants);
    for (const HlsVariant& variant : variants) {
        m_tracks[0].streams.push_back({variant.bandwidth, variant.resolution});
        m_readers[0].add(resolveHttpUrl(document.url, variant.uri, document.url));
    }
    const HlsRendition* const audio = findAudio(playlist, variants.front().audioGroup);
    if (audio == nullptr)
        return;
    m_tracks.push_back({true, {{0, audio->name}}});
    m_readers.emplace_back(fetch, tell, liveTimeout, time);
    m_readers[1].setVariables(playlist.variables);
    m_readers[1].add(resolveHttpUrl(document.url, audio->uri, document.url));
}

} // namespace hastool
