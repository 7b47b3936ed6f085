#include "TrackFeed.h"

#include <hastool/base/Interrupt.h>
#include <hastool/base/Quantities.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace hastool {
namespace {

constexpr size_t kMaxInitBytes = 16u << 20;
constexpr size_t kMaxSegmentBytes = 256u << 20; // minutes of the best video there is
// A presentation that has nothing new is asked again soon, even if it asks for a longer wait: the
// switcher may want another stream by then.
constexpr std::chrono::milliseconds kAskAgain{10};

} // namespace

bool TrackFeed::isReady() const {
    return m_awaited ? !m_parts.desk.isUnderWay(*m_awaited) : m_slot.hasEnded();
}

void TrackFeed::ask() {
    if (!m_isAgain) {
        m_order = {};
        m_order.streamBefore = m_track.stream;
        m_isSettled = false;
        choose();
    }
    m_stage = Stage::Asking;
    proceed();
    digest();
}

void TrackFeed::digest() {
    if (m_arrived) {
        ArrivedPiece arrived = std::move(*m_arrived);
        m_arrived.reset();
        m_parts.intake.digest(m_track, std::move(arrived));
    }
    for (const News& news : std::exchange(m_news, {}))
        news(m_parts.journal);
}

/// Tells the journal of the next piece, but not before the last one has been told of.
void TrackFeed::tell(const News& news) {
    if (m_arrived)
        m_news.push_back(news);
    else
        news(m_parts.journal);
}

void TrackFeed::proceed() {
    m_awaited.reset();
    try {
        go();
    } catch (const DocumentWanted& wanted) {
        m_awaited = wanted.resource;
        m_parts.desk.fetch(wanted, m_slot);
    }
}

void TrackFeed::go() {
    if (m_stage == Stage::Asking)
        askPresentation();
    if (m_stage == Stage::Init)
        fetchInit();
    if (m_stage == Stage::Media)
        fetchMedia();
    if (m_stage == Stage::Asking) // the media was given up
        go();
}

/// Asks the switcher, but not before the first segment: until then nothing has been measured.
void TrackFeed::choose() {
    if (m_track.number != 0 || m_parts.journal.segments() == 0 ||
        m_parts.presentation.isInside(m_track.number))
        return;
    m_order.choice = m_parts.adaptation.choose(m_track, nextSegment(), m_parts.buffer);
    const auto stream = m_order.choice.stream;
    if (stream && *stream != m_track.stream && !m_track.isBroken[*stream])
        changeTo(*stream);
}

/// Its length is that of the last one, as long as no manifest was asked.
StreamRule::NextSegment TrackFeed::nextSegment() const {
    StreamRule::NextSegment next;
    next.duration = StreamRule::Time(std::llround(m_lastSeconds * 1e6));
    next.bytes = m_parts.presentation.nextSizes(m_track.number);
    next.index = m_pieces;
    return next;
}

void TrackFeed::changeTo(size_t stream) {
    const int from = m_track.bitrate();
    const bool isUp = stream > m_track.stream;
    m_track.stream = stream;
    m_track.change = isUp ? "up" : "down";
    tell([from, to = m_track.bitrate(), isUp](Journal& journal) {
        journal.changed(from, to, isUp);
    });
}

void TrackFeed::askPresentation() {
    auto next = nextPiece();
    m_stage = Stage::Idle;
    m_parts.desk.release(m_slot);
    if (next)
        take(std::move(*next));
}

/// Asks the presentation. A stream whose manifest cannot be had is left for another.
std::optional<NextPiece> TrackFeed::nextPiece() {
    try {
        Presentation& presentation = m_parts.presentation;
        NextPiece next = m_isAgain ? presentation.again(m_track.number, m_track.stream)
                                   : presentation.next(m_track.number, m_track.stream);
        m_parts.journal.troubles(m_parts.presentation.takeWarnings());
        m_parts.events.announce(m_parts.presentation.takeEvents());
        m_track.lastGoodStream = m_track.stream;
        m_track.hasGoodStream = true;
        return next;
    } catch (const ToolError& error) {
        if (!isInterrupted())
            leaveStream(error);
        return std::nullopt;
    }
}

void TrackFeed::leaveStream(const ToolError& error) {
    m_track.isBroken[m_track.stream] = true;
    const auto other = m_track.fallback();
    if (!other)
        throw error;
    m_parts.journal.trouble(error.what());
    if (m_track.hasGoodStream)
        changeTo(*other);
    else
        m_track.stream = *other; // No change to tell of: nothing has been played yet.
}

void TrackFeed::take(NextPiece next) {
    const bool isNone = next.kind == NextPiece::Kind::End || next.piece.missing;
    if (m_isAgain && isNone && !m_isSettled) {
        goBack();
        return;
    }
    if (next.kind == NextPiece::Kind::End) {
        m_track.ended = true;
        m_parts.intake.end(m_track);
        return;
    }
    if (next.kind == NextPiece::Kind::Wait) {
        m_track.askAt = m_parts.clock.steady() + std::min(next.wait, kAskAgain);
        return;
    }
    const bool isReached = std::exchange(m_isAgain, false);
    m_order.piece = std::move(next.piece);
    m_order.begun = m_parts.journal.seconds();
    if (m_order.piece.lost > 0 || m_order.piece.missing)
        digest(); // The rows of pieces keep their order.
    m_parts.intake.lose(m_order.piece.lost);
    if (m_track.number == 0 && !isReached)
        reach();
    if (m_order.piece.missing)
        m_parts.intake.skip(m_track, m_order, {});
    else
        m_stage = Stage::Init;
}

void TrackFeed::reach() {
    tell([this, piece = m_order.piece, position = m_track.seconds](Journal& journal) {
        journal.reached(piece);
        m_parts.events.reach(piece.start, piece.seconds, position);
    });
}

void TrackFeed::fetchInit() {
    const MediaPart wanted = m_order.piece.init.value_or(MediaPart());
    if (!(wanted == m_track.init)) {
        std::string bytes;
        if (m_order.piece.init) {
            const auto outcome = fetchPart(wanted, kMaxInitBytes, bytes);
            if (!outcome)
                return;
            m_parts.intake.prepareInit(m_order.piece, wanted, bytes);
        }
        m_track.init = wanted;
        m_track.initBytes = std::move(bytes);
    }
    m_order.begun = m_parts.journal.seconds();
    m_stage = Stage::Media;
}

void TrackFeed::fetchMedia() {
    std::string media;
    const MediaPart& part = m_order.piece.media;
    if (!m_part.hasBegun() && m_order.piece.growsFor > 0 && !m_parts.isAside)
        watchChunks();
    const auto outcome = fetchPart(part, kMaxSegmentBytes, media);
    if (!outcome)
        return;
    m_stage = Stage::Idle;
    m_instead.reset(); // it came before it could be given up
    m_lastSeconds = m_order.piece.seconds;
    ++m_pieces;
    m_arrived = m_parts.intake.arrive(m_track, m_order, *outcome, std::move(media));
}

/// Not what comes as it is made: a lower stream's would come no sooner. Not a part of a segment
/// either: the parts of another stream need not begin where this one's do.
bool TrackFeed::mayGiveUp() const {
    return m_track.number == 0 && m_stage == Stage::Media && m_part.hasBegun() && !m_isSettled &&
           !m_instead && !m_slot.hasEnded() && m_order.piece.growsFor <= 0 &&
           !m_parts.presentation.isInside(m_track.number);
}

void TrackFeed::watchPace() {
    if (!mayGiveUp())
        return;
    const auto instead =
        m_parts.adaptation.progress(m_track, m_slot.received(), m_slot.expected(), m_parts.buffer);
    if (!instead || *instead == m_track.stream || m_track.isBroken[*instead])
        return;
    m_instead = instead;
    m_slot.cancel();
}

/// Asks for the same piece of a lower stream.
void TrackFeed::giveUp(const Outcome& outcome) {
    const int from = m_track.bitrate();
    ++m_order.givenUp;
    m_order.wasted += outcome.bytes;
    changeAgain(*std::exchange(m_instead, std::nullopt));
    m_parts.journal.gaveUp("gave up segment " + std::to_string(m_order.piece.index) + " of " +
                               rateText(from) + " after " + std::to_string(outcome.bytes) +
                               " bytes for " + rateText(m_track.bitrate()),
                           outcome.bytes);
    m_isAgain = true;
    m_stage = Stage::Asking;
}

/// The lower stream does not have the piece, so the stream that was left has to do.
void TrackFeed::goBack() {
    m_isSettled = true;
    changeAgain(m_leftStream);
}

/// Nobody has seen the stream that is left: the piece's record tells the change from the one
/// before.
void TrackFeed::changeAgain(size_t stream) {
    m_leftStream = m_track.stream;
    changeTo(stream);
    if (stream == m_order.streamBefore)
        m_track.change = "";
    else
        m_track.change = stream > m_order.streamBefore ? "up" : "down";
}

void TrackFeed::watchChunks() {
    m_part.watch(readInitTracks(m_track.initBytes), m_parts.adaptation.traffic());
    m_isCut = false;
    m_deadline = m_parts.clock.steady() + m_parts.liveTimeout +
                 std::chrono::milliseconds(static_cast<long long>(m_order.piece.growsFor * 1000));
}

void TrackFeed::progress() {
    watchPace();
    const ChunkSink* const chunks = m_part.chunks();
    if (chunks == nullptr)
        return;
    const ChunkSink::Arrived arrived = chunks->arrived();
    m_parts.intake.count(m_track, m_order, arrived.seconds, arrived.bytes);
    if (m_isCut || m_parts.clock.steady() < m_deadline)
        return;
    m_isCut = true;
    m_slot.cancel();
}

/// Keeps what has come whole of a growing piece that cannot be had to its end: it may have been
/// played already.
void TrackFeed::takeCut(const Outcome& outcome, std::string& media) {
    MediaPiece& piece = m_order.piece;
    const double kept = static_cast<double>(m_order.counted.count()) / 1000;
    const std::string why = m_isCut ? "it does not end" : outcome.failure;
    if (!isInterrupted())
        m_parts.journal.trouble(piece.media.resource.url + ": " + why + "; cut after " +
                                secondsText(kept));
    media.resize(static_cast<size_t>(m_order.countedBytes));
    Outcome cut = outcome;
    cut.bytes = media.size();
    m_track.seconds += piece.seconds - kept; // the track goes on behind the piece
    piece.seconds = kept;
    m_arrived = m_parts.intake.arrive(m_track, m_order, cut, std::move(media));
}

/// Begins to fetch a part, or takes it when it has come. If it cannot be had, its piece is skipped.
/// @return nothing while the part is under way, and when it cannot be had
std::optional<Outcome> TrackFeed::fetchPart(const MediaPart& part, size_t limit,
                                            std::string& bytes) {
    try {
        if (!m_part.hasBegun()) {
            m_part.begin(part, m_order.piece.index, limit);
            if (m_track.number == 0 && m_stage == Stage::Media)
                m_parts.adaptation.begun(m_track, m_order.piece, m_parts.buffer);
            return std::nullopt;
        }
        progress();
        const Outcome outcome = m_part.finish(bytes);
        if (outcome.ok)
            return outcome;
        m_stage = Stage::Idle;
        if (m_instead && !isInterrupted()) {
            giveUp(outcome);
            return std::nullopt;
        }
        if (m_order.counted.count() > 0)
            takeCut(outcome, bytes);
        else if (!isInterrupted())
            m_parts.intake.skip(m_track, m_order, outcome);
    } catch (const ToolError&) {
        m_stage = Stage::Idle;
        if (!isInterrupted())
            throw;
    }
    return std::nullopt;
}

} // namespace hastool
