#include "SubtitleIntake.h"

#include <hastool/base/ToolError.h>

#include <utility>

namespace hastool {
namespace {

constexpr int kMostTold = 10; // more of them say nothing new

} // namespace

void SubtitleIntake::prepareInit(const MediaPiece& piece, const MediaPart& part, std::string&) {
    if (piece.protection)
        throw ToolError(part.resource.url, "protected subtitles cannot be read");
}

/// Moves the track behind a piece.
void SubtitleIntake::enter(PlayTrack& track, const MediaPiece& piece) {
    track.seconds += piece.seconds;
    if (m_hasBegun && piece.discontinuity)
        ++m_stretch;
    m_hasBegun = true;
}

ArrivedPiece SubtitleIntake::arrive(PlayTrack& track, const PieceOrder& order,
                                    const Outcome& outcome, std::string media) {
    enter(track, order.piece);
    ArrivedPiece arrived{order.piece, std::move(media), track.initBytes, orderRow(order, outcome)};
    arrived.row.time = m_journal.seconds();
    arrived.row.isText = true;
    return arrived;
}

void SubtitleIntake::digest(PlayTrack&, ArrivedPiece arrived) {
    const MediaPiece& piece = arrived.piece;
    const std::string init = piece.makeInit ? piece.makeInit(arrived.media) : arrived.initBytes;
    const std::string trouble =
        piece.protection ? "protected" : m_writer.write(piece, init, arrived.media, m_stretch);
    if (!trouble.empty())
        leaveOut(piece.media.resource.url, trouble);
    arrived.row.skipped = !trouble.empty();
    m_journal.subtitle(arrived.row);
}

void SubtitleIntake::skip(PlayTrack& track, const PieceOrder& order, const Outcome& outcome) {
    enter(track, order.piece);
    if (!order.piece.missing)
        leaveOut(order.piece.media.resource.url, outcome.failure);
    TraceRow row = orderRow(order, outcome);
    row.time = m_journal.seconds();
    row.isText = true;
    row.skipped = true;
    m_journal.subtitle(row);
}

void SubtitleIntake::lose(uint64_t pieces) {
    if (pieces > 0)
        leaveOut("--subtitles",
                 std::to_string(pieces) + " segments were gone before they were fetched");
}

void SubtitleIntake::leaveOut(const std::string& url, const std::string& why) {
    if (m_told < kMostTold)
        m_journal.trouble(url + ": subtitles: " + why + "; left out");
    else if (m_told == kMostTold)
        m_journal.trouble("--subtitles: further segments that are left out are not told of");
    ++m_told;
}

} // namespace hastool
