// What becomes of a piece.
#pragma once

#include "Adaptation.h"
#include "Clock.h"
#include "Journal.h"
#include "PlaybackBuffer.h"
#include "ProtectedContent.h"
#include "StreamChoice.h"

#include <string>

namespace hastool {

/// A piece on its way, with what was known when it was asked for.
struct PieceOrder {
    MediaPiece piece;
    StreamChoice choice;
    double begun = 0; ///< seconds since the play began
};

/// Takes in pieces that have come, and those that could not be had: media goes into the output and
/// the buffer, and the journal tells of it.
class PieceIntake {
public:
    /// All are borrowed.
    PieceIntake(const PlayOptions& options, Adaptation& adaptation, PlaybackBuffer& buffer,
                Journal& journal)
        : m_isFast(options.fast)
        , m_adaptation(adaptation)
        , m_buffer(buffer)
        , m_journal(journal) {}

    /// Passes a protected part through its DRM handler; a clear one stays as it is.
    /// @throws ToolError when there is no handler, or it refuses the bytes
    void protect(const MediaPiece& piece, const MediaPart& part, std::string& bytes);
    void accept(PlayTrack& track, const PieceOrder& order, const Outcome& outcome,
                const std::string& media);
    /// Goes on behind a piece that could not be had. @throws ToolError when too many in a row
    void skip(PlayTrack& track, const PieceOrder& order, const Outcome& outcome);
    /// Counts pieces that the server had dropped before they could be asked for.
    void lose(uint64_t pieces);

    /// Why the last piece could not be had; empty when all could.
    const std::string& lastFailure() const { return m_lastFailure; }

private:
    void buffered(PlayTrack& track, const MediaPiece& piece, uint64_t bytes);
    TraceRow rowOf(const PlayTrack& track, const PieceOrder& order, const Outcome& outcome);

    const bool m_isFast;
    Adaptation& m_adaptation;
    PlaybackBuffer& m_buffer;
    Journal& m_journal;
    ProtectedContent m_protected;
    std::string m_lastFailure;
};

} // namespace hastool
