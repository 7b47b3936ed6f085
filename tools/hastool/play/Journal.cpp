#include "Journal.h"

#include <Hascommon/Datetime.h>

#include <cmath>

namespace hastool {
namespace {

constexpr std::chrono::milliseconds kStatusInterval{200};

/// "12.3 s".
std::string tenths(double seconds) {
    const long long count = std::llround(seconds * 10);
    return std::to_string(count / 10) + "." + std::to_string(count % 10) + " s";
}

/// A position in the media as a time stamp for the hub.
unsigned long long ptsAt(double seconds) {
    return static_cast<unsigned long long>(seconds * 1000) * PlayerCallbacks::kTimestampsPerMs;
}

/// "20240101T000100", UTC.
std::string dateText(double seconds) {
    return hascommon::has_dateTimeToString(std::llround(seconds * 1000));
}

} // namespace

Journal::Journal(const PlayOptions& options, PlayObserver& observer, const Clock& clock)
    : m_observer(observer)
    , m_clock(clock)
    , m_callbacks([this](const std::string& kind, const std::string& what) { event(kind, what); },
                  [this](int from, int to) { m_observer.onSwitch(seconds(), from, to); })
    , m_begun(clock.steady())
    , m_lastStatus(m_begun) {
    if (!options.trace.empty())
        m_trace.emplace(options.trace);
}

double Journal::seconds() const {
    return std::chrono::duration<double>(m_clock.steady() - m_begun).count();
}

void Journal::event(const std::string& kind, const std::string& what) {
    m_observer.onEvent(seconds(), kind, what);
}

void Journal::troubles(const std::vector<std::string>& all) {
    for (const std::string& what : all)
        trouble(what);
}

void Journal::changed(int from, int to, bool isUp) {
    ++(isUp ? m_summary.switchesUp : m_summary.switchesDown);
    m_callbacks.hub().OnBitrateChanged(static_cast<unsigned int>(from),
                                       static_cast<unsigned int>(to), pts(), pts(), pts(), pts());
}

void Journal::reached(const MediaPiece& piece) {
    using Advertisement = MediaPiece::Advertisement;
    if (piece.discontinuity)
        m_callbacks.hub().OnDiscontinue(0, pts(), pts(), pts(), pts());
    if (piece.advertisement == Advertisement::Begins)
        adStart(pts());
    else if (piece.advertisement == Advertisement::Ends)
        adEnd(pts());
    if (piece.dateTime && (!m_hasDateTime || piece.discontinuity))
        event("date-time", dateText(*piece.dateTime));
    m_hasDateTime = m_hasDateTime || piece.dateTime;
}

void Journal::breakBegins(double position) {
    if (!m_isInBreak)
        adStart(ptsAt(position));
}

void Journal::breakEnds(double position) {
    if (m_isInBreak)
        adEnd(ptsAt(position));
}

void Journal::adStart(unsigned long long pts) {
    m_isInBreak = true;
    m_callbacks.hub().OnADStart(pts, pts, pts, pts);
}

void Journal::adEnd(unsigned long long pts) {
    m_isInBreak = false;
    m_callbacks.hub().OnADEnd(pts, pts, pts, pts, 0);
}

void Journal::shown(const TraceRow& row) {
    if (row.stream != m_shownStream && !row.resolution.empty())
        m_observer.onRendition(seconds(), row.bitrate, row.resolution);
    m_shownStream = row.stream;
}

void Journal::transferred(const Outcome& outcome) {
    ++m_summary.downloads;
    m_summary.retries += static_cast<uint64_t>(outcome.retries);
}

void Journal::gaveUp(const std::string& what, uint64_t bytes) {
    ++m_summary.givenUp;
    m_summary.wasted += bytes;
    event("give-up", what);
}

void Journal::taken(uint64_t bytes) {
    ++m_summary.segments;
    m_summary.bytes += bytes;
}

void Journal::chosen(double seconds, int bitrate) {
    m_bitSeconds += seconds * bitrate;
    m_mainSeconds += seconds;
}

void Journal::row(const TraceRow& row) {
    if (m_trace)
        m_trace->add(row);
    m_observer.onSegment(row);
}

void Journal::subtitle(const TraceRow& row) {
    ++(row.skipped ? m_summary.subtitlesSkipped : m_summary.subtitles);
    this->row(row);
}

void Journal::watch(const PlaySample& now) {
    watchStall(now);
    const bool isSame = now.stalled == m_lastSample.stalled && now.paused == m_lastSample.paused &&
                        now.transferHeld == m_lastSample.transferHeld;
    if (!isSame)
        sample(now);
}

void Journal::watchStall(const PlaySample& now) {
    if (now.stalled == m_isStallTold)
        return;
    m_isStallTold = now.stalled;
    if (m_isStallTold)
        m_stallBegun = now.time;
    const std::string edge =
        now.liveDistance > 0 ? ", " + tenths(now.liveDistance) + " behind the live edge" : "";
    event("stall", (m_isStallTold ? "no media at " + tenths(now.position)
                                  : "over after " + tenths(now.time - m_stallBegun)) +
                       edge);
}

void Journal::sample(const PlaySample& now) {
    m_lastSample = now;
    if (now.playing && now.liveDistance > 0) {
        m_distances += now.liveDistance;
        ++m_distanceCount;
        tellDistance(now.liveDistance);
    }
    m_observer.onSample(now);
}

/// Tells the first distance, and each that is far from the one told last.
void Journal::tellDistance(double distance) {
    constexpr double kFar = 2; // seconds; the edge itself moves from segment to segment
    if (m_toldDistance > 0 && std::abs(distance - m_toldDistance) < kFar)
        return;
    m_toldDistance = distance;
    event("live-edge", tenths(distance) + " behind it");
}

void Journal::show(const PlaySample& now) {
    const auto time = m_clock.steady();
    if (time - m_lastStatus < kStatusInterval)
        return;
    m_lastStatus = time;
    PlayStatus status;
    status.position = now.position;
    status.buffer = now.buffer;
    status.bitrate = now.bitrate;
    if (m_main != nullptr)
        status.resolution = m_main->renditions.resolution(m_main->stream);
    status.bandwidth = now.mean;
    status.switches = m_summary.switchesUp + m_summary.switchesDown;
    status.stalled = now.stalled;
    status.paused = now.paused;
    status.liveDistance = now.liveDistance;
    m_observer.onStatus(status);
}

Summary Journal::counts() const {
    Summary summary = m_summary;
    summary.wallTime = seconds();
    if (m_distanceCount > 0)
        summary.liveDistance = m_distances / static_cast<double>(m_distanceCount);
    summary.meanBitrate = m_mainSeconds > 0 ? m_bitSeconds / m_mainSeconds : 0;
    return summary;
}

void Journal::commit() {
    if (m_trace)
        m_trace->commit();
}

/// The end of the media that was fetched, as a time stamp for the hub.
unsigned long long Journal::pts() const {
    return ptsAt(m_main->seconds);
}

} // namespace hastool
