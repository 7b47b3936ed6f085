// Which of a DASH period's representations are played.
#pragma once

#include "DashManifest.h"

#include <vector>

namespace hastool {

/// The representations of a period that a track chooses from, in ascending order of bitrate, one
/// per bitrate.
///
/// The main track plays video, else audio, else a set of unknown content; the track beside it plays
/// audio. Of several such sets it is the first whose role is main, or else the first. Sets for
/// trick modes are not played.
/// @param isAudio  the track beside the main one
/// @return nothing when the period has no such set
std::vector<const DashRepresentation*> selectRepresentations(const DashPeriod& period,
                                                             bool isAudio);

/// The one that stands for a bitrate: the highest up to it, or the lowest.
/// @param representations  in ascending order
/// @return null for no representations
const DashRepresentation*
matchBitrate(const std::vector<const DashRepresentation*>& representations, int bitrate);

/// Whether one representation has both audio and video.
bool isMultiplexed(const DashRepresentation& representation);

} // namespace hastool
