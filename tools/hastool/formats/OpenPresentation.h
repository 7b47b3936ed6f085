// Which format a presentation has.
#pragma once

#include "Presentation.h"

#include <hastool/base/TimeSource.h>

#include <chrono>
#include <memory>
#include <string>

namespace hastool {

/// Opens the presentation at a URL by what its manifest is. @throws ToolError for one that is
/// neither known nor playable
/// @param liveTimeout  how long a live presentation may stay without anything new
/// @param time         what a live presentation goes by
std::unique_ptr<Presentation> openPresentation(const std::string& url, const FetchDocument& fetch,
                                               std::chrono::milliseconds liveTimeout,
                                               const TimeSource& time = {});

} // namespace hastool
