// Fragments moved in time.
#pragma once

#include "InitTracks.h"

#include <cstdint>
#include <string>

namespace hastool {

/// Moves the fragments of a segment to a later time, as if its encoder had gone on: decode times
/// move, fragments are numbered, and an index, whose time would be wrong, becomes "free". Decode
/// times that do not fit their boxes begin anew from 0, as a counter does.
/// @param segment   changed in place; what cannot be read stays as it is
/// @param seconds   by how much; may be negative
/// @param sequence  the number of the first fragment
void shiftFragments(std::string& segment, const InitTracks& tracks, double seconds,
                    uint32_t sequence);

} // namespace hastool
