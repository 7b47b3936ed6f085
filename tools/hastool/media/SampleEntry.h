// What a sample entry says of its track.
#pragma once

#include "InitFacts.h"
#include <hastool/base/BoxView.h>

namespace hastool {

/// Reads an entry of `stsd` (ISO/IEC 14496-12, 8.5.2; 14496-14; 14496-15): codec, sizes, audio, and
/// the encryption around it.
/// @param track  its `kind` is known
void readSampleEntry(const BoxView& entry, InitTrackFacts& track);

} // namespace hastool
