// Whether what came out of a play is right.
#pragma once

#include "DemoPlan.h"

#include <cstddef>
#include <string>
#include <vector>

namespace hastool {

/// Checks the output of one track.
/// @param media     what it has to be
/// @param output    the file
/// @param segments  the bytes that it was made from, without initialisations
/// @return what is wrong with it; empty when nothing is
std::string checkMedia(DemoMedia media, const std::string& output,
                       const std::vector<std::string>& segments);

} // namespace hastool
