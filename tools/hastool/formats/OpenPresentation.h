// Which format a presentation has.
#pragma once

#include "Presentation.h"
#include "RenditionChoice.h"

#include <hastool/base/TimeSource.h>

#include <chrono>
#include <memory>
#include <string>

namespace hastool {

/// Opens the presentation at a URL by the format of its manifest. @throws ToolError for a format
/// that is not known, for a manifest that cannot be used, and where it has no rendition as chosen
/// @param liveTimeout  how long a live presentation may stay without anything new
/// @param time         the clocks that a live presentation goes by
/// @param choice       which renditions are played
/// @param lowLatency   whether a live presentation is read at low latency where it can be
std::unique_ptr<Presentation> openPresentation(const std::string& url, const FetchDocument& fetch,
                                               std::chrono::milliseconds liveTimeout,
                                               const TimeSource& time = {},
                                               const RenditionChoice& choice = {},
                                               bool lowLatency = true);

} // namespace hastool
