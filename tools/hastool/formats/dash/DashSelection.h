// Which of a DASH period's representations are played.
#pragma once

#include "DashManifest.h"
#include <hastool/formats/RenditionChoice.h>

#include <vector>

namespace hastool {

/// The representations of a period that a track chooses from, in ascending order of bitrate, one
/// per bitrate.
///
/// The main track plays video, else audio, else a set of unknown content; the track beside it plays
/// audio. Of several such sets it is the one that is wanted; where nothing is wanted, or the period
/// has no such set, the first whose role is main, or else the first. Subtitles are only those that
/// are wanted. Sets for trick modes are not played.
/// @return nothing when the period has no such set
std::vector<const DashRepresentation*>
selectRepresentations(const DashPeriod& period, TrackKind kind, const RenditionChoice& choice = {});

/// The set that these are of; null when the period has none.
const DashAdaptationSet* selectSet(const DashPeriod& period, TrackKind kind,
                                   const RenditionChoice& choice);

/// @throws ToolError where no period has a set as wanted
void expectWanted(const std::vector<DashPeriod>& periods, const RenditionChoice& choice);

/// The one that stands for a bitrate: the highest up to it, or the lowest.
/// @param representations  in ascending order
/// @return null for no representations
const DashRepresentation*
matchBitrate(const std::vector<const DashRepresentation*>& representations, int bitrate);

/// Whether one representation has both audio and video.
bool isMultiplexed(const DashRepresentation& representation);

} // namespace hastool
