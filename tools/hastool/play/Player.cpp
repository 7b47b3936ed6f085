#include "Player.h"

#include <hastool/formats/OpenPresentation.h>

#include <hastool/base/Interrupt.h>
#include <hastool/base/ToolError.h>

#include <Hascommon/Datetime.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>

namespace hastool {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kEnoughToBegin{2000};
// A fast play keeps what the switcher's rules ask for: over 5 s it may go up, below 8 s down.
constexpr milliseconds kFastLevel{6000};
constexpr milliseconds kStatusInterval{200};
constexpr milliseconds kIdleTick{10};
constexpr int kMaxFailuresInARow = 3; // then it is not the segments

milliseconds inMilliseconds(double seconds) {
    return milliseconds(std::llround(seconds * 1000));
}

double inSeconds(milliseconds time) {
    return static_cast<double>(time.count()) / 1000;
}

unsigned int inMs32(milliseconds time) {
    return static_cast<unsigned int>(time.count());
}

/// "12.3 s".
std::string tenths(double seconds) {
    const long long count = std::llround(seconds * 10);
    return std::to_string(count / 10) + "." + std::to_string(count % 10) + " s";
}

/// "20240101T000100", UTC.
std::string dateText(double seconds) {
    return hascommon::has_dateTimeToString(std::llround(seconds * 1000));
}

/// The bitrates to choose from, for a message.
std::string bitratesText(const TrackInfo& track) {
    std::string text;
    for (const StreamInfo& stream : track.streams)
        text += (text.empty() ? "" : ", ") + std::to_string(stream.bitrate);
    return text + " bit/s";
}

/// Whether the track's bitrate is what came in, not what a manifest says.
bool isMeasured(const PlayTrack& track) {
    return track.info.streams.size() == 1 && track.info.streams[0].bitrate == 0;
}

void tellMeasured(Summary& summary, int bitrate) {
    summary.ladder.assign(1, bitrate);
    summary.meanBitrate = bitrate;
    for (PlayedRendition& rendition : summary.renditions)
        rendition.bitrate = bitrate;
}

} // namespace

Player::Player(PlayOptions options, PlayObserver& observer)
    : m_options(std::move(options))
    , m_observer(observer)
    , m_mainWriter(std::make_unique<MediaWriter>(m_options.output))
    , m_callbacks(
          [this](const std::string& kind, const std::string& what) {
              m_observer.onEvent(secondsSinceStart(), kind, what);
          },
          [this](int from, int to) { m_observer.onSwitch(secondsSinceStart(), from, to); })
    , m_fetcher(m_options.engine, m_checker, [this] { tick(); })
    , m_buffer(kEnoughToBegin) {
    if (!m_options.trace.empty())
        m_trace.emplace(m_options.trace);
    m_fetcher.onRetry([this](const std::string& what) {
        m_observer.onEvent(secondsSinceStart(), "retry", what);
    });
    if (m_options.pauseAt >= 0)
        m_viewer = {inMilliseconds(m_options.pauseAt), inMilliseconds(m_options.pauseFor)};
}

void Player::play() {
    try {
        playToEnd();
    } catch (const ToolError&) {
        keepOutputs(); // What came in before is worth having.
        throw;
    }
    keepOutputs();
}

void Player::keepOutputs() {
    for (const PlayTrack& track : m_tracks)
        track.writer->commit();
    if (m_trace)
        m_trace->commit();
}

void Player::playToEnd() {
    open();
    while (wantsMore()) {
        PlayTrack* const track = pickTrack();
        if (track != nullptr)
            advance(*track);
        else
            pause(kIdleTick);
    }
    if (m_summary.segments == 0 && !isInterrupted())
        throw ToolError(m_options.url, m_lastFailure.empty() ? "nothing to play" : m_lastFailure);
    playOut();
}

void Player::open() {
    m_checker.ParseComp();
    m_checker.Start();
    m_lastPoll = hascommon::has_getTime();
    const auto fetcher = [this](const Resource& resource) { return m_fetcher.document(resource); };
    m_presentation = openPresentation(m_options.url, fetcher, m_options.liveTimeout);
    tellWarnings();
    const auto& tracks = m_presentation->tracks();
    for (size_t i = 0; i < tracks.size(); ++i)
        m_tracks.emplace_back(i, tracks[i], writerOf(tracks[i]));
    m_buffer = PlaybackBuffer(kEnoughToBegin, m_tracks.size());
    configureSwitcher();
}

/// The main output is there from the start, so that nothing is fetched in vain.
std::unique_ptr<MediaWriter> Player::writerOf(const TrackInfo& track) {
    if (m_mainWriter)
        return std::move(m_mainWriter);
    return std::make_unique<MediaWriter>(trackOutput(m_options.output, track));
}

void Player::configureSwitcher() {
    PlayTrack& main = m_tracks[0];
    if (!main.allow(m_options.limits))
        throw ToolError("--limit", "allows none of the streams: " + bitratesText(main.info));
    std::vector<int> bitrates;
    for (const size_t index : main.ladder)
        bitrates.push_back(main.info.streams[index].bitrate);
    m_switcher.Init(&m_checker);
    m_switcher.SetSwitchParam(m_options.upTimer, m_options.marginKbps);
    m_switcher.SetBitrateLimit(m_options.groups, m_options.limits);
    m_switcher.ResetData(bitrates, false);
    main.startAt(m_options.startBitrate);
    int audio = m_options.audioBitrate; // also of audio that comes in the main track
    for (size_t i = 1; i < m_tracks.size(); ++i) {
        m_tracks[i].startAt(m_options.audioBitrate);
        audio = m_tracks[i].bitrate();
    }
    m_switcher.SetAudioBitrate(audio);
}

bool Player::wantsMore() const {
    const auto isUnfinished = [&](const PlayTrack& track) {
        return !track.ended && (m_options.duration <= 0 || track.seconds < m_options.duration);
    };
    const bool hasAllSegments =
        m_options.maxSegments > 0 && m_summary.segments >= m_options.maxSegments;
    return !hasAllSegments && !isInterrupted() &&
           std::any_of(m_tracks.begin(), m_tracks.end(), isUnfinished);
}

/// The track with the least media ahead, of those that may have something; null when there is none.
PlayTrack* Player::pickTrack() {
    const auto now = Clock::now();
    PlayTrack* best = nullptr;
    for (PlayTrack& track : m_tracks) {
        const bool hasAll = m_options.duration > 0 && track.seconds >= m_options.duration;
        if (track.ended || hasAll || track.askAt > now)
            continue;
        if (best == nullptr || track.seconds < best->seconds)
            best = &track;
    }
    return best;
}

/// Moves a track on by a piece.
void Player::advance(PlayTrack& track) {
    choose(track);
    const auto next = nextPiece(track);
    if (!next)
        return;
    if (next->kind == NextPiece::Kind::End) {
        track.ended = true;
        m_buffer.finish(track.number);
    } else if (next->kind == NextPiece::Kind::Wait) {
        track.askAt = Clock::now() + std::min(next->wait, kIdleTick);
    } else {
        take(track, next->piece);
    }
}

void Player::choose(PlayTrack& track) {
    m_choice = {};
    if (track.number != 0 || m_summary.segments == 0 || track.ladder.size() < 2)
        return;
    m_choice.choiceBuffer = m_buffer.level().count();
    m_choice.choiceMean = m_checker.GetCurrentAvgBandwidth();
    m_choice.choiceFirst = m_checker.GetBeginingBandwidth();
    // The switcher counts the streams that are allowed.
    const auto present = std::find(track.ladder.begin(), track.ladder.end(), track.stream);
    const auto next = m_switcher.ProcessAdaptiveSeg(
        static_cast<int>(present - track.ladder.begin()), inMs32(m_buffer.level()));
    m_choice.choice = next;
    if (next < 0 || static_cast<size_t>(next) >= track.ladder.size())
        return;
    const size_t stream = track.ladder[static_cast<size_t>(next)];
    m_choice.choice = static_cast<int>(stream);
    if (stream != track.stream && !track.isBroken[stream])
        changeTo(track, stream);
}

void Player::changeTo(PlayTrack& track, size_t stream) {
    const auto from = static_cast<unsigned int>(track.bitrate());
    const bool isUp = stream > track.stream;
    track.stream = stream;
    track.change = isUp ? "up" : "down";
    ++(isUp ? m_summary.switchesUp : m_summary.switchesDown);
    m_callbacks.hub().OnBitrateChanged(from, static_cast<unsigned int>(track.bitrate()), pts(),
                                       pts(), pts(), pts());
}

/// A stream whose manifest cannot be had is left for another.
std::optional<NextPiece> Player::nextPiece(PlayTrack& track) {
    try {
        NextPiece next = m_presentation->next(track.number, track.stream);
        tellWarnings();
        track.lastGoodStream = track.stream;
        track.hasGoodStream = true;
        return next;
    } catch (const ToolError& error) {
        if (isInterrupted())
            return std::nullopt;
        track.isBroken[track.stream] = true;
        const auto other = track.fallback();
        if (!other)
            throw;
        m_observer.onTrouble(error.what());
        if (track.hasGoodStream)
            changeTo(track, *other);
        else
            track.stream = *other; // Nothing has been played that it could be a change from.
        return std::nullopt;
    }
}

void Player::tellWarnings() {
    for (const std::string& warning : m_presentation->takeWarnings())
        m_observer.onTrouble(warning);
}

void Player::take(PlayTrack& track, const MediaPiece& piece) {
    countLost(piece.lost);
    m_pieceBegun = secondsSinceStart();
    if (track.number == 0)
        tellPlayer(piece);
    if (piece.missing) {
        skip(track, piece, {});
        return;
    }
    if (!fetchInit(track, piece))
        return;
    std::string media;
    m_pieceBegun = secondsSinceStart();
    const Outcome outcome = m_fetcher.segment(piece.media, piece.index, media);
    if (outcome.ok) {
        protect(piece, piece.media, media);
        accept(track, piece, outcome, media);
    } else if (!isInterrupted())
        skip(track, piece, outcome);
}

/// What the player is told when the main track comes to a piece.
void Player::tellPlayer(const MediaPiece& piece) {
    using Advertisement = MediaPiece::Advertisement;
    if (piece.discontinuity)
        m_callbacks.hub().OnDiscontinue(0, pts(), pts(), pts(), pts());
    if (piece.advertisement == Advertisement::Begins)
        m_callbacks.hub().OnADStart(pts(), pts(), pts(), pts());
    else if (piece.advertisement == Advertisement::Ends)
        m_callbacks.hub().OnADEnd(pts(), pts(), pts(), pts(), 0);
    if (piece.dateTime && (!m_hasDateTime || piece.discontinuity))
        m_observer.onEvent(secondsSinceStart(), "date-time", dateText(*piece.dateTime));
    m_hasDateTime = m_hasDateTime || piece.dateTime;
}

bool Player::fetchInit(PlayTrack& track, const MediaPiece& piece) {
    const MediaPart wanted = piece.init.value_or(MediaPart());
    if (wanted == track.init)
        return true;
    std::string bytes;
    if (piece.init) {
        const Outcome outcome = m_fetcher.init(wanted, piece.index, bytes);
        if (!outcome.ok) {
            if (!isInterrupted())
                skip(track, piece, outcome);
            return false;
        }
    }
    if (piece.init)
        protect(piece, *piece.init, bytes);
    track.init = wanted;
    track.initBytes = std::move(bytes);
    return true;
}

void Player::accept(PlayTrack& track, const MediaPiece& piece, const Outcome& outcome,
                    const std::string& media) {
    if (piece.makeInit)
        track.initBytes = piece.makeInit(media);
    track.writer->setInit(track.initBytes);
    track.writer->write(media);
    track.failuresInARow = 0;
    track.bytes += media.size();
    track.mediaSeconds += piece.seconds;
    learnResolution(track, media);
    buffered(track, piece, outcome.bytes);
    record(rowOf(track, piece, outcome));
    track.change = "";
    if (m_options.fast)
        m_buffer.drainTo(kFastLevel);
}

void Player::buffered(PlayTrack& track, const MediaPiece& piece, uint64_t bytes) {
    track.seconds += piece.seconds;
    ++m_summary.segments;
    m_summary.bytes += bytes;
    m_buffer.add(inMilliseconds(piece.seconds), bytes, track.number);
    if (track.number != 0)
        return;
    m_bitSeconds += piece.seconds * track.bitrate();
    m_mainSeconds += piece.seconds;
    const auto held = static_cast<unsigned int>(
        std::min<uint64_t>(m_buffer.bytes(), std::numeric_limits<unsigned int>::max()));
    m_switcher.ProcessAdaptiveSegLevel(held, inMs32(m_buffer.level()), false);
}

void Player::learnResolution(PlayTrack& track, const std::string& media) {
    if (track.number != 0)
        return;
    const std::string& resolution = track.renditions.learn(track.stream, media);
    if (track.stream != m_shownStream && !resolution.empty())
        m_observer.onRendition(secondsSinceStart(), track.bitrate(), resolution);
    m_shownStream = track.stream;
}

void Player::skip(PlayTrack& track, const MediaPiece& piece, const Outcome& outcome) {
    ++m_summary.skipped;
    track.seconds += piece.seconds; // the place goes on
    m_lastFailure = outcome.failure;
    if (!piece.missing) {
        const std::string what = piece.media.resource.url + ": " + outcome.failure;
        m_observer.onTrouble(what + "; skipped");
        if (++track.failuresInARow >= kMaxFailuresInARow)
            throw ToolError(piece.media.resource.url,
                            outcome.failure + ", like the segments before it; given up");
    }
    TraceRow row = rowOf(track, piece, outcome);
    row.skipped = true;
    record(row);
    track.change = "";
}

void Player::countLost(uint64_t pieces) {
    if (pieces == 0)
        return;
    m_summary.skipped += pieces;
    m_observer.onTrouble(std::to_string(pieces) + " segments were gone before they were fetched");
}

/// Passes what is protected through its handler. One that is refused ends the play.
void Player::protect(const MediaPiece& piece, const MediaPart& part, std::string& bytes) {
    try {
        m_fetcher.rewrite(piece, part, bytes);
    } catch (const ToolError& error) {
        m_callbacks.hub().OnDRMErrorMsg(error.what());
        throw;
    }
}

TraceRow Player::rowOf(const PlayTrack& track, const MediaPiece& piece, const Outcome& outcome) {
    TraceRow row = m_choice;
    row.begin = m_pieceBegun;
    row.time = secondsSinceStart();
    row.isAudio = track.number != 0;
    row.index = piece.index;
    row.stream = track.stream;
    row.bitrate = track.bitrate();
    row.bytes = outcome.bytes;
    row.duration = piece.seconds;
    row.download = inSeconds(outcome.time);
    row.firstByte = inSeconds(outcome.latency);
    row.redirects = outcome.redirects;
    row.bandwidth = m_checker.GetCurrentBandwidth();
    row.mean = m_checker.GetCurrentAvgBandwidth();
    row.buffer = inSeconds(m_buffer.level());
    row.change = track.change;
    row.stalls = m_buffer.stalls();
    row.stallTime = inSeconds(m_buffer.stallTime());
    row.retries = outcome.retries;
    row.resolution = track.number == 0 ? track.renditions.resolution(track.stream) : "";
    return row;
}

void Player::record(const TraceRow& row) {
    if (m_trace)
        m_trace->add(row);
    m_observer.onSegment(row);
}

void Player::playOut() {
    m_buffer.finishAll();
    if (m_options.fast)
        m_buffer.drainTo(milliseconds(0));
    const auto end = inMilliseconds(m_options.duration);
    while (!m_buffer.isDone() && !isInterrupted() &&
           (end.count() == 0 || m_buffer.position() < end))
        pause(kIdleTick);
    takeSample();
}

void Player::pause(milliseconds time) {
    std::this_thread::sleep_for(time);
    tick();
}

void Player::tick() {
    const auto now = Clock::now();
    const auto passed = std::chrono::duration_cast<milliseconds>(now - m_lastTick);
    m_lastTick += passed;
    passTime(passed);
    holdTransfers();
    watchState();
    pollBandwidth();
    if (now - m_lastStatus < kStatusInterval)
        return;
    m_lastStatus = now;
    m_observer.onStatus(status());
}

void Player::passTime(milliseconds time) {
    const ViewerPause::Change change = m_viewer.step(m_buffer.position(), time);
    if (change == ViewerPause::Change::Begun)
        m_observer.onEvent(secondsSinceStart(), "pause", "the viewer pauses");
    else if (change == ViewerPause::Change::Ended)
        m_observer.onEvent(secondsSinceStart(), "resume", "the viewer goes on");
    if (!m_options.fast && !m_viewer.isPaused())
        m_buffer.drain(time);
}

/// While the buffer is full, or the viewer pauses, transfers stand still; their connections stay.
void Player::holdTransfers() {
    const bool isFull = !m_options.fast && m_buffer.level() >= m_options.bufferGoal;
    const bool isHeld = (isFull || m_viewer.isPaused()) && !isInterrupted();
    m_fetcher.hold(isHeld);
}

/// The checker takes a poll as due only when more than its interval has passed.
void Player::pollBandwidth() {
    const long long now = hascommon::has_getTime();
    if (now - m_lastPoll <= static_cast<long long>(m_checker.GetMonitorInterval()))
        return;
    m_lastPoll = now;
    m_checker.OnPolling(now);
    takeSample();
}

/// What begins or ends between two polls is recorded when it does.
void Player::watchState() {
    tellStall();
    const bool isSame = isStalled() == m_lastSample.stalled &&
                        m_viewer.isPaused() == m_lastSample.paused &&
                        m_fetcher.isHeld() == m_lastSample.transferHeld;
    if (!isSame)
        takeSample();
}

void Player::tellStall() {
    if (isStalled() == m_isStallTold)
        return;
    m_isStallTold = !m_isStallTold;
    const double now = secondsSinceStart();
    if (m_isStallTold)
        m_stallBegun = now;
    const std::string what = m_isStallTold ? "no media at " + tenths(inSeconds(m_buffer.position()))
                                           : "over after " + tenths(now - m_stallBegun);
    m_observer.onEvent(now, "stall", what);
}

void Player::takeSample() {
    m_lastSample = sample();
    m_observer.onSample(m_lastSample);
}

bool Player::isStalled() const {
    return m_buffer.stalls() > 0 && !m_buffer.isPlaying() && !m_buffer.isDone();
}

/// The end of what was fetched, as the player counts.
unsigned long long Player::pts() const {
    return static_cast<unsigned long long>(m_tracks[0].seconds * 1000) *
           PlayerCallbacks::kTimestampsPerMs;
}

double Player::secondsSinceStart() const {
    return std::chrono::duration<double>(Clock::now() - m_start).count();
}

int Player::bitrate() const {
    return m_tracks.empty() ? 0 : m_tracks[0].bitrate();
}

PlayStatus Player::status() {
    PlayStatus status;
    status.position = inSeconds(m_buffer.position());
    status.buffer = inSeconds(m_buffer.level());
    status.bitrate = bitrate();
    if (!m_tracks.empty())
        status.resolution = m_tracks[0].renditions.resolution(m_tracks[0].stream);
    status.bandwidth = m_checker.GetCurrentAvgBandwidth();
    status.switches = m_summary.switchesUp + m_summary.switchesDown;
    status.stalled = isStalled();
    status.paused = m_viewer.isPaused();
    return status;
}

PlaySample Player::sample() {
    PlaySample sample;
    sample.time = secondsSinceStart();
    sample.bandwidth = m_checker.GetCurrentBandwidth();
    sample.mean = m_checker.GetCurrentAvgBandwidth();
    sample.buffer = inSeconds(m_buffer.level());
    sample.position = inSeconds(m_buffer.position());
    sample.bitrate = bitrate();
    sample.playing = m_buffer.isPlaying() && !m_viewer.isPaused();
    sample.transferHeld = m_fetcher.isHeld();
    sample.stalled = isStalled();
    sample.paused = m_viewer.isPaused();
    return sample;
}

Summary Player::summary() {
    Summary summary = m_summary;
    summary.url = m_options.url;
    summary.live = m_presentation && m_presentation->isLive();
    summary.played = inSeconds(m_buffer.position());
    summary.wallTime = secondsSinceStart();
    summary.startupTime = inSeconds(m_buffer.startupTime());
    summary.stalls = m_buffer.stalls();
    summary.stallTime = inSeconds(m_buffer.stallTime());
    summary.bandwidth = m_checker.GetCurrentAvgBandwidth();
    summary.downloads = m_fetcher.downloads();
    summary.retries = m_fetcher.retries();
    summary.output = m_options.output;
    summary.trace = m_options.trace;
    if (m_tracks.empty())
        return summary;
    const PlayTrack& main = m_tracks[0];
    summary.streams = main.info.streams.size();
    for (const StreamInfo& stream : main.info.streams)
        summary.ladder.push_back(stream.bitrate);
    summary.meanBitrate = m_mainSeconds > 0 ? m_bitSeconds / m_mainSeconds : 0;
    summary.renditions = main.renditions.played();
    if (isMeasured(main))
        tellMeasured(summary, main.bitrate());
    return summary;
}

} // namespace hastool
