// What a Smooth Streaming presentation holds.
#pragma once

#include "PresentationInfo.h"
#include <hastool/formats/Presentation.h>

namespace hastool {

/// @throws ToolError for a manifest that cannot be used
PresentationInfo readSmoothInfo(const Document& document);

} // namespace hastool
