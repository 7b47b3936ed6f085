// Files with traces.
#pragma once

#include "NetworkTrace.h"

#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// Reads a trace, in whichever of the known formats it is: the content tells.
/// @param where  names the text in messages. @throws ToolError, with the place, for other text
std::vector<TracePeriod> readTrace(const std::string& text, const std::string& where);

/// Reads all traces that paths name: files, and folders with all files in them that are traces, in
/// the order of their names. A folder's name is the set of its traces.
/// @throws ToolError for a file that is no trace, for a folder without one, and for two traces of
///         one name in one set
std::vector<NetworkTrace> loadTraces(const std::vector<std::string>& paths);

} // namespace hastool
