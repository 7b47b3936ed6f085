// What an HLS presentation holds.
#pragma once

#include "InfoReader.h"

namespace hastool {

/// Reads a master playlist and the media playlists of all its variants and renditions, or a media
/// playlist by itself.
/// @throws ToolError for a playlist that cannot be used
PresentationInfo readHlsInfo(const Document& document, const InfoAccess& access);

} // namespace hastool
