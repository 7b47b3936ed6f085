// How many channels an audio stream has.
#pragma once

#include <string>

namespace hastool {

/// Reads an AudioChannelConfiguration of DASH: a number, an index into the channel configurations
/// of ISO/IEC 23091-3, or Dolby's bits (ETSI TS 102 366, annex I).
/// @return 0 where it is not known
int audioChannels(const std::string& scheme, const std::string& value);

} // namespace hastool
