// Initialisations for Smooth Streaming, whose servers send none.
#pragma once

#include "SmoothManifest.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace hastool {

/// Makes the moov box (ISO/IEC 14496-12) that a stream's fragments cannot be decoded without.
///
/// It knows H.264 (parameter sets in the codec's private data, ISO/IEC 14496-15), AAC (ISO/IEC
/// 14496-3) and TTML (ISO/IEC 14496-30).
/// @param track  the track id of the stream's fragments
/// @return empty for another codec
std::string makeSmoothInit(const SmoothStream& stream, const SmoothQuality& quality,
                           uint32_t track);

/// The track id that a fragment is of.
/// @return 1 for what is no fragment
uint32_t trackOfFragment(std::string_view fragment);

} // namespace hastool
