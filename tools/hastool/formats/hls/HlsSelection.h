// What of an HLS master playlist is played.
#pragma once

#include "HlsPlaylist.h"
#include <hastool/formats/RenditionChoice.h>

#include <optional>
#include <vector>

namespace hastool {

/// The playlists that make up the tracks.
struct HlsSelection {
    /// Of the main track, in ascending order of bitrate, one per bitrate, at least one; with the
    /// URIs of the video renditions that were chosen.
    std::vector<HlsVariant> variants;
    std::optional<HlsRendition> audio;     ///< nothing where it comes with the main track
    std::optional<HlsRendition> subtitles; ///< nothing where none are wanted
};

/// Selects the variants with video if there are any, and the renditions of their groups that are
/// wanted, or else the default ones. Where audio is wanted that not all variants can have, only
/// those that can are left.
/// @param playlist  a master playlist. @throws ToolError where it has no rendition as wanted
HlsSelection selectHls(const HlsPlaylist& playlist, const RenditionChoice& choice);

} // namespace hastool
