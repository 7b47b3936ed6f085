// What becomes of a piece.
#pragma once

#include "Adaptation.h"
#include "Journal.h"
#include "MediaTimeline.h"
#include "PieceTaker.h"
#include "PlaybackBuffer.h"
#include "ProtectedContent.h"
#include "TimedEvents.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace hastool {

/// Takes in the pieces of audio and video: media goes into the output and the buffer, and the
/// journal tells of it.
class PieceIntake : public PieceTaker {
public:
    /// All are borrowed.
    PieceIntake(const PlayOptions& options, Adaptation& adaptation, PlaybackBuffer& buffer,
                TimedEvents& events, Journal& journal)
        : m_isFast(options.fast)
        , m_hasSubtitles(!options.renditions.subtitles.empty() &&
                         options.renditions.subtitles != kNoRendition)
        , m_adaptation(adaptation)
        , m_buffer(buffer)
        , m_events(events)
        , m_journal(journal) {}

    /// How the main track's clock runs; not known where no subtitles are wanted.
    const MediaTimeline& timeline() const { return m_timeline; }

    /// Passes a protected one through its DRM handler; a clear one stays as it is.
    /// @throws ToolError when there is no handler, or it refuses the bytes
    void prepareInit(const MediaPiece& piece, const MediaPart& part, std::string& bytes) override {
        protect(piece, part, bytes);
    }
    void count(PlayTrack& track, PieceOrder& order, double seconds, uint64_t bytes) override;
    ArrivedPiece arrive(PlayTrack& track, const PieceOrder& order, const Outcome& outcome,
                        std::string media) override;
    void digest(PlayTrack& track, ArrivedPiece arrived) override;
    void skip(PlayTrack& track, const PieceOrder& order, const Outcome& outcome) override;
    void lose(uint64_t pieces) override;
    void end(PlayTrack& track) override;

    /// Why the last piece could not be had; empty when all could.
    const std::string& lastFailure() const { return m_lastFailure; }
    /// Whether protected media, which is still encrypted, was written.
    bool isProtected() const { return m_isProtected; }

private:
    void protect(const MediaPiece& piece, const MediaPart& part, std::string& bytes);
    void takeEvents(const PlayTrack& track, const ArrivedPiece& arrived);
    void buffered(PlayTrack& track, const PieceOrder& order, const Outcome& outcome);
    TraceRow rowOf(const PlayTrack& track, const PieceOrder& order, const Outcome& outcome);

    const bool m_isFast;
    const bool m_hasSubtitles; ///< whose times go by the main track's clock
    Adaptation& m_adaptation;
    PlaybackBuffer& m_buffer;
    TimedEvents& m_events;
    Journal& m_journal;
    ProtectedContent m_protected;
    MediaTimeline m_timeline;
    std::string m_lastFailure;
    bool m_isProtected = false;
};

} // namespace hastool
