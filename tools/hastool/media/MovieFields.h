// Fields of the boxes that describe a movie and its tracks (ISO/IEC 14496-12, clauses 4 and 8).
#pragma once

#include "BoxKind.h"

namespace hastool {

void readBrands(BoxFields& box, const BoxVersion&, BoxContext&);
void readMovie(BoxFields& box, const BoxVersion&, BoxContext& context);
void readTimes(BoxFields& box, const BoxVersion& full, BoxContext&);
void readTrackHeader(BoxFields& box, const BoxVersion& full, BoxContext& context);
void readHandler(BoxFields& box, const BoxVersion&, BoxContext& context);
void readMeta(BoxFields& box, const BoxVersion&, BoxContext&);
void readEntryCount(BoxFields& box, const BoxVersion&, BoxContext&);
void readSampleSizes(BoxFields& box, const BoxVersion&, BoxContext&);
void readSampleEntries(BoxFields& box, const BoxVersion& full, BoxContext& context);
void readVisualEntry(BoxFields& box, const BoxVersion&, BoxContext&);
void readAudioEntry(BoxFields& box, const BoxVersion&, BoxContext& context);
void readOtherEntry(BoxFields& box, const BoxVersion&, BoxContext&);

} // namespace hastool
