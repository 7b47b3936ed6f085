// Who takes a track's pieces in.
#pragma once

#include "PlayTrack.h"
#include "StreamChoice.h"
#include "TraceRow.h"
#include <hastool/formats/Presentation.h>
#include <hastool/net/Downloader.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace hastool {

/// A piece on its way, with what was known when it was asked for.
struct PieceOrder {
    MediaPiece piece;
    StreamChoice choice;
    double begun = 0;                     ///< seconds since the play began
    std::chrono::milliseconds counted{0}; ///< media of it that the buffer has already
    uint64_t countedBytes = 0;
    size_t streamBefore = 0; ///< of the track, when the piece was asked for
    int givenUp = 0;         ///< transfers of it that were given up for a lower stream
    uint64_t wasted = 0;     ///< bytes that these had brought
};

/// A piece that has come, with all that its digestion needs: its track may be on its way to another
/// stream by then.
struct ArrivedPiece {
    MediaPiece piece;
    std::string media;
    std::string initBytes; ///< what the media cannot be decoded without; empty for none
    TraceRow row;          ///< as things stood when it came
    double position = 0;   ///< seconds of the track before it
};

/// The fields of a record that only the order and its transfer give.
TraceRow orderRow(const PieceOrder& order, const Outcome& outcome);

/// Takes in pieces that have come, and hears of those that could not be had.
///
/// A piece is taken in two steps. What the choice of the next piece depends on is done at once by
/// arrive(); digest() does the rest when the next request is on its way, so that the line does not
/// stand idle meanwhile.
class PieceTaker {
public:
    virtual ~PieceTaker() = default;

    /// Prepares an initialisation for use. @throws ToolError when it cannot be used
    virtual void prepareInit(const MediaPiece& piece, const MediaPart& part,
                             std::string& bytes) = 0;
    /// Media of a piece has come that is not yet whole: it can be played from now on.
    /// @param seconds, bytes  all that has come of it
    virtual void count(PlayTrack& track, PieceOrder& order, double seconds, uint64_t bytes) = 0;
    /// Counts a piece. @return what digest() is to get
    virtual ArrivedPiece arrive(PlayTrack& track, const PieceOrder& order, const Outcome& outcome,
                                std::string media) = 0;
    /// Looks into a piece and writes it. @throws ToolError when the play cannot go on
    virtual void digest(PlayTrack& track, ArrivedPiece arrived) = 0;
    /// Goes on behind a piece that could not be had. @throws ToolError when too many in a row
    virtual void skip(PlayTrack& track, const PieceOrder& order, const Outcome& outcome) = 0;
    /// Counts pieces that the server had dropped before they could be asked for.
    virtual void lose(uint64_t pieces) = 0;
    /// There are no more pieces.
    virtual void end(PlayTrack& track) = 0;
};

} // namespace hastool
