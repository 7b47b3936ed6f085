// A transport stream's segment cut into chunks.
#pragma once

#include "FragmentChunks.h"

#include <string_view>
#include <vector>

namespace hastool {

/// Cuts a segment of a transport stream (packets of 188 bytes) before pictures, or before audio
/// where it has no pictures, by their decoding times. Together the chunks are the segment.
/// @param seconds  how long a chunk is to be
/// @param total    how long the segment is
/// @return one chunk at least
std::vector<MediaChunk> cutTransportStream(std::string_view segment, double seconds, double total);

} // namespace hastool
