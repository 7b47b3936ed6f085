// Audio without a container (RFC 8216, 3.4).
#pragma once

#include "SegmentFacts.h"

#include <string_view>

namespace hastool {

/// Whether a segment is audio frames, behind an ID3 tag or without one.
bool isPackedAudio(std::string_view media);

/// Reads frames of AAC, and the time that an ID3 tag gives them, into `streams`.
void readPackedAudio(std::string_view media, SegmentFacts& facts);

} // namespace hastool
