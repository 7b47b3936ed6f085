// What can be told of a representation without its segments.
#pragma once

#include "DashManifest.h"

namespace hastool {

/// The frames per second that a representation declares ("25" or "30000/1001"); 0 for another text.
double frameRateOf(const DashRepresentation& representation);

/// Whether nothing tells how many segments there are: in a recorded presentation of unknown length.
bool hasOpenEnd(const DashManifest& manifest, const DashPeriod& period,
                const DashRepresentation& representation);

} // namespace hastool
