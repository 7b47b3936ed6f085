// What a DASH presentation holds.
#pragma once

#include "InfoReader.h"

namespace hastool {

/// Reads all periods and adaptation sets, also those that are not played. Segment indexes are
/// fetched where nothing else tells the segments.
/// @throws ToolError for a manifest that cannot be used
PresentationInfo readDashInfo(const Document& document, const InfoAccess& access);

} // namespace hastool
