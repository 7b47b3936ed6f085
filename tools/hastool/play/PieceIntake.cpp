#include "PieceIntake.h"

#include <hastool/base/ToolError.h>
#include <hastool/media/EventMessages.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace hastool {
namespace {

using std::chrono::milliseconds;

// The buffer of a fast play: a level at which the switcher may go both up, which it does above 5 s,
// and down, which it does below 8 s.
constexpr milliseconds kFastLevel{6000};
constexpr int kMaxFailuresInARow = 3; // after so many the fault is not in single segments

milliseconds inMilliseconds(double seconds) {
    return milliseconds(std::llround(seconds * 1000));
}

double inSeconds(milliseconds time) {
    return static_cast<double>(time.count()) / 1000;
}

} // namespace

void PieceIntake::protect(const MediaPiece& piece, const MediaPart& part, std::string& bytes) {
    if (!piece.protection)
        return;
    m_isProtected = true;
    try {
        bytes = m_protected.rewrite(*piece.protection, bytes, part.resource.url);
    } catch (const ToolError& error) {
        m_journal.refused(error.what());
        throw;
    }
}

void PieceIntake::count(PlayTrack& track, PieceOrder& order, double seconds, uint64_t bytes) {
    const milliseconds all = inMilliseconds(std::min(seconds, order.piece.seconds));
    if (all <= order.counted)
        return;
    m_buffer.add(all - order.counted, bytes - order.countedBytes, track.number);
    order.counted = all;
    order.countedBytes = bytes;
    track.mediaEnd = order.piece.start + inSeconds(all);
}

ArrivedPiece PieceIntake::arrive(PlayTrack& track, const PieceOrder& order, const Outcome& outcome,
                                 std::string media) {
    const double position = track.seconds;
    track.failuresInARow = 0;
    track.bytes += media.size();
    track.mediaSeconds += order.piece.seconds;
    buffered(track, order, outcome);
    ArrivedPiece arrived{order.piece, std::move(media), track.initBytes,
                         rowOf(track, order, outcome), position};
    track.change = "";
    if (m_isFast)
        m_buffer.drainTo(kFastLevel);
    return arrived;
}

void PieceIntake::digest(PlayTrack& track, ArrivedPiece arrived) {
    TraceRow& row = arrived.row;
    protect(arrived.piece, arrived.piece.media, arrived.media);
    if (arrived.piece.makeInit)
        arrived.initBytes = arrived.piece.makeInit(arrived.media);
    track.writer->setInit(arrived.initBytes);
    track.writer->write(arrived.media);
    takeEvents(track, arrived);
    if (track.number == 0) {
        if (m_hasSubtitles)
            m_timeline.add(arrived.piece, arrived.initBytes, arrived.media);
        row.resolution = track.renditions.learn(row.stream, arrived.media);
        m_journal.shown(row);
    }
    m_journal.row(row);
}

/// Messages in the media are told at once: only now is known that they happen here.
void PieceIntake::takeEvents(const PlayTrack& track, const ArrivedPiece& arrived) {
    const MediaPiece& piece = arrived.piece;
    m_events.announce(eventMessages(arrived.initBytes, arrived.media, piece.start));
    if (track.number == 0)
        m_events.reach(piece.start, piece.seconds, arrived.position);
}

void PieceIntake::buffered(PlayTrack& track, const PieceOrder& order, const Outcome& outcome) {
    const MediaPiece& piece = order.piece;
    const uint64_t bytes = outcome.bytes;
    track.seconds += piece.seconds;
    m_journal.taken(bytes);
    m_buffer.add(inMilliseconds(piece.seconds) - order.counted,
                 bytes - std::min(bytes, order.countedBytes), track.number);
    track.mediaEnd = piece.start + piece.seconds;
    if (track.number != 0)
        return;
    m_journal.chosen(piece.seconds, track.bitrate());
    m_adaptation.taken(piece, outcome, m_buffer);
}

void PieceIntake::skip(PlayTrack& track, const PieceOrder& order, const Outcome& outcome) {
    const MediaPiece& piece = order.piece;
    m_journal.skipped(1);
    if (track.number == 0)
        m_timeline.skip(piece);
    track.seconds += piece.seconds; // the track goes on behind the piece
    m_lastFailure = outcome.failure;
    if (!piece.missing) {
        const std::string& url = piece.media.resource.url;
        m_journal.trouble(url + ": " + outcome.failure + "; skipped");
        if (++track.failuresInARow >= kMaxFailuresInARow)
            throw ToolError(url, outcome.failure + ", like the segments before it; given up");
    }
    TraceRow row = rowOf(track, order, outcome);
    row.skipped = true;
    m_journal.row(row);
    track.change = "";
}

void PieceIntake::lose(uint64_t pieces) {
    if (pieces == 0)
        return;
    m_journal.skipped(pieces);
    m_journal.trouble(std::to_string(pieces) + " segments were gone before they were fetched");
}

void PieceIntake::end(PlayTrack& track) {
    m_buffer.finish(track.number);
}

TraceRow PieceIntake::rowOf(const PlayTrack& track, const PieceOrder& order,
                            const Outcome& outcome) {
    TraceRow row = orderRow(order, outcome);
    row.time = m_journal.seconds();
    row.isAudio = track.number != 0;
    row.stream = track.stream;
    row.bitrate = track.bitrate();
    row.bandwidth = m_adaptation.bandwidth();
    row.mean = m_adaptation.mean();
    row.buffer = inSeconds(m_buffer.level());
    row.change = track.change;
    row.stalls = m_buffer.stalls();
    row.stallTime = inSeconds(m_buffer.stallTime());
    row.liveDistance = m_journal.liveDistance();
    row.resolution = track.number == 0 ? track.renditions.resolution(track.stream) : "";
    return row;
}

} // namespace hastool
