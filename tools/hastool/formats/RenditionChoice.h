// Which of several renditions is played.
#pragma once

#include <hastool/base/ToolError.h>

#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// What a track is for.
enum class TrackKind { Main, Audio, Text };

/// What the user wants of each kind: a language tag, a name, or kNoRendition. Empty leaves it to
/// the presentation, whose subtitles are then not played.
struct RenditionChoice {
    std::string video;
    std::string audio;
    std::string subtitles;
};

constexpr char kNoRendition[] = "none";

/// What a rendition is chosen by, all as written in the manifest.
struct RenditionLabel {
    std::string language; ///< a tag of RFC 5646; may be empty
    std::vector<std::string> names;
    int rank = 0; ///< of several that fit, the first of the highest rank is chosen
};

/// Whether a tag lies within a language range, by the basic filtering of RFC 4647, 3.3.1: "en"
/// takes "en-GB" too, "*" takes every tag.
bool matchesLanguage(const std::string& range, const std::string& tag);

/// Finds the rendition that is wanted: by a name, compared as written, or else by its language.
/// @return nothing when there is none
std::optional<size_t> findRendition(const std::string& wanted,
                                    const std::vector<RenditionLabel>& labels);

/// What to tell the user when there is no such rendition: it lists those that there are.
/// @param option  "--audio". @param more  put behind the list where it is not empty
ToolError noSuchRendition(const std::string& option, const std::string& wanted,
                          const std::vector<RenditionLabel>& labels, const std::string& more = "");

} // namespace hastool
