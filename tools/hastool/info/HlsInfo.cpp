#include "HlsInfo.h"

#include "Protections.h"
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>
#include <hastool/formats/hls/HlsPlaylist.h>
#include <hastool/net/HttpUrl.h>

#include <algorithm>
#include <limits>
#include <map>
#include <utility>

namespace hastool {
namespace {

/// What is kept of a media playlist.
struct MediaSummary {
    InfoLengths segments;
    bool hasEnded = false;
    std::vector<InfoProtection> protections;
    std::vector<std::string> warnings;
    std::string error; ///< why it could not be had; the rest is then empty
};

MediaSummary summaryOf(const HlsPlaylist& playlist) {
    MediaSummary summary;
    for (const HlsSegment& segment : playlist.segments)
        summary.segments.add(segment.seconds);
    summary.hasEnded = playlist.ended;
    summary.warnings = playlist.warnings;
    for (const HlsKey& key : playlist.keys)
        addProtection(summary.protections, protectionOf(key));
    return summary;
}

int numberOf(const std::string& text) {
    const uint64_t value = parseUnsigned(text).value_or(0);
    return value <= static_cast<uint64_t>(std::numeric_limits<int>::max()) ? static_cast<int>(value)
                                                                           : 0;
}

/// Whether one of the codecs is of video.
bool hasVideo(const std::string& codecs) {
    constexpr const char* kKinds[] = {"avc",  "hvc",  "hev",  "dvh",  "dva", "dav1",
                                      "av01", "vp08", "vp09", "mp4v", "vvc", "vvi"};
    return std::any_of(std::begin(kKinds), std::end(kKinds),
                       [&](const char* kind) { return codecs.find(kind) != std::string::npos; });
}

/// "video", "audio", or "media" where the playlist does not tell.
std::string kindOf(const HlsVariant& variant) {
    if (!variant.resolution.empty() || hasVideo(variant.codecs))
        return "video";
    return variant.codecs.empty() ? "media" : "audio";
}

InfoStream streamOf(const HlsVariant& variant) {
    InfoStream stream;
    stream.bitrate = static_cast<uint64_t>(variant.bandwidth);
    stream.averageBitrate = variant.averageBandwidth;
    stream.codecs = variant.codecs;
    stream.frameRate = variant.frameRate;
    stream.audioGroup = variant.audioGroup;
    const size_t middle = variant.resolution.find_first_of("xX");
    if (middle != std::string::npos) {
        stream.width = numberOf(variant.resolution.substr(0, middle));
        stream.height = numberOf(variant.resolution.substr(middle + 1));
    }
    return stream;
}

InfoTrack trackOf(const HlsRendition& rendition, const char* kind) {
    InfoTrack track;
    track.kind = kind;
    track.group = rendition.group;
    track.name = rendition.name;
    track.language = rendition.language;
    track.isDefault = rendition.isDefault;
    track.isForced = rendition.isForced;
    InfoStream stream;
    stream.id = rendition.inStream;
    stream.channels = numberOf(rendition.channels.substr(0, rendition.channels.find('/')));
    track.streams.push_back(std::move(stream));
    return track;
}

class Reader {
public:
    Reader(const Document& document, const InfoAccess& access)
        : m_url(document.url)
        , m_access(access)
        , m_master(parseHlsPlaylist(document.text, document.url)) {
        m_info.url = document.url;
        m_info.format = "HLS";
    }

    PresentationInfo read();

private:
    PresentationInfo readMedia();
    void expectAll() const;
    void readVariants(const std::vector<HlsVariant>& variants, bool isTrick);
    void readRenditions(const std::vector<HlsRendition>& renditions, const char* kind);
    void readInto(const std::string& uri, bool isMain, InfoTrack& track, InfoStream& stream);
    const MediaSummary& media(const std::string& uri);
    MediaSummary load(const std::string& uri) const;
    void takeLength(const MediaSummary& summary);

    const std::string m_url;
    const InfoAccess& m_access;
    const HlsPlaylist m_master;
    PresentationInfo m_info;
    std::vector<InfoTrack> m_tracks;
    std::map<std::string, MediaSummary> m_media; ///< by URI: several variants may share one
};

PresentationInfo Reader::read() {
    m_info.warnings = m_master.warnings;
    if (!m_master.isMaster())
        return readMedia();
    expectAll();
    for (const HlsKey& key : m_master.keys)
        addProtection(m_info.protections, protectionOf(key));
    readVariants(m_master.variants, false);
    readRenditions(m_master.video, "video");
    readRenditions(m_master.audio, "audio");
    readRenditions(m_master.subtitles, "subtitles");
    readRenditions(m_master.captions, "captions");
    readVariants(m_master.iFrames, true);
    m_info.periods.push_back({"", 0, m_info.duration, std::move(m_tracks)});
    return std::move(m_info);
}

/// A media playlist by itself.
PresentationInfo Reader::readMedia() {
    const MediaSummary summary = summaryOf(m_master);
    takeLength(summary);
    InfoTrack track;
    track.kind = "media";
    track.protections = summary.protections;
    track.streams.emplace_back();
    track.streams.back().segments = summary.segments;
    m_info.periods.push_back({"", 0, m_info.duration, {std::move(track)}});
    return std::move(m_info);
}

void Reader::expectAll() const {
    std::vector<Resource> resources;
    const auto add = [&](const std::string& uri) {
        try {
            const Resource next{resolveHttpUrl(m_url, uri, m_url), std::nullopt};
            if (!uri.empty() &&
                std::find(resources.begin(), resources.end(), next) == resources.end())
                resources.push_back(next);
        } catch (const ToolError&) {
            return; // its stream will say so
        }
    };
    for (const HlsVariant& variant : m_master.variants)
        add(variant.uri);
    for (const auto* const renditions : {&m_master.video, &m_master.audio, &m_master.subtitles}) {
        for (const HlsRendition& rendition : *renditions)
            add(rendition.uri);
    }
    for (const HlsVariant& variant : m_master.iFrames)
        add(variant.uri);
    if (m_access.expect)
        m_access.expect(resources);
}

/// Variants of one kind are the qualities of one track.
void Reader::readVariants(const std::vector<HlsVariant>& variants, bool isTrick) {
    for (const char* const kind : {"video", "media", "audio"}) {
        InfoTrack track;
        track.kind = kind;
        track.isTrick = isTrick;
        for (const HlsVariant& variant : variants) {
            if ((isTrick ? "video" : kindOf(variant)) != track.kind)
                continue;
            track.streams.push_back(streamOf(variant));
            readInto(variant.uri, !isTrick, track, track.streams.back());
        }
        sortStreams(track);
        if (!track.streams.empty())
            m_tracks.push_back(std::move(track));
    }
}

void Reader::readRenditions(const std::vector<HlsRendition>& renditions, const char* kind) {
    for (const HlsRendition& rendition : renditions) {
        InfoTrack track = trackOf(rendition, kind);
        if (!rendition.uri.empty()) // the others come with the variants
            readInto(rendition.uri, false, track, track.streams.back());
        m_tracks.push_back(std::move(track));
    }
}

/// @param isMain  whether the playlist says how long the presentation is
void Reader::readInto(const std::string& uri, bool isMain, InfoTrack& track, InfoStream& stream) {
    const MediaSummary& summary = media(uri);
    stream.error = summary.error;
    if (!summary.error.empty())
        return;
    stream.segments = summary.segments;
    for (const InfoProtection& it : summary.protections)
        addProtection(track.protections, it);
    if (isMain)
        takeLength(summary);
}

const MediaSummary& Reader::media(const std::string& uri) {
    const auto known = m_media.find(uri);
    if (known != m_media.end())
        return known->second;
    MediaSummary summary;
    try {
        summary = load(uri);
    } catch (const ToolError& error) {
        summary.error = error.what();
    }
    const auto& warnings = summary.warnings;
    if (m_info.warnings.size() < kMaxWarnings)
        m_info.warnings.insert(m_info.warnings.end(), warnings.begin(), warnings.end());
    return m_media[uri] = std::move(summary);
}

MediaSummary Reader::load(const std::string& uri) const {
    const Document document = m_access.fetch({resolveHttpUrl(m_url, uri, m_url), std::nullopt});
    const HlsPlaylist playlist = parseHlsPlaylist(document.text, document.url, &m_master.variables);
    if (playlist.isMaster())
        throw ToolError(document.url, "a master playlist where a media playlist should be");
    return summaryOf(playlist);
}

/// The presentation is as long as its longest variant; a live one has no length but what is kept.
void Reader::takeLength(const MediaSummary& summary) {
    m_info.isLive = m_info.isLive.value_or(false) || !summary.hasEnded;
    const double longest =
        std::max(m_info.duration.value_or(m_info.timeShift.value_or(0)), summary.segments.sum);
    m_info.duration.reset();
    m_info.timeShift.reset();
    (*m_info.isLive ? m_info.timeShift : m_info.duration) = longest;
}

} // namespace

PresentationInfo readHlsInfo(const Document& document, const InfoAccess& access) {
    return Reader(document, access).read();
}

} // namespace hastool
