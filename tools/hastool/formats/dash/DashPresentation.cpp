#include "DashPresentation.h"

#include "DashPieces.h"
#include "DashSelection.h"
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <utility>

namespace hastool {
namespace {

constexpr double kLiveDistance = 3; // segments before the end, where the manifest does not say
constexpr std::chrono::milliseconds kAskAgain{200};
constexpr double kStartedAnew = 60; // seconds: a track so far beyond the live end joins anew

std::string labelOf(const DashRepresentation& representation) {
    if (representation.width == 0 || representation.height == 0)
        return {};
    return std::to_string(representation.width) + "x" + std::to_string(representation.height);
}

TrackInfo trackOf(const DashPeriod& period, TrackKind kind, const RenditionChoice& choice) {
    TrackInfo track;
    track.isAudio = kind == TrackKind::Audio;
    track.isText = kind == TrackKind::Text;
    for (const DashRepresentation* const it : selectRepresentations(period, kind, choice))
        track.streams.push_back({it->bandwidth, labelOf(*it)});
    if (!track.streams.empty())
        track.language = selectSet(period, kind, choice)->language;
    return track;
}

} // namespace

DashPresentation::DashPresentation(const Document& document, FetchDocument fetch,
                                   std::chrono::milliseconds liveTimeout, const TimeSource& time,
                                   const RenditionChoice& choice, bool lowLatency)
    : m_choice(choice)
    , m_liveTimeout(liveTimeout)
    , m_loader(document, std::move(fetch), time)
    , m_timeline(m_loader, m_choice, lowLatency)
    , m_mayBeEarly(lowLatency) {
    tellProblems();
    announceEvents();
    openTracks();
}

void DashPresentation::tellProblems() {
    for (const std::string& problem : manifest().problems)
        warn(problem);
}

void DashPresentation::announceEvents() {
    for (const DashPeriod& period : manifest().periods) {
        for (TimedEvent event : period.events) {
            event.id = period.id + "/" + event.id; // streams of several periods count anew
            event.start += period.start;
            if (event.end)
                *event.end += period.start;
            announce(std::move(event));
        }
    }
}

/// The main track and the audio beside it are those of the first period that has anything to play;
/// a later one may be the first with the subtitles.
void DashPresentation::openTracks() {
    const auto& periods = manifest().periods;
    expectWanted(periods, m_choice);
    const auto first = std::find_if(periods.begin(), periods.end(), [&](const DashPeriod& period) {
        return selectSet(period, TrackKind::Main, m_choice) != nullptr;
    });
    if (first != periods.end()) {
        addTrack(*first, TrackKind::Main);
        addTrack(*first, TrackKind::Audio);
        for (auto it = periods.begin(); it != periods.end() && !m_tracks.back().isText; ++it)
            addTrack(*it, TrackKind::Text);
        readLatency(*first);
        return;
    }
    if (!manifest().problems.empty())
        throw ToolError(manifest().problems.front());
    throw ToolError(m_loader.url(), "no period with anything to play");
}

/// How early the segments of a period are asked for.
void DashPresentation::readLatency(const DashPeriod& period) {
    const auto main = selectRepresentations(period, TrackKind::Main, m_choice);
    for (const DashRepresentation* const it : main)
        m_offset = std::max(m_offset, m_mayBeEarly ? it->availabilityOffset : 0);
    m_isLowLatency = m_mayBeEarly && manifest().isDynamic &&
                     !main.front()->addressing.isAvailableWhole &&
                     main.front()->availabilityOffset > 0;
}

/// Adds a track if the period has one of this kind.
void DashPresentation::addTrack(const DashPeriod& period, TrackKind kind) {
    TrackInfo track = trackOf(period, kind, m_choice);
    if (track.streams.empty())
        return;
    m_tracks.push_back(std::move(track));
    m_kinds.push_back(kind);
    m_readings.emplace_back(LiveWait(m_liveTimeout, m_loader.clock()));
    m_before.push_back({m_readings.back(), 0});
}

NextPiece DashPresentation::next(size_t track, size_t stream) {
    reloadWhenDue();
    DashReading& reading = m_readings.at(track);
    join(reading);
    const auto found = reading.isJoined() ? find(track, stream) : std::nullopt;
    if (found)
        return advance(track, *found);
    if (!manifest().isDynamic || m_timeline.isOver(manifest().periods.back(), reading.time()))
        return {};
    return wait(reading);
}

NextPiece DashPresentation::again(size_t track, size_t stream) {
    DashReading& reading = m_readings.at(track);
    const uint64_t told = m_before[track].lost;
    DashReading behind = std::exchange(reading, m_before[track].reading);
    reading.findIn(manifest().periods); // which may be others by now
    try {
        NextPiece result = next(track, stream);
        result.piece.lost -= std::min(result.piece.lost, told);
        if (result.kind == NextPiece::Kind::Piece)
            m_before[track].lost = told;
        return result;
    } catch (...) {
        reading = std::move(behind);
        reading.findIn(manifest().periods);
        throw;
    }
}

std::vector<uint64_t> DashPresentation::nextSizes(size_t track) const {
    const DashReading& reading = m_readings.at(track);
    if (!reading.isJoined() || reading.period() >= manifest().periods.size())
        return {};
    const DashPeriod& period = manifest().periods[reading.period()];
    std::vector<uint64_t> sizes;
    for (size_t i = 0; i < m_tracks[track].streams.size(); ++i) {
        const DashRepresentation* const chosen = choose(period, track, i);
        const DashSegmentList* const list = chosen ? m_timeline.known(*chosen) : nullptr;
        if (list == nullptr)
            return {};
        const auto segment = reading.next(period, reading.period(), *chosen, *list,
                                          m_timeline.window(period, *chosen));
        if (!segment || !segment->range || !segment->range->length)
            return {};
        sizes.push_back(*segment->range->length);
    }
    return sizes;
}

/// Asks again soon even where no new manifest is due: segments that the manifest does not list one
/// by one become available as time passes.
NextPiece DashPresentation::wait(DashReading& reading) const {
    const auto soon = m_loader.clock().steady() + kAskAgain;
    return reading.wait.wait(std::min(m_loader.reloadDue().value_or(soon), soon), m_loader.url());
}

/// A failure ends the play only after the live time-out, see LiveWait.
void DashPresentation::reloadWhenDue() {
    const auto due = m_loader.reloadDue();
    if (!due || m_loader.clock().steady() < *due)
        return;
    try {
        m_loader.reload();
        m_timeline.forget();
        tellProblems();
        announceEvents();
        for (DashReading& reading : m_readings)
            reading.wait.loaded();
    } catch (const ToolError& error) {
        for (DashReading& reading : m_readings)
            reading.wait.loadFailed(error);
    }
    for (DashReading& reading : m_readings)
        reading.findIn(manifest().periods);
}

/// Puts a track where all tracks begin, at the same time.
void DashPresentation::join(DashReading& reading) {
    rejoinWhenStartedAnew(reading);
    if (reading.isJoined())
        return;
    const double begin = manifest().periods.front().start;
    if (!m_joinTime && !manifest().isDynamic)
        m_joinTime = begin;
    if (!m_joinTime)
        m_joinTime = joinTime();
    if (m_joinTime)
        reading.join(std::max(*m_joinTime, begin));
}

/// Where a dynamic presentation is joined; nothing while it has no segment.
std::optional<double> DashPresentation::joinTime() {
    const auto edge = m_timeline.edge();
    if (!edge)
        return std::nullopt;
    if (m_isLowLatency)
        return m_loader.liveTime() - manifest().latencyTarget.value_or(edge->segment);
    return edge->time - manifest().suggestedDelay.value_or(kLiveDistance * edge->segment);
}

std::optional<double> DashPresentation::liveEdge() const {
    return manifest().isDynamic ? std::optional(m_loader.liveTime()) : std::nullopt;
}

void DashPresentation::rejoinWhenStartedAnew(DashReading& reading) {
    if (!manifest().isDynamic || !reading.isJoined())
        return;
    const auto edge = m_timeline.edge();
    if (!edge || reading.time() - edge->time - m_offset <= kStartedAnew)
        return;
    reading.leave();
    m_joinTime.reset();
}

/// What comes next, in the period that the track reads or in a later one.
std::optional<DashFound> DashPresentation::find(size_t track, size_t stream) {
    const DashReading& reading = m_readings[track];
    const auto& periods = manifest().periods;
    for (size_t i = reading.period(); i < periods.size(); ++i) {
        const DashRepresentation* const chosen = choose(periods[i], track, stream);
        if (chosen == nullptr)
            continue;
        if (!reading.isBehind(periods[i])) {
            const DashSegmentList& list = m_timeline.segments(periods[i], *chosen);
            const DashWindow window = m_timeline.window(periods[i], *chosen);
            if (auto segment = reading.next(periods[i], i, *chosen, list, window))
                return DashFound{i, chosen, std::move(*segment)};
        }
        if (!m_timeline.isOver(periods[i], reading.time()))
            break;
    }
    return std::nullopt;
}

const DashRepresentation* DashPresentation::choose(const DashPeriod& period, size_t track,
                                                   size_t stream) const {
    const TrackInfo& info = m_tracks[track];
    return matchBitrate(selectRepresentations(period, m_kinds[track], m_choice),
                        info.streams.at(stream).bitrate);
}

/// Hands a segment out and puts the track behind it.
NextPiece DashPresentation::advance(size_t track, const DashFound& found) {
    DashReading& reading = m_readings[track];
    const DashPeriod& period = manifest().periods[found.period];
    NextPiece result;
    result.kind = NextPiece::Kind::Piece;
    result.piece = dashPiece(manifest(), found, m_tracks[track].isAudio, m_loader.url());
    if (manifest().isDynamic)
        result.piece.lost = reading.lostBefore(found, period);
    result.piece.growsFor = m_timeline.growsFor(*found.representation, found.segment);
    result.piece.discontinuity = reading.isBreak(found);
    m_before[track] = {reading, result.piece.lost};
    reading.moveBehind(found, period);
    reading.wait.end();
    return result;
}

} // namespace hastool
