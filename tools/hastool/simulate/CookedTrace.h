// Traces of two columns.
#pragma once

#include "NetworkTrace.h"

#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// Reads lines of a time in seconds and a rate in Mbit/s, blanks between them. A line tells what
/// was measured since the one before it: so its rate ends at its time, and the first line only says
/// where the time begins.
/// @param where  names the text in messages. @throws ToolError
std::vector<TracePeriod> readCookedTrace(std::string_view text, const std::string& where);

} // namespace hastool
