// Content protection as manifests write it, by name.
#pragma once

#include "PresentationInfo.h"
#include <hastool/formats/dash/DashManifest.h>
#include <hastool/formats/hls/HlsPlaylist.h>
#include <hastool/formats/smooth/SmoothManifest.h>

namespace hastool {

/// A ContentProtection of DASH.
InfoProtection protectionOf(const DashProtection& descriptor);
/// An EXT-X-KEY or EXT-X-SESSION-KEY of HLS.
InfoProtection protectionOf(const HlsKey& key);
/// A ProtectionHeader of Smooth Streaming.
InfoProtection protectionOf(const SmoothProtection& header);

} // namespace hastool
