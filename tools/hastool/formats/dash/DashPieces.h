// What a player gets for a segment of a DASH presentation.
#pragma once

#include "DashReading.h"
#include <hastool/formats/Presentation.h>

#include <string>

namespace hastool {

/// What to fetch for a segment and what its protection is; how it stands to other pieces is left
/// open.
/// @param isAudio  the track has nothing but audio
/// @param url      where the manifest came from. @throws ToolError for a segment without a URL
MediaPiece dashPiece(const DashManifest& manifest, const DashFound& found, bool isAudio,
                     const std::string& url);

} // namespace hastool
