// What becomes of a segment of subtitles.
#pragma once

#include "Journal.h"
#include "PieceTaker.h"
#include "SubtitleWriter.h"

#include <cstddef>
#include <string>

namespace hastool {

/// Takes in segments of subtitles. One that cannot be had, or is not what it should be, is a
/// warning and no more: the play goes on.
class SubtitleIntake : public PieceTaker {
public:
    /// All are borrowed.
    SubtitleIntake(SubtitleWriter& writer, Journal& journal)
        : m_writer(writer)
        , m_journal(journal) {}

    /// @throws ToolError for protected subtitles
    void prepareInit(const MediaPiece& piece, const MediaPart& part, std::string& bytes) override;
    void count(PlayTrack&, PieceOrder&, double, uint64_t) override {}
    ArrivedPiece arrive(PlayTrack& track, const PieceOrder& order, const Outcome& outcome,
                        std::string media) override;
    void digest(PlayTrack& track, ArrivedPiece arrived) override;
    void skip(PlayTrack& track, const PieceOrder& order, const Outcome& outcome) override;
    void lose(uint64_t pieces) override;
    void end(PlayTrack&) override {}

private:
    void enter(PlayTrack& track, const MediaPiece& piece);
    void leaveOut(const std::string& url, const std::string& why);

    SubtitleWriter& m_writer;
    Journal& m_journal;
    bool m_hasBegun = false;
    size_t m_stretch = 0; ///< breaks of the clock so far
    int m_told = 0;       ///< warnings
};

} // namespace hastool
