#include "LiveHls.h"

#include <hastool/base/ByteSource.h>
#include <hastool/base/HtmlText.h>
#include <hastool/base/IsoTime.h>
#include <hastool/base/PercentCoding.h>
#include <hastool/base/ToolError.h>
#include <hastool/net/AesKey.h>
#include <hastool/net/HttpUrl.h>

#include <Hascommon/GURL.h>

#include <algorithm>
#include <cmath>

namespace hastool {
namespace {

namespace fs = std::filesystem;

constexpr char kBase[] = "http://folder"; // stands for the folder, as playlists need URLs
constexpr double kMinSegments = 6;        // in a window, twice what a player stays behind
constexpr double kListedParts = 3;        // target durations before the end
constexpr double kTargetMargin = 1.1;     // parts end with a picture, and may be longer by one
constexpr double kMaxAhead = 2;           // segments that may be asked for beyond the last one
constexpr double kTolerance = 0.0005;     // seconds

std::string urlOf(const std::string& path) {
    return kBase + encodedPath(path);
}

std::string pathOf(const std::string& base, const std::string& uri) {
    const std::string url = resolveHttpUrl(urlOf(base), uri, base);
    return percentDecoded(hascommon::GURL(url).path());
}

fs::path fileOf(const ServedFolder& folder, const std::string& path) {
    const auto file = folder.find(path);
    if (!file)
        throw ToolError(path, "no such file");
    return *file;
}

std::string textOf(const fs::path& file) {
    std::string text;
    fileSource(file.string())([&](const unsigned char* data, size_t size) {
        text.append(reinterpret_cast<const char*>(data), size);
    });
    return text;
}

std::string hexText(const AesBytes& bytes) {
    static const char kDigits[] = "0123456789abcdef";
    std::string text = "0x";
    for (const unsigned char byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

/// A key of a segment, whose vector may come from a number that it no longer has.
std::string keyTag(const HlsKey* key, uint64_t sequence) {
    if (key == nullptr)
        return "#EXT-X-KEY:METHOD=NONE\n";
    const AesBytes iv = parseIvAttribute(key->iv).value_or(ivOfSequence(sequence));
    return "#EXT-X-KEY:METHOD=" + key->method + ",URI=\"" + key->uri + "\",IV=" + hexText(iv) +
           (key->format == HlsKey().format ? "" : ",KEYFORMAT=\"" + key->format + "\"") + "\n";
}

std::string tagsOf(const HlsSegment& segment) {
    std::string text;
    if (segment.map) {
        const HlsMap& map = *segment.map;
        text += keyTag(map.key.get(), segment.sequence) + "#EXT-X-MAP:URI=\"" + map.uri + "\"";
        if (map.range && map.range->length)
            text += ",BYTERANGE=\"" + std::to_string(*map.range->length) + "@" +
                    std::to_string(map.range->first) + "\"";
        text += "\n";
    }
    return text + keyTag(segment.key.get(), segment.sequence);
}

double lengthOf(const HlsPlaylist& playlist) {
    double seconds = 0;
    for (const HlsSegment& it : playlist.segments)
        seconds += it.seconds;
    return seconds;
}

} // namespace

LiveHls::LiveHls(const ServedFolder& folder, const std::string& path, const LiveOptions& options)
    : m_options(options) {
    const HlsPlaylist top = read(folder, path, nullptr);
    std::map<std::string, HlsPlaylist> sources;
    if (!top.isMaster())
        sources[path] = top;
    for (const HlsVariant& it : top.variants)
        sources[pathOf(path, it.uri)] = {};
    for (const HlsRendition& it : top.audio) {
        if (!it.uri.empty())
            sources[pathOf(path, it.uri)] = {};
    }
    double round = 0;
    for (auto& [place, source] : sources) {
        if (place != path)
            source = read(folder, place, &top.variables);
        round = std::max(round, lengthOf(source));
    }
    for (const auto& [place, source] : sources)
        add(folder, place, source, round);
}

HlsPlaylist LiveHls::read(const ServedFolder& folder, const std::string& path,
                          const HlsVariables* master) const {
    return parseHlsPlaylist(textOf(fileOf(folder, path)), urlOf(path), master);
}

void LiveHls::add(const ServedFolder& folder, const std::string& path, const HlsPlaylist& source,
                  double round) {
    if (source.segments.empty() || !source.ended)
        throw ToolError(path, "not a playlist with an end");
    Playlist playlist;
    std::vector<LoopSegment> segments;
    double time = 0;
    for (const HlsSegment& it : source.segments) {
        if (it.seconds <= 0)
            throw ToolError(path, "a segment without a duration");
        segments.push_back({fileOf(folder, pathOf(path, it.uri)), it.range, time, it.seconds,
                            it.sequence, it.discontinuity, it.gap});
        playlist.tags.push_back(tagsOf(it));
        time += it.seconds;
    }
    const fs::path place(path);
    playlist.prefix = (place.parent_path() / (place.stem().string() + "-live-")).generic_string();
    playlist.name = place.stem().string() + "-live-";
    playlist.extension = segments[0].file.extension().string();
    LiveStream::Media media;
    if (source.segments[0].map) {
        const auto init = fileOf(folder, pathOf(path, source.segments[0].map->uri));
        media.tracks = readInitTracks(textOf(init));
    }
    if (m_options.lowLatency)
        media.chunkSeconds = m_options.chunkSeconds;
    LiveLoop loop(std::move(segments), round);
    m_options.window = std::max(m_options.window, kMinSegments * loop.longest());
    playlist.media = std::make_shared<LiveStream>(std::move(loop), std::move(media));
    playlist.hasParts = m_options.lowLatency && canHaveParts(source, *playlist.media);
    m_streams[playlist.prefix] = {playlist.media, playlist.extension, false, playlist.hasParts};
    m_playlists[path] = std::move(playlist);
}

/// A part of an encrypted segment cannot be decrypted before the segment is whole, as its padding
/// stands at the end.
bool LiveHls::canHaveParts(const HlsPlaylist& source, const LiveStream& media) const {
    for (const HlsSegment& it : source.segments) {
        if (it.key || it.gap)
            return false;
    }
    for (uint64_t i = 0; i < media.loop().size(); ++i) {
        for (const LiveStream::Part& part : media.parts(i)) {
            if (part.seconds > partTarget() + kTolerance)
                return false;
        }
    }
    return true;
}

double LiveHls::partTarget() const {
    return m_options.chunkSeconds * kTargetMargin;
}

LiveHls::Extent LiveHls::extent(const Playlist& playlist, double now) const {
    const LiveLoop& loop = playlist.media->loop();
    Extent result;
    result.end = loop.firstAfter(now);
    result.first = std::min(loop.firstAfter(now - m_options.window), result.end);
    if (!playlist.hasParts)
        return result;
    double time = loop.start(result.end);
    for (const LiveStream::Part& part : playlist.media->parts(result.end)) {
        time += part.seconds;
        result.hasNext = time > now + kTolerance;
        if (result.hasNext)
            return result;
        result.begun.push_back(part);
    }
    return result;
}

LiveDue LiveHls::due(const std::string& path, const LiveQuery& query, double now) const {
    const Playlist& playlist = m_playlists.at(path);
    const LiveLoop& loop = playlist.media->loop();
    if (!m_options.lowLatency || !query.sequence || *query.sequence == 0)
        return {};
    const Extent extent = this->extent(playlist, now);
    if (*query.sequence > extent.end + static_cast<uint64_t>(kMaxAhead))
        return {true, 0};
    uint64_t number = *query.sequence - 1;
    if (number < extent.end)
        return {};
    if (!query.part || !playlist.hasParts)
        return {false, loop.end(number)};
    const double advance = partTarget() < 1 ? std::ceil(3 / partTarget()) : 3;
    const uint64_t begun = number == extent.end ? extent.begun.size() : 0;
    if (*query.part >= begun + static_cast<uint64_t>(advance))
        return {true, 0};
    auto parts = playlist.media->parts(number);
    uint64_t last = *query.part;
    if (last >= parts.size()) { // the begin of the next segment stands for it
        parts = playlist.media->parts(++number);
        last = 0;
    }
    double time = loop.start(number);
    for (uint64_t i = 0; i <= last; ++i)
        time += parts[static_cast<size_t>(i)].seconds;
    return {false, time};
}

std::string LiveHls::head(const Playlist& playlist, const Extent& extent) const {
    const LiveLoop& loop = playlist.media->loop();
    const double target = std::ceil(loop.longest() - kTolerance);
    std::string text = "#EXTM3U\n#EXT-X-VERSION:6\n#EXT-X-TARGETDURATION:" + fixedText(target, 0);
    text += "\n#EXT-X-MEDIA-SEQUENCE:" + std::to_string(extent.first + 1) +
            "\n#EXT-X-DISCONTINUITY-SEQUENCE:" + std::to_string(loop.breaksBefore(extent.first)) +
            "\n";
    if (!m_options.lowLatency)
        return text;
    text += "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,HOLD-BACK=" + fixedText(3 * target, 3);
    if (playlist.hasParts)
        text += ",PART-HOLD-BACK=" + fixedText(3 * partTarget(), 3) +
                "\n#EXT-X-PART-INF:PART-TARGET=" + fixedText(partTarget(), 3);
    return text + "\n";
}

void LiveHls::addSegment(std::string& text, const Playlist& playlist, uint64_t number, bool isFirst,
                         double epoch) const {
    const LiveLoop& loop = playlist.media->loop();
    const bool isBreak = loop.isBreak(number);
    if (isBreak)
        text += "#EXT-X-DISCONTINUITY\n";
    const std::string& tags = playlist.tags[loop.indexOf(number)];
    const bool isClear = tags == keyTag(nullptr, 0);
    const bool isSame = number > 0 && tags == playlist.tags[loop.indexOf(number - 1)];
    if (isFirst ? !isClear : (!isSame || isBreak))
        text += tags;
    if (isFirst || isBreak)
        text += "#EXT-X-PROGRAM-DATE-TIME:" + isoDateTime(epoch + loop.start(number)) + "\n";
    if (loop.at(number).gap)
        text += "#EXT-X-GAP\n";
}

void LiveHls::addParts(std::string& text, const Playlist& playlist, uint64_t number,
                       const std::vector<LiveStream::Part>& parts) const {
    for (size_t i = 0; i < parts.size(); ++i)
        text += "#EXT-X-PART:DURATION=" + fixedText(parts[i].seconds, 5) + ",URI=\"" +
                playlist.name + std::to_string(number + 1) + "." + std::to_string(i) +
                playlist.extension + "\"" + (parts[i].independent ? ",INDEPENDENT=YES" : "") + "\n";
}

std::string LiveHls::manifest(const std::string& path, double now, double epoch) const {
    const Playlist& playlist = m_playlists.at(path);
    const LiveLoop& loop = playlist.media->loop();
    const Extent extent = this->extent(playlist, now);
    std::string text = head(playlist, extent);
    for (uint64_t i = extent.first; i < extent.end; ++i) {
        addSegment(text, playlist, i, i == extent.first, epoch);
        if (playlist.hasParts && loop.end(i) > now - kListedParts * std::ceil(loop.longest()))
            addParts(text, playlist, i, playlist.media->parts(i));
        text += "#EXTINF:" + fixedText(loop.at(i).seconds, 5) + ",\n" + playlist.name +
                std::to_string(i + 1) + playlist.extension + "\n";
    }
    if (!playlist.hasParts)
        return text;
    // A segment that has begun, or is about to.
    addSegment(text, playlist, extent.end, extent.first == extent.end, epoch);
    addParts(text, playlist, extent.end, extent.begun);
    if (extent.hasNext)
        text += "#EXT-X-PRELOAD-HINT:TYPE=PART,URI=\"" + playlist.name +
                std::to_string(extent.end + 1) + "." + std::to_string(extent.begun.size()) +
                playlist.extension + "\"\n";
    for (const auto& [place, other] : m_playlists) {
        if (place == path || !other.hasParts)
            continue;
        const Extent its = this->extent(other, now);
        const bool hasBegun = !its.begun.empty();
        const uint64_t last = hasBegun ? its.end : its.end - std::min<uint64_t>(its.end, 1);
        const size_t parts = hasBegun ? its.begun.size() : other.media->parts(last).size();
        text += "#EXT-X-RENDITION-REPORT:URI=\"" +
                fs::path(place).lexically_relative(fs::path(path).parent_path()).generic_string() +
                "\",LAST-MSN=" + std::to_string(last + 1) +
                ",LAST-PART=" + std::to_string(parts - 1) + "\n";
    }
    return text;
}

} // namespace hastool
