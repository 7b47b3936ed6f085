// What a sequence parameter set of H.264 says of its stream.
#pragma once

#include "PsiAssembler.h"
#include "StreamFacts.h"

#include <string>

namespace hastool {

/// Notes codec and size of the pictures.
/// @param unit   with its NAL header
/// @param entry  the type of sample entry that the codec begins with: "avc1"
void describe(const Bytes& unit, const std::string& entry, StreamFacts& facts);

} // namespace hastool
