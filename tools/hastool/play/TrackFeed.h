// One track's way from piece to piece.
#pragma once

#include "Adaptation.h"
#include "PartTransfer.h"
#include "PieceTaker.h"
#include "PlaybackBuffer.h"
#include "TimedEvents.h"
#include <hastool/base/ToolError.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// Brings a track its pieces. For each piece it asks the presentation, with the documents that this
/// needs, then fetches the initialisation, if it is a new one, then the media, each after its key
/// where it is encrypted: one transfer after the other. It never waits: proceed() goes on when a
/// transfer has ended.
///
/// The transfer of a main track's piece may be given up on the way, when the adaptation wants the
/// same piece of a lower stream: what has come of it is thrown away.
///
/// A piece that has come is kept until the request for the next one is on its way, and is digested
/// then, at the latest by digest().
class TrackFeed {
public:
    /// What the feeds of all tracks work with.
    struct Parts {
        const Clock& clock;
        Fetcher& fetcher;
        Presentation& presentation;
        DocumentDesk& desk;
        KeyStore& keys;
        Adaptation& adaptation;
        PlaybackBuffer& buffer;
        PieceTaker& intake;
        TimedEvents& events;
        Journal& journal;
        /// How long a growing piece may take beyond its time.
        std::chrono::milliseconds liveTimeout;
        bool isAside = false; ///< see Fetcher::beginAside()
    };

    /// Both are borrowed.
    TrackFeed(const Parts& parts, PlayTrack& track)
        : m_parts(parts)
        , m_track(track)
        , m_slot(parts.fetcher, parts.journal, parts.isAside)
        , m_part(m_slot, parts.desk, parts.keys) {}

    const PlayTrack& track() const { return m_track; }
    /// Whether no piece is under way.
    bool isIdle() const { return m_stage == Stage::Idle; }
    /// Whether the transfer or document that it waits for has come, so that proceed() gets on.
    bool isReady() const;
    /// Begins the next piece. @throws ToolError when the play cannot go on
    void ask();
    /// Writes the piece that has come, if there is one that is not written yet. @throws ToolError
    /// when the play cannot go on
    void digest();
    /// Takes in what has come of a piece that is still being made, and cuts one off that does not
    /// end. Asks whether a transfer is to be given up.
    void progress();
    /// Does all that needs no waiting. @throws ToolError when the play cannot go on
    void proceed();

private:
    enum class Stage { Idle, Asking, Init, Media };

    using News = std::function<void(Journal& journal)>;

    void go();
    void tell(const News& news);
    void choose();
    StreamRule::NextSegment nextSegment() const;
    void changeTo(size_t stream);
    void askPresentation();
    std::optional<NextPiece> nextPiece();
    void leaveStream(const ToolError& error);
    void take(NextPiece next);
    void reach();
    void fetchInit();
    void fetchMedia();
    bool mayGiveUp() const;
    void watchPace();
    void giveUp(const Outcome& outcome);
    void goBack();
    void changeAgain(size_t stream);
    void watchChunks();
    void takeCut(const Outcome& outcome, std::string& media);
    std::optional<Outcome> fetchPart(const MediaPart& part, size_t limit, std::string& bytes);

    const Parts m_parts;
    PlayTrack& m_track;
    TransferSlot m_slot;
    PartTransfer m_part;
    Stage m_stage = Stage::Idle;
    std::optional<Resource> m_awaited; ///< a document, which another track may have asked for
    PieceOrder m_order;
    std::optional<ArrivedPiece> m_arrived; ///< and not digested yet
    std::vector<News> m_news;              ///< to be told after it
    double m_lastSeconds = 0;              ///< length of the last piece
    uint64_t m_pieces = 0;                 ///< that have come
    Clock::TimePoint m_deadline;           ///< of a growing piece
    bool m_isCut = false;                  ///< it did not end in time
    std::optional<size_t> m_instead;       ///< the stream that the transfer is being given up for
    bool m_isAgain = false;   ///< the piece is to be asked for again, of another stream
    size_t m_leftStream = 0;  ///< before that
    bool m_isSettled = false; ///< the piece is not given up (again)
};

} // namespace hastool
