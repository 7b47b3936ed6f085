#include "DashPresentation.h"

#include "../media/PsshText.h"
#include "DashSelection.h"
#include "DashTemplate.h"
#include "HttpUrl.h"
#include "IsoTime.h"
#include "ToolError.h"
#include "XmlDocument.h"

#include <algorithm>
#include <cmath>

namespace hastool {
namespace {

constexpr double kLiveDistance = 3;         // segments before the end, where nothing else is said
constexpr double kBoundaryTolerance = 0.25; // of a segment: streams are cut nearly alike
constexpr double kLiveBacklog = 600;        // seconds
constexpr double kMinReload = 0.5;          // seconds; no server deserves more
constexpr double kTimeTolerance = 0.001;    // seconds; ends of periods are rounded
constexpr double kStartedAnew = 60;         // seconds behind the end: its time starts anew

/// A segment whose length is not known is the whole period, and comes once.
double lengthOf(const DashSegment& segment) {
    return std::max(segment.seconds, kTimeTolerance);
}

double endOf(const DashSegment& segment, const DashPeriod& period) {
    const double end = segment.start + lengthOf(segment);
    return period.duration ? std::min(end, period.start + *period.duration) : end;
}

std::string labelOf(const DashRepresentation& representation) {
    if (representation.width == 0 || representation.height == 0)
        return {};
    return std::to_string(representation.width) + "x" + std::to_string(representation.height);
}

/// Its place among all representations of the period.
int numberOf(const DashPeriod& period, const DashRepresentation& representation) {
    int number = 0;
    for (const DashAdaptationSet& set : period.sets) {
        for (const DashRepresentation& it : set.representations) {
            if (&it == &representation)
                return number;
            ++number;
        }
    }
    return -1;
}

TrackInfo trackOf(const std::vector<const DashRepresentation*>& representations, bool isAudio) {
    TrackInfo track;
    track.isAudio = isAudio;
    for (const DashRepresentation* const it : representations)
        track.streams.push_back({it->bandwidth, labelOf(*it)});
    return track;
}

} // namespace

DashPresentation::DashPresentation(const Document& document, FetchDocument fetch,
                                   std::chrono::milliseconds liveTimeout, const TimeSource& time)
    : m_fetch(std::move(fetch))
    , m_clock(time)
    , m_wait(liveTimeout, time) {
    take(document);
    openTracks();
}

void DashPresentation::take(const Document& document) {
    m_manifest = parseDashManifest(document.text, document.url);
    m_url = document.url;
    m_segments.clear();
    m_loadedAt = m_clock.steady();
    setClock();
}

void DashPresentation::openTracks() {
    for (const DashPeriod& period : m_manifest.periods) {
        const Representations main = selectRepresentations(period, false);
        if (main.empty())
            continue;
        m_tracks.push_back(trackOf(main, false));
        const Representations audio = selectRepresentations(period, true);
        if (!audio.empty())
            m_tracks.push_back(trackOf(audio, true));
        m_readings.resize(m_tracks.size());
        return;
    }
    throw ToolError(m_url, "no period with anything to play");
}

/// The server's clock, where the manifest tells a way to it that can be gone.
void DashPresentation::setClock() {
    for (const DashClock& clock : m_manifest.clocks) {
        const auto contains = [&](const char* kind) {
            return clock.scheme.find(kind) != std::string::npos;
        };
        std::optional<double> time;
        if (contains(":utc:direct:"))
            time = parseIsoDateTime(trimmed(clock.value));
        else if (contains(":utc:http-iso:") || contains(":utc:http-xsdate:"))
            try {
                time = parseIsoDateTime(
                    trimmed(m_fetch({resolve(m_url, clock.value), std::nullopt}).text));
            } catch (const ToolError&) {
                continue; // the next way, or the own clock
            }
        if (!time)
            continue;
        m_clockOffset = *time - m_clock.wall();
        return;
    }
}

double DashPresentation::serverTime() const {
    return m_clock.wall() + m_clockOffset;
}

/// The present as a time of the presentation.
double DashPresentation::liveTime() const {
    return serverTime() - m_manifest.availabilityStart;
}

DashWindow DashPresentation::window() const {
    DashWindow window;
    if (!m_manifest.isDynamic)
        return window;
    window.until = liveTime();
    // A stream may be running for years; what no track will ask for is not listed.
    window.from = window.until - kLiveBacklog;
    for (const Reading& reading : m_readings) {
        if (reading.joined)
            window.from = std::min(window.from, reading.time - kLiveBacklog);
    }
    if (m_manifest.timeShiftDepth)
        window.from = std::max(window.from, window.until - *m_manifest.timeShiftDepth);
    return window;
}

NextPiece DashPresentation::next(size_t track, size_t stream) {
    reloadWhenDue();
    Reading& reading = m_readings.at(track);
    join(reading);
    auto found = reading.joined ? find(track, stream) : std::nullopt;
    if (!found) {
        const DashPeriod& last = m_manifest.periods.back();
        if (!m_manifest.isDynamic || isOver(last))
            return {};
        return m_wait.wait(reloadDue(), m_url);
    }
    m_wait.end();
    NextPiece result;
    result.kind = NextPiece::Kind::Piece;
    result.piece = pieceOf(track, *found);
    const double behind = found->segment.start - reading.time;
    if (m_manifest.isDynamic && behind > found->segment.seconds / 2 && found->segment.seconds > 0)
        result.piece.lost = static_cast<uint64_t>(std::llround(behind / found->segment.seconds));
    const double periodStart = m_manifest.periods[reading.period].start;
    result.piece.discontinuity =
        reading.periodStart && std::abs(*reading.periodStart - periodStart) > kTimeTolerance;
    reading.periodStart = periodStart;
    reading.time = endOf(found->segment, m_manifest.periods[reading.period]);
    return result;
}

DashPresentation::Clock::time_point DashPresentation::reloadDue() const {
    const double interval = std::max(m_manifest.minimumUpdatePeriod.value_or(1), kMinReload);
    const double capped = std::min(interval, 86400.0);
    return m_loadedAt + std::chrono::milliseconds(static_cast<long long>(capped * 1000));
}

/// A failure is ridden out until the live time-out.
void DashPresentation::reloadWhenDue() {
    if (!m_manifest.isDynamic)
        return;
    m_segments.clear(); // time has passed
    if (!m_manifest.minimumUpdatePeriod || m_clock.steady() < reloadDue())
        return;
    const std::string url =
        m_manifest.location.empty() ? m_url : resolve(m_url, m_manifest.location);
    try {
        take(m_fetch({url, std::nullopt}));
        m_wait.loaded();
    } catch (const ToolError& error) {
        m_wait.loadFailed(error);
        m_loadedAt = m_clock.steady();
    }
    for (Reading& reading : m_readings)
        reading.period = 0; // the list may have lost periods at its begin
}

/// All tracks begin at the same time.
void DashPresentation::join(Reading& reading) {
    if (m_joinTime && m_manifest.isDynamic && reading.joined) {
        double seconds = 0;
        if (reading.time - liveEdge(false, seconds) > kStartedAnew && seconds > 0) {
            reading.joined = false;
            m_joinTime.reset();
        }
    }
    if (reading.joined)
        return;
    if (!m_joinTime && !m_manifest.isDynamic)
        m_joinTime = m_manifest.periods.front().start;
    if (!m_joinTime) {
        double seconds = 0;
        const double edge = liveEdge(false, seconds);
        if (seconds > 0)
            m_joinTime = edge - m_manifest.suggestedDelay.value_or(kLiveDistance * seconds);
    }
    if (!m_joinTime)
        return;
    reading.time = std::max(*m_joinTime, m_manifest.periods.front().start);
    reading.period = 0;
    reading.joined = true;
}

/// Where the last segment ends that is there.
/// @param segmentSeconds  how long that segment is; untouched when there is none
double DashPresentation::liveEdge(bool isAudio, double& segmentSeconds) {
    const auto& periods = m_manifest.periods;
    for (auto period = periods.rbegin(); period != periods.rend(); ++period) {
        const Representations all = selectRepresentations(*period, isAudio);
        if (all.empty())
            continue;
        const auto& list = segments(*period, *all.front());
        if (list.empty())
            continue;
        segmentSeconds = list.back().seconds;
        return list.back().start + list.back().seconds;
    }
    return 0;
}

std::optional<DashPresentation::Found> DashPresentation::find(size_t track, size_t stream) {
    Reading& reading = m_readings[track];
    const auto& periods = m_manifest.periods;
    for (size_t i = reading.period; i < periods.size(); ++i) {
        const bool isLast = i + 1 == periods.size();
        const DashRepresentation* const chosen = choose(periods[i], track, stream);
        if (chosen != nullptr) {
            const double time = std::max(reading.time, periods[i].start);
            if (auto segment = findIn(periods[i], *chosen, time)) {
                reading.period = i;
                return Found{chosen, std::move(*segment)};
            }
        }
        if (isLast || (m_manifest.isDynamic && !isOver(periods[i])))
            break;
    }
    return std::nullopt;
}

/// The first segment that does not lie before a time, but for a small part of it.
std::optional<DashSegment> DashPresentation::findIn(const DashPeriod& period,
                                                    const DashRepresentation& representation,
                                                    double time) {
    const auto& list = segments(period, representation);
    const auto it = std::partition_point(list.begin(), list.end(), [&](const DashSegment& segment) {
        return segment.start + lengthOf(segment) * (1 - kBoundaryTolerance) <= time;
    });
    if (it == list.end())
        return std::nullopt;
    return *it;
}

/// Whether nothing will be added to a period.
bool DashPresentation::isOver(const DashPeriod& period) const {
    if (!m_manifest.isDynamic)
        return true;
    const bool isKnown = period.duration.has_value();
    return isKnown && liveTime() >= period.start + *period.duration - kTimeTolerance;
}

const DashRepresentation* DashPresentation::choose(const DashPeriod& period, size_t track,
                                                   size_t stream) const {
    const TrackInfo& info = m_tracks[track];
    return matchBitrate(selectRepresentations(period, info.isAudio),
                        info.streams.at(stream).bitrate);
}

const std::vector<DashSegment>&
DashPresentation::segments(const DashPeriod& period, const DashRepresentation& representation) {
    const auto known = m_segments.find(&representation);
    if (known != m_segments.end())
        return known->second;
    auto list =
        listDashSegments(representation.addressing, period, window(), index(representation), m_url);
    return m_segments.emplace(&representation, std::move(list)).first->second;
}

const SegmentIndex* DashPresentation::index(const DashRepresentation& representation) {
    const auto& range = representation.addressing.indexRange;
    if (representation.addressing.kind != DashAddressing::Kind::Base || !range)
        return nullptr;
    const Resource resource{baseOf(representation), range};
    const std::string key = resource.url + " " + rangeText(*range);
    auto known = m_indexes.find(key);
    if (known == m_indexes.end()) {
        const Document document = m_fetch(resource);
        known =
            m_indexes.emplace(key, SegmentIndex::parse(document.text, range->first, resource.url))
                .first;
    }
    return &known->second;
}

MediaPiece DashPresentation::pieceOf(size_t track, const Found& found) {
    const DashRepresentation& representation = *found.representation;
    const DashSegment& segment = found.segment;
    const std::string base = baseOf(representation);
    std::string media = segment.media;
    if (representation.addressing.kind == DashAddressing::Kind::Template)
        media = expandDashTemplate(media,
                                   {representation.id, segment.number,
                                    static_cast<uint64_t>(representation.bandwidth), segment.time},
                                   m_url);
    MediaPiece piece;
    piece.media.resource = {resolve(base, media), segment.range};
    if (const auto init = initOf(representation))
        piece.init = MediaPart{*init, std::nullopt};
    piece.index = segment.number;
    piece.start = segment.start;
    piece.seconds = segment.seconds;
    const DashPeriod& period = m_manifest.periods[m_readings[track].period];
    piece.protection = protectionOf(period, track, representation);
    return piece;
}

std::optional<Resource> DashPresentation::initOf(const DashRepresentation& representation) const {
    const DashAddressing& addressing = representation.addressing;
    const std::string base = baseOf(representation);
    if (addressing.hasInitialization) {
        std::string url = addressing.initialization;
        if (addressing.kind == DashAddressing::Kind::Template)
            url = expandDashTemplate(
                url, {representation.id, 0, static_cast<uint64_t>(representation.bandwidth), 0},
                m_url);
        return Resource{resolve(base, url), addressing.initRange};
    }
    // Before the index stands what has to be known first.
    if (addressing.kind == DashAddressing::Kind::Base && addressing.indexRange &&
        addressing.indexRange->first > 0)
        return Resource{base, ByteRange{0, addressing.indexRange->first}};
    return std::nullopt;
}

std::shared_ptr<const Protection>
DashPresentation::protectionOf(const DashPeriod& period, size_t track,
                               const DashRepresentation& representation) const {
    if (representation.protections.empty())
        return nullptr;
    auto result = std::make_shared<Protection>();
    result->period = static_cast<int>(&period - m_manifest.periods.data());
    result->representation = numberOf(period, representation);
    result->isAudio = m_tracks[track].isAudio;
    result->isSeparate = !isMultiplexed(representation);
    for (const DashProtection& it : representation.protections) {
        std::string pssh = it.pssh.empty() ? it.pro : psshDataText(it.pssh).value_or("");
        result->descriptors.push_back({it.schemeId, it.value, it.defaultKid, std::move(pssh)});
    }
    return result;
}

std::string DashPresentation::baseOf(const DashRepresentation& representation) const {
    std::string base = m_url;
    for (const std::string& url : representation.baseUrls)
        base = resolve(base, url);
    return base;
}

std::string DashPresentation::resolve(const std::string& base, const std::string& uri) const {
    return resolveHttpUrl(base, uri, m_url);
}

} // namespace hastool
