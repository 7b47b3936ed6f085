#include "HlsPresentation.h"

#include "HlsSelection.h"
#include <hastool/net/HttpUrl.h>

#include <utility>

namespace hastool {
namespace {

/// A media playlist by itself has no renditions to choose from.
void expectNoChoice(const RenditionChoice& choice) {
    const std::pair<const char*, const std::string&> wishes[] = {
        {"--video", choice.video}, {"--audio", choice.audio}, {"--subtitles", choice.subtitles}};
    for (const auto& [option, wanted] : wishes) {
        const bool isVideo = &wanted == &choice.video;
        if (!wanted.empty() && (wanted != kNoRendition || isVideo))
            throw noSuchRendition(option, wanted, {});
    }
}

} // namespace

HlsPresentation::HlsPresentation(const Document& document, const FetchDocument& fetch,
                                 std::chrono::milliseconds liveTimeout, const TimeSource& time,
                                 const RenditionChoice& choice, bool lowLatency)
    : m_tracks(1) {
    HlsPlaylist playlist = parseHlsPlaylist(document.text, document.url);
    const auto reader = [&](const HlsVariables* variables) {
        m_readers.emplace_back(
            fetch, [this](const std::string& what) { warn(what); }, liveTimeout, time, lowLatency);
        if (m_readers.size() == 1)
            m_readers[0].onEvent([this](TimedEvent event) { announce(std::move(event)); });
        if (variables != nullptr)
            m_readers.back().setVariables(*variables);
    };
    const auto addBeside = [&](const HlsRendition& rendition, TrackInfo info) {
        info.streams = {{0, rendition.name}};
        info.language = rendition.language;
        m_tracks.push_back(std::move(info));
        reader(&playlist.variables);
        m_readers.back().add(resolveHttpUrl(document.url, rendition.uri, document.url));
    };
    if (!playlist.isMaster()) {
        expectNoChoice(choice);
        reader(nullptr);
        m_tracks[0].streams.emplace_back();
        m_readers[0].add(document.url, std::move(playlist));
        return;
    }
    for (const std::string& warning : playlist.warnings)
        warn(warning);
    const HlsSelection selection = selectHls(playlist, choice);
    reader(&playlist.variables);
    for (const HlsVariant& variant : selection.variants) {
        m_tracks[0].streams.push_back({variant.bandwidth, variant.resolution});
        m_readers[0].add(resolveHttpUrl(document.url, variant.uri, document.url));
    }
    TrackInfo audio;
    audio.isAudio = true;
    if (selection.audio)
        addBeside(*selection.audio, audio);
    TrackInfo text;
    text.isText = true;
    if (selection.subtitles)
        addBeside(*selection.subtitles, text);
}

} // namespace hastool
