#include "Player.h"

#include "Interrupt.h"
#include "SegmentDecryptor.h"
#include "ToolError.h"

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
constexpr size_t kMaxKeyBytes = 1u << 20; // to be able to say that it is none
constexpr size_t kMaxInitBytes = 16u << 20;
constexpr size_t kMaxSegmentBytes = 256u << 20;     // minutes of the best video there is
constexpr int kMaxFailuresInARow = 3;               // then it is not the segments
constexpr unsigned long long kTimestampsPerMs = 90; // of transport streams

milliseconds inMilliseconds(double seconds) {
    return milliseconds(std::llround(seconds * 1000));
}

double inSeconds(milliseconds time) {
    return static_cast<double>(time.count()) / 1000;
}

unsigned int inMs32(milliseconds time) {
    return static_cast<unsigned int>(time.count());
}

EngineOptions forPlayer(EngineOptions options) {
    options.retriesBrokenConnections = true;
    return options;
}

} // namespace

Player::Player(PlayOptions options, PlayObserver& observer)
    : m_options(std::move(options))
    , m_observer(observer)
    , m_writer(m_options.output)
    , m_downloader(forPlayer(m_options.engine), &m_checker)
    , m_keys([this](const std::string& url, std::string& bytes) {
        return fetch({url, std::nullopt}, kMaxKeyBytes, bytes);
    })
    , m_buffer(kEnoughToBegin) {
    if (!m_options.trace.empty())
        m_trace.emplace(m_options.trace);
    m_support.SetBandwidthCallbackEx(&Player::onBitrateChanged, this);
}

void Player::play() {
    open();
    while (wantsMore()) {
        if (!hasRoom()) {
            pause(kIdleTick);
            continue;
        }
        choose();
        const auto next = nextPiece();
        if (!next)
            continue;
        if (next->kind == NextPiece::Kind::End)
            break;
        if (next->kind == NextPiece::Kind::Wait)
            pause(std::min(next->wait, kIdleTick));
        else
            take(next->piece);
    }
    if (m_summary.segments == 0 && !isInterrupted())
        throw ToolError(m_options.url, m_lastFailure.empty() ? "nothing to play" : m_lastFailure);
    playOut();
}

void Player::open() {
    const auto fetcher = [this](const std::string& url) { return fetchDocument(url); };
    m_presentation = openPresentation(m_options.url, fetcher, m_options.liveTimeout);
    m_renditions = Renditions(m_presentation->streams());
    m_isBroken.assign(m_presentation->streams().size(), false);
    m_checker.ParseComp();
    m_checker.Start();
    m_lastPoll = hascommon::has_getTime();
    configureSwitcher();
}

void Player::configureSwitcher() {
    std::vector<int> bitrates;
    for (const StreamInfo& stream : m_presentation->streams())
        bitrates.push_back(stream.bitrate);
    m_switcher.Init(&m_checker);
    m_switcher.ResetData(bitrates, false);
    for (size_t i = 0; i < bitrates.size(); ++i) {
        if (bitrates[i] <= m_options.startBitrate)
            m_stream = i;
    }
    m_lastGoodStream = m_stream;
}

Document Player::fetchDocument(const std::string& url) {
    Document document;
    const Outcome outcome = fetch({url, std::nullopt}, kMaxManifestBytes, document.text);
    if (!outcome.ok)
        throw ToolError(url, outcome.failure);
    document.url = outcome.url;
    return document;
}

bool Player::wantsMore() const {
    const bool hasAllSegments =
        m_options.maxSegments > 0 && m_summary.segments >= m_options.maxSegments;
    const bool hasAllTime = m_options.duration > 0 && m_mediaSeconds >= m_options.duration;
    return !hasAllSegments && !hasAllTime && !isInterrupted();
}

bool Player::hasRoom() const {
    return m_options.fast || m_buffer.level() < m_options.bufferGoal;
}

void Player::choose() {
    if (m_summary.segments == 0 || m_presentation->streams().size() < 2)
        return;
    const int next =
        m_switcher.ProcessAdaptiveSeg(static_cast<int>(m_stream), inMs32(m_buffer.level()));
    const auto stream = static_cast<size_t>(next);
    if (next >= 0 && stream < m_isBroken.size() && stream != m_stream && !m_isBroken[stream])
        changeTo(stream);
}

void Player::changeTo(size_t stream) {
    const auto from = static_cast<unsigned int>(bitrate());
    const bool isUp = stream > m_stream;
    m_stream = stream;
    m_change = isUp ? "up" : "down";
    ++(isUp ? m_summary.switchesUp : m_summary.switchesDown);
    const unsigned long long pts =
        static_cast<unsigned long long>(m_mediaSeconds * 1000) * kTimestampsPerMs;
    m_support.OnBitrateChanged(from, static_cast<unsigned int>(bitrate()), pts, pts, pts, pts);
}

/// A stream whose manifest cannot be had is left for the one before, which goes on.
std::optional<NextPiece> Player::nextPiece() {
    try {
        NextPiece next = m_presentation->next(m_stream);
        m_lastGoodStream = m_stream;
        return next;
    } catch (const ToolError& error) {
        if (isInterrupted())
            return std::nullopt;
        if (m_stream == m_lastGoodStream || m_isBroken[m_lastGoodStream])
            throw;
        m_isBroken[m_stream] = true;
        m_observer.onTrouble(error.what());
        changeTo(m_lastGoodStream);
        return std::nullopt;
    }
}

void Player::take(const MediaPiece& piece) {
    countLost(piece.lost);
    if (piece.missing) {
        skip(piece, {});
        return;
    }
    if (!fetchInit(piece))
        return;
    std::string media;
    const Outcome outcome = fetchPart(piece.media, piece.index, kMaxSegmentBytes, media);
    if (outcome.ok)
        accept(piece, outcome, media);
    else if (!isInterrupted())
        skip(piece, outcome);
}

bool Player::fetchInit(const MediaPiece& piece) {
    const MediaPart wanted = piece.init.value_or(MediaPart());
    if (wanted == m_init)
        return true;
    std::string bytes;
    if (piece.init) {
        const Outcome outcome = fetchPart(wanted, piece.index, kMaxInitBytes, bytes);
        if (!outcome.ok) {
            if (!isInterrupted())
                skip(piece, outcome);
            return false;
        }
    }
    m_init = wanted;
    m_initBytes = std::move(bytes);
    return true;
}

void Player::accept(const MediaPiece& piece, const Outcome& outcome, const std::string& media) {
    m_writer.setInit(m_initBytes);
    m_writer.write(media);
    learnResolution(media);
    m_failuresInARow = 0;
    m_mediaSeconds += piece.seconds;
    m_bitSeconds += piece.seconds * bitrate();
    ++m_summary.segments;
    m_summary.bytes += outcome.bytes;
    m_buffer.add(inMilliseconds(piece.seconds), outcome.bytes);
    const auto bytes = static_cast<unsigned int>(
        std::min<uint64_t>(m_buffer.bytes(), std::numeric_limits<unsigned int>::max()));
    m_switcher.ProcessAdaptiveSegLevel(bytes, inMs32(m_buffer.level()), false);
    record(rowOf(piece, outcome));
    if (m_options.fast)
        m_buffer.drainTo(kFastLevel);
}

void Player::learnResolution(const std::string& media) {
    const std::string& resolution = m_renditions.learn(m_stream, media);
    if (m_stream != m_shownStream && !resolution.empty())
        m_observer.onRendition(secondsSinceStart(), bitrate(), resolution);
    m_shownStream = m_stream;
}

void Player::skip(const MediaPiece& piece, const Outcome& outcome) {
    ++m_summary.skipped;
    m_lastFailure = outcome.failure;
    if (!piece.missing) {
        const std::string what = piece.media.resource.url + ": " + outcome.failure;
        m_observer.onTrouble(what + "; skipped");
        if (++m_failuresInARow >= kMaxFailuresInARow)
            throw ToolError(piece.media.resource.url,
                            outcome.failure + ", like the segments before it; given up");
    }
    TraceRow row = rowOf(piece, outcome);
    row.skipped = true;
    record(row);
}

void Player::countLost(uint64_t pieces) {
    if (pieces == 0)
        return;
    m_summary.skipped += pieces;
    m_observer.onTrouble(std::to_string(pieces) + " segments were gone before they were fetched");
}

Outcome Player::fetch(const Resource& resource, size_t limit, std::string& bytes) {
    MemorySink sink(limit);
    Outcome outcome = fetchInto(resource, sink);
    bytes = std::move(sink.bytes());
    return outcome;
}

/// What cannot be decrypted ends the play: the segments behind it would not fare better.
Outcome Player::fetchPart(const MediaPart& part, uint64_t index, size_t limit, std::string& bytes) {
    if (!part.encryption)
        return fetch(part.resource, limit, bytes);
    try {
        return decrypt(part, "segment " + std::to_string(index), limit, bytes);
    } catch (const ToolError&) {
        if (!isInterrupted())
            throw;
        return {};
    }
}

Outcome Player::decrypt(const MediaPart& part, const std::string& name, size_t limit,
                        std::string& bytes) {
    const AesBytes key = m_keys.get(part.encryption->keyUrl, name);
    MemorySink plain(limit);
    SegmentDecryptor decryptor(key, part.encryption->iv, true, plain);
    Outcome outcome = fetchInto(part.resource, decryptor);
    if (outcome.ok && !decryptor.finish())
        throw ToolError(part.resource.url, name + " cannot be decrypted: " + decryptor.failure());
    bytes = std::move(plain.bytes());
    return outcome;
}

Outcome Player::fetchInto(const Resource& resource, ByteSink& sink) {
    Outcome outcome = download(m_downloader, resource, sink, true, [this] { tick(); });
    ++m_summary.downloads;
    m_summary.retries += static_cast<uint64_t>(outcome.retries);
    return outcome;
}

TraceRow Player::rowOf(const MediaPiece& piece, const Outcome& outcome) {
    TraceRow row;
    row.time = secondsSinceStart();
    row.index = piece.index;
    row.stream = m_stream;
    row.bitrate = bitrate();
    row.bytes = outcome.bytes;
    row.duration = piece.seconds;
    row.download = inSeconds(outcome.time);
    row.firstByte = inSeconds(outcome.latency);
    row.bandwidth = static_cast<unsigned>(m_checker.GetCurrentBandwidth());
    row.mean = static_cast<unsigned>(m_checker.GetCurrentAvgBandwidth());
    row.buffer = inSeconds(m_buffer.level());
    row.change = m_change;
    row.stalls = m_buffer.stalls();
    row.stallTime = inSeconds(m_buffer.stallTime());
    row.retries = outcome.retries;
    row.resolution = m_renditions.resolution(m_stream);
    return row;
}

void Player::record(const TraceRow& row) {
    if (m_trace)
        m_trace->add(row);
    m_observer.onSegment(row);
    m_change = "";
}

void Player::playOut() {
    m_buffer.finish();
    if (m_options.fast)
        m_buffer.drainTo(milliseconds(0));
    const auto end = inMilliseconds(m_options.duration);
    while (!m_buffer.isDone() && !isInterrupted() &&
           (end.count() == 0 || m_buffer.position() < end))
        pause(kIdleTick);
}

void Player::pause(milliseconds time) {
    std::this_thread::sleep_for(time);
    tick();
}

void Player::tick() {
    const auto now = Clock::now();
    const auto passed = std::chrono::duration_cast<milliseconds>(now - m_lastTick);
    m_lastTick += passed;
    if (!m_options.fast)
        m_buffer.drain(passed);
    pollBandwidth();
    if (now - m_lastStatus < kStatusInterval)
        return;
    m_lastStatus = now;
    m_observer.onStatus(status());
}

/// The checker takes a poll as due only when more than its interval has passed.
void Player::pollBandwidth() {
    const long long now = hascommon::has_getTime();
    if (now - m_lastPoll <= static_cast<long long>(m_checker.GetMonitorInterval()))
        return;
    m_lastPoll = now;
    m_checker.OnPolling(now);
}

double Player::secondsSinceStart() const {
    return std::chrono::duration<double>(Clock::now() - m_start).count();
}

int Player::bitrate() const {
    return m_presentation->streams()[m_stream].bitrate;
}

PlayStatus Player::status() {
    PlayStatus status;
    status.position = inSeconds(m_buffer.position());
    status.buffer = inSeconds(m_buffer.level());
    status.bitrate = m_presentation ? bitrate() : 0;
    status.resolution = m_renditions.resolution(m_stream);
    status.bandwidth = static_cast<unsigned>(m_checker.GetCurrentAvgBandwidth());
    status.switches = m_summary.switchesUp + m_summary.switchesDown;
    status.stalled = m_buffer.stalls() > 0 && !m_buffer.isPlaying();
    return status;
}

Summary Player::summary() {
    Summary summary = m_summary;
    summary.url = m_options.url;
    summary.live = m_presentation && m_presentation->isLive();
    summary.streams = m_presentation ? m_presentation->streams().size() : 0;
    summary.played = inSeconds(m_buffer.position());
    summary.wallTime = secondsSinceStart();
    summary.startupTime = inSeconds(m_buffer.startupTime());
    summary.meanBitrate = m_mediaSeconds > 0 ? m_bitSeconds / m_mediaSeconds : 0;
    summary.stalls = m_buffer.stalls();
    summary.stallTime = inSeconds(m_buffer.stallTime());
    summary.bandwidth = static_cast<unsigned>(m_checker.GetCurrentAvgBandwidth());
    summary.renditions = m_renditions.played();
    summary.output = m_options.output;
    summary.trace = m_options.trace;
    return summary;
}

hascommon::tag_HAS_Status Player::onBitrateChanged(unsigned int, unsigned int from, unsigned int to,
                                                   unsigned long long, unsigned long long,
                                                   void* self) {
    auto* const player = static_cast<Player*>(self);
    player->m_observer.onSwitch(player->secondsSinceStart(), static_cast<int>(from),
                                static_cast<int>(to));
    return hascommon::HAS_STATUS_SUCCESS;
}

} // namespace hastool
