#include "HlsTrack.h"

#include <hastool/base/ToolError.h>
#include <hastool/net/HttpUrl.h>

#include <algorithm>
#include <utility>

namespace hastool {
namespace {

constexpr size_t kLiveDistance = 3;                  // segments before the end (RFC 8216, 6.3.3)
constexpr double kPartDistance = 3;                  // part targets, where none is given
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

/// Where to begin in a playlist with parts.
struct JoinPlace {
    uint64_t sequence = 0;
    size_t part = 0;
};

/// The last segment, or part that can be decoded without others, from which it is so far to the
/// end; the first segment where the playlist is not as long.
JoinPlace joinPlace(const HlsPlaylist& playlist, double distance) {
    double left = 0;
    const auto goBack = [&](const HlsSegment& segment) -> std::optional<JoinPlace> {
        double whole = left + segment.seconds;
        if (!segment.parts.empty()) {
            whole = left;
            for (size_t i = segment.parts.size(); i-- > 0;) {
                whole += segment.parts[i].seconds;
                if (whole >= distance && (i == 0 || segment.parts[i].independent))
                    return JoinPlace{segment.sequence, i};
            }
        }
        left = whole;
        return whole >= distance ? std::optional(JoinPlace{segment.sequence, 0}) : std::nullopt;
    };
    if (playlist.begun) {
        if (const auto place = goBack(*playlist.begun))
            return *place;
    }
    for (auto it = playlist.segments.rbegin(); it != playlist.segments.rend(); ++it) {
        if (const auto place = goBack(*it))
            return *place;
    }
    return {playlist.mediaSequence, 0};
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
        load(rendition, {rendition.url, std::nullopt});
    enter(stream);
    uint64_t lost = 0;
    Found found = find(rendition, lost);
    if (found.segment == nullptr && !rendition.playlist.ended && reload(rendition)) {
        enter(stream);
        found = find(rendition, lost);
    }
    if (found.segment == nullptr)
        return nothingNew(rendition);
    NextPiece result = pieceOf(rendition, found);
    result.piece.lost = lost;
    announceRanges(rendition, *found.segment);
    advance(found);
    m_wait.end();
    return result;
}

NextPiece HlsTrack::again(size_t stream) {
    const double behind = std::exchange(m_time, m_lastTime);
    const uint64_t following = std::exchange(m_sequence, m_lastSequence);
    try {
        return next(stream);
    } catch (...) {
        m_time = behind;
        m_sequence = following;
        throw;
    }
}

std::vector<uint64_t> HlsTrack::nextSizes() const {
    std::vector<uint64_t> sizes;
    for (size_t i = 0; i < m_renditions.size(); ++i) {
        const HlsSegment* const segment = peek(i);
        if (segment == nullptr || !segment->range || !segment->range->length)
            return {};
        sizes.push_back(*segment->range->length);
    }
    return sizes;
}

/// The segment that would be next in a stream; null where that is not known, or it comes by parts.
const HlsSegment* HlsTrack::peek(size_t stream) const {
    const Rendition& rendition = m_renditions[stream];
    const HlsPlaylist& playlist = rendition.playlist;
    if (!m_joined || !rendition.loaded || m_part > 0)
        return nullptr;
    const bool isByTime = m_fromBegin && stream != m_current;
    const uint64_t sequence = isByTime ? placeAt(playlist, m_time).sequence : m_sequence;
    const uint64_t index = sequence - playlist.mediaSequence;
    const bool isListed = sequence >= playlist.mediaSequence && index < playlist.segments.size();
    return isListed ? &playlist.segments[static_cast<size_t>(index)] : nullptr;
}

void HlsTrack::advance(const Found& found) {
    m_lastTime = m_time;
    m_lastSequence = found.segment->sequence;
    m_time += found.part != nullptr ? found.part->seconds : found.segment->seconds;
    m_sequence = found.segment->sequence;
    if (found.part != nullptr)
        ++m_part;
    else
        leaveSegment();
}

void HlsTrack::leaveSegment() {
    ++m_sequence;
    m_part = 0;
}

void HlsTrack::load(Rendition& rendition, const Resource& resource) {
    const Document document = m_fetch(resource);
    HlsPlaylist playlist =
        parseHlsPlaylist(document.text, document.url, m_variables ? &*m_variables : nullptr);
    if (playlist.isMaster())
        throw ToolError(document.url, "a master playlist where a media playlist should be");
    take(rendition, std::move(playlist), document.url);
}

bool HlsTrack::usesParts(const Rendition& rendition) const {
    return m_lowLatency && !rendition.isDistrusted && !rendition.playlist.ended &&
           rendition.playlist.lowLatency.partTarget > 0;
}

bool HlsTrack::isLowLatency() const {
    const Rendition& rendition = m_renditions[m_current];
    return rendition.loaded && usesParts(rendition);
}

/// The playlist's end moves on while it is not loaded.
std::optional<double> HlsTrack::liveEdge() const {
    const Rendition& rendition = m_renditions[m_current];
    const HlsPlaylist& playlist = rendition.playlist;
    if (!isLive() || !m_joined)
        return std::nullopt;
    double edge = m_time;
    for (const HlsSegment& segment : playlist.segments)
        edge += segment.sequence >= m_sequence ? segment.seconds : 0;
    const uint64_t last = playlist.mediaSequence + playlist.segments.size();
    for (size_t i = 0; playlist.begun && i < playlist.begun->parts.size(); ++i)
        edge += last >= m_sequence ? playlist.begun->parts[i].seconds : 0;
    for (const HlsSegment& segment : playlist.segments) {
        for (size_t i = 0; segment.sequence == m_sequence && i < segment.parts.size(); ++i)
            edge -= i < m_part ? segment.parts[i].seconds : 0;
    }
    for (size_t i = 0; playlist.begun && last == m_sequence && i < playlist.begun->parts.size();
         ++i)
        edge -= i < m_part ? playlist.begun->parts[i].seconds : 0;
    const std::chrono::duration<double> age = m_clock.steady() - rendition.changedAt;
    return edge + age.count();
}

void HlsTrack::take(Rendition& rendition, HlsPlaylist playlist, const std::string& base) {
    const auto endOf = [](const HlsPlaylist& it) {
        return std::pair(it.mediaSequence + it.segments.size(),
                         it.begun ? it.begun->parts.size() : 0);
    };
    for (const std::string& warning : playlist.warnings)
        m_warn(warning);
    rendition.loadedAt = m_clock.steady();
    rendition.changed = !rendition.loaded || endOf(playlist) != endOf(rendition.playlist);
    if (rendition.changed)
        rendition.changedAt = rendition.loadedAt;
    if (playlist.hasBadParts && m_lowLatency && !rendition.isDistrusted) {
        m_warn(base + ": parts that contradict their segment; whole segments are played");
        rendition.isDistrusted = true;
    }
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
    const Resource resource = reloadOf(rendition);
    try {
        load(rendition, resource);
        m_wait.loaded();
        return true;
    } catch (const ToolError& error) {
        m_wait.loadFailed(error);
        rendition.loadedAt = m_clock.steady();
        rendition.changed = false;
        rendition.isDistrusted = rendition.isDistrusted || resource.isHeld;
        return false;
    }
}

/// Where the server can hold a reload, it is asked for the very part that comes next.
Resource HlsTrack::reloadOf(const Rendition& rendition) const {
    Resource resource{rendition.url, std::nullopt};
    if (!m_joined || !usesParts(rendition) || !rendition.playlist.lowLatency.canBlock)
        return resource;
    resource.url += resource.url.find('?') == std::string::npos ? '?' : '&';
    resource.url +=
        "_HLS_msn=" + std::to_string(m_sequence) + "&_HLS_part=" + std::to_string(m_part);
    resource.isHeld = true;
    return resource;
}

/// Finds the place to go on at when reading begins, the stream changes, or a live stream's numbers
/// have started anew.
void HlsTrack::enter(size_t stream) {
    const Rendition& rendition = m_renditions[stream];
    const HlsPlaylist& playlist = rendition.playlist;
    const size_t count = playlist.segments.size();
    if (stream != m_current && m_part > 0)
        leaveSegment(); // the other stream's parts need not begin where this one's do
    if (!m_joined) {
        m_fromBegin = playlist.ended;
        join(rendition);
        // A live playlist may be empty for a while; it is joined when there is something.
        m_joined = count > 0;
    } else if (m_fromBegin && stream != m_current) {
        const Place place = placeAt(playlist, m_time);
        m_sequence = place.sequence;
        m_time = place.begin;
    } else if (m_sequence > playlist.mediaSequence + 2 * count && count > 0) {
        join(rendition);
    }
    m_current = stream;
}

void HlsTrack::join(const Rendition& rendition) {
    const HlsPlaylist& playlist = rendition.playlist;
    const size_t count = playlist.segments.size();
    m_part = 0;
    m_sequence = playlist.mediaSequence;
    if (playlist.ended)
        return;
    m_sequence += count - std::min(count, kLiveDistance);
    if (!usesParts(rendition))
        return;
    const HlsLowLatency& lowLatency = playlist.lowLatency;
    const JoinPlace place = joinPlace(
        playlist, lowLatency.partHoldBack.value_or(kPartDistance * lowLatency.partTarget));
    m_sequence = place.sequence;
    m_part = place.part;
}

/// The piece that comes next. Goes on to the next segment where the parts of one are used up.
HlsTrack::Found HlsTrack::find(const Rendition& rendition, uint64_t& lost) {
    const HlsPlaylist& playlist = rendition.playlist;
    if (!m_joined)
        return {};
    for (;;) {
        const uint64_t first = playlist.mediaSequence;
        lost = first - std::min(first, m_sequence);
        const uint64_t index = m_sequence + lost - first;
        if (lost > 0)
            m_part = 0;
        if (index >= playlist.segments.size())
            break;
        const HlsSegment& segment = playlist.segments[static_cast<size_t>(index)];
        if (m_part == 0)
            return {&segment, nullptr};
        const Found found = findPart(rendition, segment);
        if (found.segment != nullptr)
            return found;
        leaveSegment();
    }
    const bool isNext = playlist.begun && playlist.begun->sequence == m_sequence;
    if (!isNext || !usesParts(rendition) || m_part >= playlist.begun->parts.size())
        return {};
    return {&*playlist.begun, &playlist.begun->parts[m_part]};
}

/// The next part of a segment that has become whole since its first part was taken; nothing when it
/// has no more. A server lists the parts of its last segments only: what is gone is lost, as the
/// whole segment would repeat what was handed out.
HlsTrack::Found HlsTrack::findPart(const Rendition& rendition, const HlsSegment& segment) {
    if (m_part < segment.parts.size())
        return {&segment, &segment.parts[m_part]};
    if (segment.parts.empty())
        m_warn(rendition.base + ": the parts of segment " + std::to_string(segment.sequence) +
               " are gone; the rest of it is left out");
    return {};
}

NextPiece HlsTrack::nothingNew(const Rendition& rendition) {
    if (rendition.playlist.ended)
        return {};
    return m_wait.wait(rendition.loadedAt + reloadInterval(rendition), rendition.url);
}

NextPiece HlsTrack::pieceOf(const Rendition& rendition, const Found& found) {
    const HlsSegment& segment = *found.segment;
    const bool isFirst = found.part == nullptr || m_part == 0;
    NextPiece result;
    result.kind = NextPiece::Kind::Piece;
    result.piece.media = mediaOf(rendition, found);
    if (segment.map)
        result.piece.init = initOf(rendition, segment);
    result.piece.index = segment.sequence;
    result.piece.seconds = found.part != nullptr ? found.part->seconds : segment.seconds;
    result.piece.missing = segment.gap || (found.part != nullptr && found.part->gap);
    result.piece.start = m_time;
    if (!isFirst)
        return result;
    result.piece.discontinuity = segment.discontinuity;
    result.piece.dateTime = segment.dateTime;
    if (segment.cue == HlsCue::Out)
        result.piece.advertisement = MediaPiece::Advertisement::Begins;
    else if (segment.cue == HlsCue::In)
        result.piece.advertisement = MediaPiece::Advertisement::Ends;
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

MediaPart HlsTrack::mediaOf(const Rendition& rendition, const Found& found) const {
    const HlsSegment& segment = *found.segment;
    MediaPart part;
    if (found.part != nullptr)
        part.resource = {resolve(rendition, found.part->uri), found.part->range};
    else
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

/// A server that holds reloads is asked at once, unless it has answered without anything new.
std::chrono::milliseconds HlsTrack::reloadInterval(const Rendition& rendition) const {
    const auto target = inMilliseconds(rendition.playlist.targetSeconds);
    const HlsLowLatency& lowLatency = rendition.playlist.lowLatency;
    if (!usesParts(rendition))
        return std::max(rendition.changed ? target : target / 2, kMinReload);
    if (lowLatency.canBlock && rendition.changed)
        return std::chrono::milliseconds(0);
    return std::max(inMilliseconds(lowLatency.partTarget), kMinReload);
}

} // namespace hastool
