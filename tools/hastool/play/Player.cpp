#include "Player.h"
#include "TrackMerge.h"

#include <hastool/base/Interrupt.h>
#include <hastool/base/ToolError.h>
#include <hastool/formats/OpenPresentation.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace hastool {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kEnoughToBegin{2000};
constexpr milliseconds kEnoughNearTheEdge{1000}; // where there is no more to be had at once
constexpr milliseconds kTick{10};                // the longest wait while no transfer ends
constexpr size_t kMaxKeyBytes = 1u << 20; // far above a key's 16, so that the message tells a size

milliseconds inMilliseconds(double seconds) {
    return milliseconds(std::llround(seconds * 1000));
}

double inSeconds(milliseconds time) {
    return static_cast<double>(time.count()) / 1000;
}

/// Whether the track's bitrate is measured, as no manifest gives it.
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

Player::Player(PlayOptions options, PlayObserver& observer, const PlayWorld& world)
    : m_options(std::move(options))
    , m_clock(world.clock)
    , m_mainWriter(std::make_unique<MediaWriter>(m_options.output))
    , m_journal(m_options, observer, m_clock)
    , m_adaptation(m_options.rule, m_clock)
    , m_fetcher(world.connect(m_options.engine, m_adaptation.traffic()))
    , m_keys([this](const std::string& url, std::string& bytes) {
        return m_desk.bytes(url, kMaxKeyBytes, bytes);
    })
    , m_buffer(kEnoughToBegin)
    , m_events(m_journal)
    , m_intake(m_options, m_adaptation, m_buffer, m_events, m_journal)
    , m_opening(*m_fetcher, m_journal)
    , m_lastTick(m_clock.steady()) {
    m_desk.setTraffic(m_adaptation.traffic());
    m_fetcher->onRetry([this](const std::string& what) { m_journal.event("retry", what); });
    if (m_options.pauseAt >= 0)
        m_viewer = {inMilliseconds(m_options.pauseAt), inMilliseconds(m_options.pauseFor)};
}

/// Transfers under way write into members that are destroyed here.
Player::~Player() {
    m_fetcher->cancelAll();
}

void Player::play() {
    try {
        playToEnd();
    } catch (const ToolError&) {
        m_fetcher->cancelAll();
        keepOutputs(); // What came in before is worth having.
        if (const auto failure = mergeOutputs())
            m_journal.trouble(failure->what());
        throw;
    }
    keepOutputs();
    if (const auto failure = mergeOutputs())
        throw ToolError(*failure);
}

/// Makes one file out of separate audio and video, where its name asks for that. Where it is not
/// possible they stay two, which is no failure.
/// @return why it failed
std::optional<ToolError> Player::mergeOutputs() {
    if (!isMergedName(m_options.output) || m_tracks.size() < 2 || !m_tracks[0].writer->hasFile() ||
        !m_tracks[1].writer->hasFile())
        return std::nullopt;
    const std::string audio = trackOutput(m_options.output, m_tracks[1].info);
    const MergeResult result = m_intake.isProtected()
                                   ? MergeResult{false, false, "they are encrypted"}
                                   : mergeTracks(m_options.output, audio);
    if (result.isMerged)
        return std::nullopt;
    const std::string what =
        "has the video only, the audio is in " + inQuotes(audio) + ": " + result.why;
    if (result.hasFailed)
        return ToolError(m_options.output, what);
    m_journal.trouble(m_options.output + ": " + what);
    return std::nullopt;
}

void Player::keepOutputs() {
    for (const PlayTrack& track : m_tracks)
        track.writer->commit();
    if (m_subtitles)
        m_subtitles->commit();
    m_journal.commit();
}

void Player::playToEnd() {
    open();
    for (;;) {
        runAll();
        if (!m_schedule->wantsMore())
            break;
        pass();
    }
    const std::string& failure = m_intake.lastFailure();
    if (m_journal.segments() == 0 && !isInterrupted())
        throw ToolError(m_options.url, failure.empty() ? "nothing to play" : failure);
    playOut();
}

void Player::open() {
    m_adaptation.start(m_clock.milliseconds());
    m_presentation = openWithDocuments();
    m_journal.troubles(m_presentation->takeWarnings());
    const auto& tracks = m_presentation->tracks();
    for (size_t i = 0; i < tracks.size(); ++i) {
        if (!tracks[i].isText)
            m_tracks.emplace_back(i, tracks[i], writerOf(tracks[i]));
    }
    m_journal.follow(m_tracks[0]);
    m_buffer = PlaybackBuffer(kEnoughToBegin, m_tracks.size());
    m_journal.measureDistance([this] { return liveDistance(); });
    m_adaptation.configure(m_options, m_tracks);
    openSchedule(tracks);
}

void Player::openSchedule(const std::vector<TrackInfo>& tracks) {
    const TrackFeed::Parts parts{m_clock,
                                 *m_fetcher,
                                 *m_presentation,
                                 m_desk,
                                 m_keys,
                                 m_adaptation,
                                 m_buffer,
                                 m_intake,
                                 m_events,
                                 m_journal,
                                 m_options.liveTimeout};
    m_schedule.emplace(m_options, parts, m_tracks);
    if (tracks.back().isText)
        m_subtitles.emplace(m_options, parts, tracks.size() - 1, m_intake.timeline());
}

/// Moves all tracks on as far as they go; audio and video first.
void Player::runAll() {
    m_schedule->run();
    if (m_subtitles)
        m_subtitles->run();
    settle();
}

std::unique_ptr<Presentation> Player::openWithDocuments() {
    const auto fetch = [this](const Resource& resource) { return m_desk.document(resource); };
    for (;;) {
        try {
            auto presentation =
                openPresentation(m_options.url, fetch, m_options.liveTimeout, m_clock.source(),
                                 m_options.renditions, m_options.lowLatency);
            m_desk.release(m_opening);
            return presentation;
        } catch (const DocumentWanted& wanted) {
            m_desk.fetch(wanted, m_opening);
        }
        while (!m_opening.hasEnded())
            pass();
    }
}

/// The main track's file was opened before anything was fetched, so that a play whose output cannot
/// be written fails at once.
std::unique_ptr<MediaWriter> Player::writerOf(const TrackInfo& track) {
    if (m_mainWriter)
        return std::move(m_mainWriter);
    return std::make_unique<MediaWriter>(trackOutput(m_options.output, track));
}

void Player::playOut() {
    m_buffer.finishAll();
    if (m_options.fast)
        m_buffer.drainTo(milliseconds(0));
    const auto end = inMilliseconds(m_options.duration);
    m_subtitlesUntil = m_clock.steady() + m_options.liveTimeout;
    while (!isInterrupted()) {
        if (m_subtitles)
            m_subtitles->run();
        const bool isPlayed = m_buffer.isDone() || (end.count() > 0 && m_buffer.position() >= end);
        if (isPlayed && !awaitsSubtitles())
            break;
        pass();
    }
    m_journal.sample(sample());
}

/// Whether subtitles of what was fetched are still to come, and will not take too long.
bool Player::awaitsSubtitles() const {
    return m_subtitles && m_subtitles->isBehind(m_tracks[0].seconds) &&
           m_clock.steady() < *m_subtitlesUntil;
}

/// Lets time pass until a transfer ends, or a short time if none does.
void Player::pass() {
    const milliseconds time = std::min(kTick, m_adaptation.untilPoll(m_clock.milliseconds()));
    m_fetcher->wait(m_clock.steady() + time);
    passTime();
    settle();
}

void Player::passTime() {
    const auto passed = std::chrono::duration_cast<milliseconds>(m_clock.steady() - m_lastTick);
    m_lastTick += passed;
    const ViewerPause::Change change = m_viewer.step(m_buffer.position(), passed);
    if (change == ViewerPause::Change::Begun)
        m_journal.event("pause", "the viewer pauses");
    else if (change == ViewerPause::Change::Ended)
        m_journal.event("resume", "the viewer goes on");
    if (!m_options.fast && !m_viewer.isPaused())
        m_buffer.drain(passed);
}

/// To be called after every change: holds transfers or lets them go, and tells the journal.
void Player::settle() {
    if (m_presentation && m_presentation->isLowLatency())
        m_buffer.setEnough(kEnoughNearTheEdge);
    holdTransfers();
    m_journal.watch(sample());
    if (m_adaptation.poll(m_clock.milliseconds()))
        m_journal.sample(sample());
    m_journal.show(sample());
}

/// While the buffer is full, or the viewer pauses, transfers stand still; their connections stay.
void Player::holdTransfers() {
    const bool isFull = !m_options.fast && m_buffer.level() >= m_options.bufferGoal;
    m_fetcher->hold((isFull || m_viewer.isPaused()) && !isInterrupted());
    m_adaptation.hold(m_fetcher->isHeld());
}

bool Player::isStalled() const {
    return m_buffer.stalls() > 0 && !m_buffer.isPlaying() && !m_buffer.isDone();
}

/// How far what is played lies behind the live edge, in seconds; 0 where there is no such edge, or
/// nothing to play yet.
double Player::liveDistance() const {
    if (!m_presentation || m_tracks.empty() || m_tracks[0].mediaEnd <= 0)
        return 0;
    const auto edge = m_presentation->liveEdge();
    const double position = m_tracks[0].mediaEnd - inSeconds(m_buffer.trackLevel(0));
    return edge ? std::max(0.0, *edge - position) : 0;
}

PlaySample Player::sample() {
    PlaySample sample;
    sample.time = m_journal.seconds();
    sample.bandwidth = m_adaptation.bandwidth();
    sample.mean = m_adaptation.mean();
    sample.buffer = inSeconds(m_buffer.level());
    sample.position = inSeconds(m_buffer.position());
    sample.bitrate = m_tracks.empty() ? 0 : m_tracks[0].bitrate();
    sample.playing = m_buffer.isPlaying() && !m_viewer.isPaused();
    sample.transferHeld = m_fetcher->isHeld();
    sample.stalled = isStalled();
    sample.paused = m_viewer.isPaused();
    sample.liveDistance = liveDistance();
    return sample;
}

Summary Player::summary() {
    Summary summary = m_journal.counts();
    summary.url = m_options.url;
    summary.live = m_presentation && m_presentation->isLive();
    summary.played = inSeconds(m_buffer.position());
    summary.startupTime = inSeconds(m_buffer.startupTime());
    summary.stalls = m_buffer.stalls();
    summary.stallTime = inSeconds(m_buffer.stallTime());
    summary.bandwidth = m_adaptation.mean();
    summary.output = m_options.output;
    if (m_subtitles)
        summary.subtitleOutput = m_subtitles->output();
    summary.trace = m_options.trace;
    if (m_tracks.empty())
        return summary;
    const PlayTrack& main = m_tracks[0];
    summary.streams = main.info.streams.size();
    for (const StreamInfo& stream : main.info.streams)
        summary.ladder.push_back(stream.bitrate);
    summary.renditions = main.renditions.played();
    if (isMeasured(main))
        tellMeasured(summary, main.bitrate());
    return summary;
}

} // namespace hastool
