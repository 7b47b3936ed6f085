#include "DashPresentation.h"

#include "DashSelection.h"
#include "DashUrls.h"
#include <hastool/base/IsoTime.h>
#include <hastool/base/PsshText.h>
#include <hastool/base/ToolError.h>
#include <hastool/base/XmlDocument.h>
#include <hastool/net/HttpUrl.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace hastool {
namespace {

constexpr double kLiveDistance = 3; // segments before the end, where nothing else is said
constexpr double kMinReload = 0.5;  // seconds; no server deserves more
constexpr std::chrono::milliseconds kAskAgain{200};
constexpr double kTimeTolerance = 0.001; // seconds; ends of periods are rounded
constexpr double kStartedAnew = 60;      // seconds behind the end: its time starts anew

double endOf(const DashPeriod& period) {
    return period.start + period.duration.value_or(std::numeric_limits<double>::infinity());
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
    , m_liveTimeout(liveTimeout) {
    take(document);
    openTracks();
}

/// Whatever has to be fetched is, before anything changes.
void DashPresentation::take(const Document& document) {
    DashManifest manifest = parseDashManifest(
        document.text, document.url, [this](const std::string& url) { return fetchRemote(url); });
    m_clockOffset = clockOffset(manifest, document.url).value_or(m_clockOffset);
    m_manifest = std::move(manifest);
    for (const std::string& problem : m_manifest.problems)
        warn(problem);
    m_url = document.url;
    m_segments.clear();
    m_loadedAt = m_clock.steady();
}

/// What stands elsewhere stays as it is, however often the manifest is loaded again.
std::string DashPresentation::fetchRemote(const std::string& url) {
    const auto known = m_remotes.find(url);
    if (known != m_remotes.end())
        return known->second;
    if (m_remotes.size() == kMaxDashRemotes)
        m_remotes.clear();
    return m_remotes[url] = m_fetch({url, std::nullopt}).text;
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
        for (size_t i = 0; i < m_tracks.size(); ++i)
            m_readings.emplace_back(LiveWait(m_liveTimeout, m_clock));
        return;
    }
    if (!m_manifest.problems.empty())
        throw ToolError(m_manifest.problems.front());
    throw ToolError(m_url, "no period with anything to play");
}

/// How far the server's clock is ahead, where the manifest tells a way to it that can be gone.
std::optional<double> DashPresentation::clockOffset(const DashManifest& manifest,
                                                    const std::string& url) const {
    for (const DashClock& clock : manifest.clocks) {
        const auto contains = [&](const char* kind) {
            return clock.scheme.find(kind) != std::string::npos;
        };
        std::optional<double> time;
        if (contains(":utc:direct:"))
            time = parseIsoDateTime(trimmed(clock.value));
        else if (contains(":utc:http-iso:") || contains(":utc:http-xsdate:"))
            try {
                time = parseIsoDateTime(
                    trimmed(m_fetch({resolveHttpUrl(url, clock.value, url), std::nullopt}).text));
            } catch (const ToolError&) {
                continue; // the next way, or the own clock
            }
        if (time)
            return *time - m_clock.wall();
    }
    return std::nullopt;
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
    if (m_manifest.timeShiftDepth)
        window.from = window.until - *m_manifest.timeShiftDepth;
    return window;
}

NextPiece DashPresentation::next(size_t track, size_t stream) {
    reloadWhenDue();
    Reading& reading = m_readings.at(track);
    join(reading);
    const auto found = reading.joined ? find(track, stream) : std::nullopt;
    if (found)
        return advance(track, *found);
    const DashPeriod& last = m_manifest.periods.back();
    if (!m_manifest.isDynamic || isOver(last, reading.time))
        return {};
    // Segments that are only counted come with the time, whenever the manifest is due.
    const auto soon = m_clock.steady() + kAskAgain;
    const auto due = m_manifest.minimumUpdatePeriod ? std::min(reloadDue(), soon) : soon;
    return reading.wait.wait(due, m_url);
}

/// Hands a segment out and puts the track behind it.
NextPiece DashPresentation::advance(size_t track, const Found& found) {
    Reading& reading = m_readings[track];
    reading.wait.end();
    const DashPeriod& period = m_manifest.periods[found.period];
    const DashSegment& segment = found.segment;
    const bool isSamePeriod = found.period == reading.period;
    NextPiece result;
    result.kind = NextPiece::Kind::Piece;
    result.piece = pieceOf(track, found);
    const double expected = isSamePeriod ? reading.time : std::min(reading.time, period.start);
    const double behind = segment.start - expected;
    if (m_manifest.isDynamic && behind > segment.seconds / 2 && segment.seconds > 0)
        result.piece.lost = static_cast<uint64_t>(std::llround(behind / segment.seconds));
    result.piece.discontinuity = !reading.isFirst && !isSamePeriod;
    const double end = segment.start + dashLength(segment);
    reading.time = isSamePeriod ? std::max(reading.time, end) : end;
    reading.period = found.period;
    reading.periodId = period.id;
    reading.periodStart = period.start;
    reading.hasBegun = true;
    reading.representation = found.representation->id;
    reading.last = segment;
    reading.isFirst = false;
    return result;
}

DashPresentation::Clock::time_point DashPresentation::reloadDue() const {
    const double interval = std::max(m_manifest.minimumUpdatePeriod.value_or(1), kMinReload);
    const double capped = std::min(interval, 86400.0);
    return m_loadedAt + std::chrono::milliseconds(static_cast<long long>(capped * 1000));
}

/// A failure is ridden out until the live time-out.
void DashPresentation::reloadWhenDue() {
    if (!m_manifest.isDynamic || !m_manifest.minimumUpdatePeriod || m_clock.steady() < reloadDue())
        return;
    const std::string url =
        m_manifest.location.empty() ? m_url : resolveHttpUrl(m_url, m_manifest.location, m_url);
    try {
        take(m_fetch({url, std::nullopt}));
        for (Reading& reading : m_readings)
            reading.wait.loaded();
    } catch (const ToolError& error) {
        for (Reading& reading : m_readings)
            reading.wait.loadFailed(error);
        m_loadedAt = m_clock.steady();
    }
    for (Reading& reading : m_readings)
        findPlace(reading);
}

/// The list may have lost periods at its begin, or got others between.
void DashPresentation::findPlace(Reading& reading) const {
    const auto& periods = m_manifest.periods;
    const auto isSame = [&](const DashPeriod& it) {
        return it.id == reading.periodId &&
               std::abs(it.start - reading.periodStart) < kTimeTolerance;
    };
    const auto same = std::find_if(periods.begin(), periods.end(), isSame);
    reading.hasBegun = reading.hasBegun && same != periods.end();
    if (same != periods.end()) {
        reading.period = static_cast<size_t>(same - periods.begin());
        return;
    }
    // A period that went on under another name is left where it was read up to.
    const auto next = std::find_if(periods.begin(), periods.end(),
                                   [&](const DashPeriod& it) { return endOf(it) > reading.time; });
    const auto last = static_cast<size_t>(next - periods.begin());
    reading.period = std::min(last, periods.size() - 1);
}

/// All tracks begin at the same time.
void DashPresentation::join(Reading& reading) {
    if (m_joinTime && m_manifest.isDynamic && reading.joined) {
        const auto edge = liveEdge();
        if (edge && reading.time - edge->time > kStartedAnew) {
            reading.joined = false;
            m_joinTime.reset();
        }
    }
    if (reading.joined)
        return;
    if (!m_joinTime && !m_manifest.isDynamic)
        m_joinTime = m_manifest.periods.front().start;
    if (!m_joinTime) {
        if (const auto edge = liveEdge())
            m_joinTime =
                edge->time - m_manifest.suggestedDelay.value_or(kLiveDistance * edge->segment);
    }
    if (!m_joinTime)
        return;
    reading.time = std::max(*m_joinTime, m_manifest.periods.front().start);
    reading.period = 0;
    reading.hasBegun = false;
    reading.isFirst = true;
    reading.joined = true;
}

/// Where the last segment of the main track ends that is there; nothing while there is none.
std::optional<DashPresentation::Edge> DashPresentation::liveEdge() {
    const auto& periods = m_manifest.periods;
    for (auto period = periods.rbegin(); period != periods.rend(); ++period) {
        const Representations all = selectRepresentations(*period, false);
        if (all.empty())
            continue;
        if (const auto last = segments(*period, *all.front()).last(window()))
            return Edge{last->start + last->seconds, last->seconds};
    }
    return std::nullopt;
}

/// What comes next, in the period that the track reads or in a later one.
std::optional<DashPresentation::Found> DashPresentation::find(size_t track, size_t stream) {
    const Reading& reading = m_readings[track];
    const auto& periods = m_manifest.periods;
    for (size_t i = reading.period; i < periods.size(); ++i) {
        const bool isSamePeriod = i == reading.period;
        const DashRepresentation* const chosen = choose(periods[i], track, stream);
        const bool isPast = !reading.hasBegun && endOf(periods[i]) <= reading.time + kTimeTolerance;
        if (chosen != nullptr && !isPast) {
            if (auto segment = findIn(periods[i], reading, *chosen, isSamePeriod))
                return Found{i, chosen, std::move(*segment)};
        }
        if (chosen != nullptr && !isOver(periods[i], reading.time))
            break;
    }
    return std::nullopt;
}

/// In the representation that was read last, the segment behind the last one; in another one that
/// which follows in time. A new period is read from its begin, however far the last segment of the
/// one before reached into it.
std::optional<DashSegment> DashPresentation::findIn(const DashPeriod& period,
                                                    const Reading& reading,
                                                    const DashRepresentation& representation,
                                                    bool isSamePeriod) {
    const DashSegmentList& list = segments(period, representation);
    if (!isSamePeriod && reading.hasBegun)
        return list.at(period.start, window());
    if (reading.hasBegun && representation.id == reading.representation)
        return list.behind(reading.last, window());
    return list.at(std::max(reading.time, period.start), window());
}

/// Whether nothing will be added to a period.
/// @param time  up to which it was read
bool DashPresentation::isOver(const DashPeriod& period, double time) const {
    if (!m_manifest.isDynamic)
        return true;
    return std::max(liveTime(), time) >= endOf(period) - kTimeTolerance;
}

const DashRepresentation* DashPresentation::choose(const DashPeriod& period, size_t track,
                                                   size_t stream) const {
    const TrackInfo& info = m_tracks[track];
    return matchBitrate(selectRepresentations(period, info.isAudio),
                        info.streams.at(stream).bitrate);
}

const DashSegmentList& DashPresentation::segments(const DashPeriod& period,
                                                  const DashRepresentation& representation) {
    const auto known = m_segments.find(&representation);
    if (known != m_segments.end())
        return known->second;
    const SegmentIndex* const itsIndex = index(representation);
    return m_segments
        .try_emplace(&representation, representation.addressing, period, itsIndex, m_url)
        .first->second;
}

const SegmentIndex* DashPresentation::index(const DashRepresentation& representation) {
    const auto resource = DashUrls(representation, m_url).index();
    if (!resource)
        return nullptr;
    const std::string key = resource->url + " " + rangeText(*resource->range);
    auto known = m_indexes.find(key);
    if (known == m_indexes.end()) {
        const Document document = m_fetch(*resource);
        known = m_indexes
                    .emplace(key, SegmentIndex::parse(document.text, resource->range->first,
                                                      resource->url))
                    .first;
    }
    return &known->second;
}

MediaPiece DashPresentation::pieceOf(size_t track, const Found& found) const {
    const DashUrls urls(*found.representation, m_url);
    MediaPiece piece;
    piece.media.resource = urls.media(found.segment);
    if (auto bytes = urls.inlineInit())
        piece.makeInit = [bytes = std::move(*bytes)](std::string_view) { return bytes; };
    else if (const auto init = urls.init())
        piece.init = MediaPart{*init, std::nullopt};
    piece.index = found.segment.number;
    piece.start = found.segment.start;
    piece.seconds = found.segment.seconds;
    piece.protection = protectionOf(m_manifest.periods[found.period], track, *found.representation);
    return piece;
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

} // namespace hastool
