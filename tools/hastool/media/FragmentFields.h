// Fields of the boxes of fragments and segments (ISO/IEC 14496-12, clauses 8.8 and 8.16;
// ISO/IEC 23009-1, clause 5.10.3.3).
#pragma once

#include "BoxKind.h"

namespace hastool {

void readTrackDefaults(BoxFields& box, const BoxVersion&, BoxContext& context);
void readFragmentDuration(BoxFields& box, const BoxVersion& full, BoxContext&);
void readFragmentHeader(BoxFields& box, const BoxVersion&, BoxContext&);
void readTrackFragment(BoxFields& box, const BoxVersion&, BoxContext& context);
void readTrackFragmentHeader(BoxFields& box, const BoxVersion& full, BoxContext& context);
void readDecodeTime(BoxFields& box, const BoxVersion& full, BoxContext&);
void readRun(BoxFields& box, const BoxVersion& full, BoxContext& context);
void readRandomAccess(BoxFields& box, const BoxVersion&, BoxContext&);
void readRandomAccessSize(BoxFields& box, const BoxVersion&, BoxContext&);
void readIndex(BoxFields& box, const BoxVersion& full, BoxContext&);
void readEvent(BoxFields& box, const BoxVersion& full, BoxContext&);

} // namespace hastool
