#include "HlsTrack.h"

#include <hastool/base/ToolError.h>
#include <hastool/net/HttpUrl.h>

#include <algorithm>

namespace hastool {
namespace {

constexpr size_t kLiveDistance = 3;                  // segments before the end (RFC 8216, 6.3.3)
constexpr double kBoundaryTolerance = 0.25;          // of a segment: streams are cut nearly alike
constexpr std::chrono::milliseconds kMinReload{100}; // no server deserves more

/// A place in a playlist.
struct Place {
    uint64_t sequence = 0;
    double begin = 0; ///< seconds since the playlist's begin
};

/// The place of the segment to go on with at a time, or of the playlist's end.
Place placeAt(const HlsPlaylist& playlist, double time) {
    double begin = 0;
    for (const HlsSegment& segment : playlist.segments) {
        if (begin + segment.seconds * (1 - kBoundaryTolerance) > time)
            return {segment.sequence, begin};
        begin += segment.seconds;
    }
    return {playlist.mediaSequence + playlist.segments.size(), begin};
}

/// When a segment begins, in seconds since the epoch: by its own date, or by the last date before
/// it. Where dates begin behind it, by the first of them.
std::optional<double> dateOf(const HlsPlaylist& playlist, const HlsSegment& wanted) {
    std::optional<double> origin; // the date of the playlist's begin
    double offset = 0;
    double wantedOffset = 0;
    for (const HlsSegment& it : playlist.segments) {
        if (it.sequence > wanted.sequence && origin)
            break;
        if (it.dateTime)
            origin = *it.dateTime - offset;
        if (it.sequence == wanted.sequence)
            wantedOffset = offset;
        offset += it.seconds;
    }
    return origin ? std::optional(*origin + wantedOffset) : std::nullopt;
}

std::chrono::milliseconds inMilliseconds(double seconds) {
    return std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
}

} // namespace

void HlsTrack::add(const std::string& url) {
    Rendition rendition;
    rendition.url = url;
    m_renditions.push_back(std::move(rendition));
}

void HlsTrack::add(const std::string& url, HlsPlaylist playlist) {
    add(url);
    take(m_renditions.back(), std::move(playlist), url);
}

bool HlsTrack::isLive() const {
    const Rendition& rendition = m_renditions[m_current];
    return rendition.loaded && !rendition.playlist.ended;
}

NextPiece HlsTrack::next(size_t stream) {
    Rendition& rendition = m_renditions.at(stream);
    if (!rendition.loaded)
        load(rendition);
    enter(stream);
    uint64_t lost = 0;
    const HlsSegment* segment = find(rendition, lost);
    if (segment == nullptr && !rendition.playlist.ended && reload(rendition)) {
        enter(stream);
        segment = find(rendition, lost);
    }
    if (segment == nullptr)
        return nothingNew(rendition);
    NextPiece result = pieceOf(rendition, *segment);
    result.piece.lost = lost;
    announceRanges(rendition, *segment);
    m_time += segment->seconds;
    m_sequence = segment->sequence + 1;
    m_wait.end();
    return result;
}

void HlsTrack::load(Rendition& rendition) {
    const Document document = m_fetch({rendition.url, std::nullopt});
    HlsPlaylist playlist =
        parseHlsPlaylist(document.text, document.url, m_variables ? &*m_variables : nullptr);
    if (playlist.isMaster())
        throw ToolError(document.url, "a master playlist where a media playlist should be");
    take(rendition, std::move(playlist), document.url);
}

void HlsTrack::take(Rendition& rendition, HlsPlaylist playlist, const std::string& base) {
    const auto endOf = [](const HlsPlaylist& it) { return it.mediaSequence + it.segments.size(); };
    for (const std::string& warning : playlist.warnings)
        m_warn(warning);
    rendition.loadedAt = m_clock.steady();
    rendition.changed = !rendition.loaded || endOf(playlist) != endOf(rendition.playlist);
    rendition.playlist = std::move(playlist);
    rendition.base = base;
    rendition.loaded = true;
    rendition.announced = false;
}

/// Loads a live playlist again once that is due. A failure ends the play only after the live
/// time-out, see LiveWait.
bool HlsTrack::reload(Rendition& rendition) {
    if (m_clock.steady() - rendition.loadedAt < reloadInterval(rendition))
        return false;
    try {
        load(rendition);
        m_wait.loaded();
        return true;
    } catch (const ToolError& error) {
        m_wait.loadFailed(error);
        rendition.loadedAt = m_clock.steady();
        rendition.changed = false;
        return false;
    }
}

/// Finds the place to go on at when reading begins, the stream changes, or a live stream's numbers
/// have started anew.
void HlsTrack::enter(size_t stream) {
    const HlsPlaylist& playlist = m_renditions[stream].playlist;
    const size_t count = playlist.segments.size();
    if (!m_joined) {
        m_fromBegin = playlist.ended;
        m_sequence = playlist.mediaSequence;
        if (!m_fromBegin)
            m_sequence += count - std::min(count, kLiveDistance);
        // A live playlist may be empty for a while; it is joined when there is something.
        m_joined = count > 0;
    } else if (m_fromBegin && stream != m_current) {
        const Place place = placeAt(playlist, m_time);
        m_sequence = place.sequence;
        m_time = place.begin;
    } else if (m_sequence > playlist.mediaSequence + 2 * count && count > 0) {
        m_sequence = playlist.mediaSequence + count - std::min(count, kLiveDistance);
    }
    m_current = stream;
}

const HlsSegment* HlsTrack::find(const Rendition& rendition, uint64_t& lost) const {
    const auto& segments = rendition.playlist.segments;
    if (!m_joined)
        return nullptr;
    const uint64_t first = rendition.playlist.mediaSequence;
    lost = first - std::min(first, m_sequence);
    const uint64_t index = m_sequence + lost - first;
    return index < segments.size() ? &segments[static_cast<size_t>(index)] : nullptr;
}

NextPiece HlsTrack::nothingNew(const Rendition& rendition) {
    if (rendition.playlist.ended)
        return {};
    return m_wait.wait(rendition.loadedAt + reloadInterval(rendition), rendition.url);
}

NextPiece HlsTrack::pieceOf(const Rendition& rendition, const HlsSegment& segment) {
    NextPiece result;
    result.kind = NextPiece::Kind::Piece;
    result.piece.media = mediaOf(rendition, segment);
    if (segment.map)
        result.piece.init = initOf(rendition, segment);
    result.piece.index = segment.sequence;
    result.piece.seconds = segment.seconds;
    result.piece.discontinuity = segment.discontinuity;
    result.piece.missing = segment.gap;
    result.piece.dateTime = segment.dateTime;
    if (segment.cue == HlsCue::Out)
        result.piece.advertisement = MediaPiece::Advertisement::Begins;
    else if (segment.cue == HlsCue::In)
        result.piece.advertisement = MediaPiece::Advertisement::Ends;
    result.piece.start = m_time;
    return result;
}

/// Date ranges are placed by the date of the segment that is read next. A discontinuity may move
/// the dates.
void HlsTrack::announceRanges(Rendition& rendition, const HlsSegment& segment) {
    const bool isMoved = segment.discontinuity && segment.dateTime;
    if (!m_announce || rendition.playlist.dateRanges.empty() || (rendition.announced && !isMoved))
        return;
    const auto date = dateOf(rendition.playlist, segment);
    if (!date)
        return;
    rendition.announced = true;
    for (const HlsDateRange& range : rendition.playlist.dateRanges)
        m_announce(eventOf(range, *date - m_time));
}

MediaPart HlsTrack::mediaOf(const Rendition& rendition, const HlsSegment& segment) const {
    MediaPart part;
    part.resource = {resolve(rendition, segment.uri), segment.range};
    if (segment.key)
        part.encryption =
            Encryption{keyUrlOf(rendition, *segment.key, segment),
                       parseIvAttribute(segment.key->iv).value_or(ivOfSequence(segment.sequence))};
    return part;
}

/// An initialisation has no sequence number to take the vector from, so its key must give one.
MediaPart HlsTrack::initOf(const Rendition& rendition, const HlsSegment& segment) const {
    const HlsMap& map = *segment.map;
    MediaPart part;
    part.resource = {resolve(rendition, map.uri), map.range};
    if (!map.key)
        return part;
    const std::string keyUrl = keyUrlOf(rendition, *map.key, segment);
    const auto iv = parseIvAttribute(map.key->iv);
    if (!iv)
        throw ToolError(rendition.base, "segment " + std::to_string(segment.sequence) +
                                            ": its #EXT-X-MAP is encrypted without an IV");
    part.encryption = Encryption{keyUrl, *iv};
    return part;
}

std::string HlsTrack::keyUrlOf(const Rendition& rendition, const HlsKey& key,
                               const HlsSegment& segment) const {
    const std::string where = "segment " + std::to_string(segment.sequence);
    if (key.method != "AES-128")
        throw ToolError(rendition.base, where + " is encrypted by " + inQuotes(key.method) +
                                            "; only AES-128 can be played");
    if (key.format != HlsKey().format)
        throw ToolError(rendition.base, where + " has a key of the format " + inQuotes(key.format) +
                                            ", which cannot be fetched");
    return resolve(rendition, key.uri);
}

std::string HlsTrack::resolve(const Rendition& rendition, const std::string& uri) {
    return resolveHttpUrl(rendition.base, uri, rendition.base);
}

std::chrono::milliseconds HlsTrack::reloadInterval(const Rendition& rendition) {
    const auto target = inMilliseconds(rendition.playlist.targetSeconds);
    return std::max(rendition.changed ? target : target / 2, kMinReload);
}

} // namespace hastool
