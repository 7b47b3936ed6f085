// What a player gets for a segment of a DASH presentation.
#pragma once

#include "DashReading.h"
#include <hastool/formats/Presentation.h>

#include <string>

namespace hastool {

/// What to fetch for a segment and how it is protected. Whether it follows on the piece before, and
/// how many were lost between, is left to the caller.
/// @param isAudio  the track has nothing but audio
/// @param url      where the manifest came from. @throws ToolError for a segment without a URL
MediaPiece dashPiece(const DashManifest& manifest, const DashFound& found, bool isAudio,
                     const std::string& url);

} // namespace hastool
