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
    : m_loader(document, std::move(fetch), time) {
    tellProblems();
    openTracks(liveTimeout);
}

void DashPresentation::tellProblems() {
    for (const std::string& problem : manifest().problems)
        warn(problem);
}

void DashPresentation::openTracks(std::chrono::milliseconds liveTimeout) {
    for (const DashPeriod& period : manifest().periods) {
        const auto main = selectRepresentations(period, false);
        if (main.empty())
            continue;
        m_tracks.push_back(trackOf(main, false));
        const auto audio = selectRepresentations(period, true);
        if (!audio.empty())
            m_tracks.push_back(trackOf(audio, true));
        for (size_t i = 0; i < m_tracks.size(); ++i)
            m_readings.emplace_back(LiveWait(liveTimeout, m_loader.clock()));
        return;
    }
    if (!manifest().problems.empty())
        throw ToolError(manifest().problems.front());
    throw ToolError(m_loader.url(), "no period with anything to play");
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
    if (!m_joinTime) {
        if (const auto edge = m_timeline.edge())
            m_joinTime =
                edge->time - manifest().suggestedDelay.value_or(kLiveDistance * edge->segment);
    }
    if (m_joinTime)
        reading.join(std::max(*m_joinTime, begin));
}

void DashPresentation::rejoinWhenStartedAnew(DashReading& reading) {
    if (!manifest().isDynamic || !reading.isJoined())
        return;
    const auto edge = m_timeline.edge();
    if (!edge || reading.time() - edge->time <= kStartedAnew)
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
            if (auto segment = reading.next(periods[i], i, *chosen, list, m_timeline.window()))
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
    return matchBitrate(selectRepresentations(period, info.isAudio),
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
    result.piece.discontinuity = reading.isBreak(found);
    reading.moveBehind(found, period);
    reading.wait.end();
    return result;
}

} // namespace hastool
