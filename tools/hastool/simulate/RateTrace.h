// Traces that are lists of rates.
#pragma once

#include "NetworkTrace.h"

#include <string>
#include <vector>

namespace hastool {

/// Reads what a RateProfile reads: JSON lists of `duration_ms`, `bandwidth_kbps` and perhaps
/// `latency_ms`, fractions allowed, or lines of "time_s,kbps".
/// @param where  names the text in messages. @throws ToolError
std::vector<TracePeriod> readRateTrace(const std::string& text, const std::string& where);

} // namespace hastool
