// The subtitles that a play leaves behind.
#pragma once

#include "MediaTimeline.h"
#include "MediaWriter.h"
#include <hastool/media/CueJoiner.h>
#include <hastool/media/TtmlJoiner.h>
#include <hastool/media/WvttReader.h>

#include <cstddef>
#include <optional>
#include <string>

namespace hastool {

/// Writes the subtitles of a play beside its media. What they are shows in the first segment:
/// WebVTT, as text or in MP4, becomes one .vtt, TTML documents one .ttml; TTML in MP4 stays what it
/// is. The texts are kept in memory, and written by commit(), as only then all is known of the
/// times.
class SubtitleWriter {
public:
    /// @param output    the media's file; empty to write nothing
    /// @param language  as written in the manifest
    /// @param timeline  of the media, borrowed
    SubtitleWriter(std::string output, std::string language, const MediaTimeline& timeline);

    /// Takes a segment. @param stretch  how many breaks of the clock were before it
    /// @return why it cannot be used; empty when it can. @throws ToolError when it cannot be
    /// written
    std::string write(const MediaPiece& piece, const std::string& init, const std::string& media,
                      size_t stretch);
    /// Writes the file, if any segment was taken. @throws ToolError when that fails
    void commit();

    /// The file; empty while it is not known, and where nothing is written.
    const std::string& path() const { return m_path; }
    /// Cues and documents that were too large, or do not fit the others.
    size_t leftOut() const { return m_cues.leftOut() + m_ttml.leftOut(); }

private:
    enum class Kind { None, Cues, Ttml, Mp4 };

    std::string writeBoxes(const MediaPiece& piece, const std::string& init,
                           const std::string& media, size_t stretch);
    bool become(Kind kind, const char* extension);
    void addCues(const VttDocument& document, const MediaPiece& piece, size_t stretch,
                 bool isCutUp);

    const std::string m_output;
    const std::string m_language;
    const MediaTimeline& m_timeline;
    Kind m_kind = Kind::None;
    std::string m_path;
    CueJoiner m_cues;
    TtmlJoiner m_ttml;
    std::optional<MediaWriter> m_boxes;
    std::string m_init;
    std::optional<WvttReader> m_reader; ///< of the initialisation; nothing where it is not WebVTT
};

/// The file of subtitles beside a media file: "film.ts" and "en" give "film.en.vtt". A language
/// that is no plain tag (letters, digits, hyphens) gives "film.subtitles.vtt", as it comes from
/// outside.
/// @param extension  "vtt"
std::string subtitleOutput(const std::string& output, const std::string& language,
                           const std::string& extension);

} // namespace hastool
