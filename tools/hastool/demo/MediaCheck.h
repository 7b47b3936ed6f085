// Whether the media that a play has written is right.
#pragma once

#include "DemoPlan.h"

#include <cstddef>
#include <string>
#include <vector>

namespace hastool {

/// Checks the output of one track.
/// @param media     what the output has to be
/// @param output    the file
/// @param segments  the segments that it was made from, without initialisations
/// @return what is wrong with the output; empty when it is right
std::string checkMedia(DemoMedia media, const std::string& output,
                       const std::vector<std::string>& segments);

} // namespace hastool
