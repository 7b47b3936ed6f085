// Fields of the boxes of Common Encryption (ISO/IEC 23001-7) and of what goes with it
// (ISO/IEC 14496-12, clauses 8.7.8, 8.7.9, 8.9 and 8.12).
#pragma once

#include "BoxKind.h"

namespace hastool {

void readOriginalFormat(BoxFields& box, const BoxVersion&, BoxContext&);
void readScheme(BoxFields& box, const BoxVersion& full, BoxContext&);
void readTrackEncryption(BoxFields& box, const BoxVersion& full, BoxContext& context);
void readSystem(BoxFields& box, const BoxVersion& full, BoxContext&);
void readInfoSizes(BoxFields& box, const BoxVersion& full, BoxContext&);
void readInfoOffsets(BoxFields& box, const BoxVersion& full, BoxContext&);
/// Where no earlier box gave an IV size that fits, it is the one with which the entries fill the
/// box.
void readSampleEncryption(BoxFields& box, const BoxVersion& full, BoxContext& context);
void readGroupDescriptions(BoxFields& box, const BoxVersion& full, BoxContext& context);
void readSampleGroups(BoxFields& box, const BoxVersion& full, BoxContext&);

/// The name of a content protection system by its id, 32 hexadecimal digits in lower case; empty
/// for one that is not known.
std::string systemName(const std::string& id);

} // namespace hastool
