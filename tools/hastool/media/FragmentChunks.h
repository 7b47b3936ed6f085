// A segment cut into chunks.
#pragma once

#include "InitTracks.h"

#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// A stretch of a segment that can be handed out on its own.
struct MediaChunk {
    std::string bytes;
    double seconds = 0;
    bool independent = false; ///< it can be decoded without those before it
};

/// Cuts an MP4 segment into chunks, each a moof with its mdat (CMAF, ISO/IEC 23000-19, 7.3.3.2), by
/// sharing out the samples of its fragments anew. Fragments of several tracks, and those with more
/// than a plain run, such as encrypted ones, stay whole. An index is left out.
/// @param seconds  how long a chunk is to be
/// @return one chunk at least
std::vector<MediaChunk> cutFragments(std::string_view segment, const InitTracks& tracks,
                                     double seconds);

} // namespace hastool
