// The report on a transport stream as a user reads it.
#pragma once

#include "TsReport.h"

#include <string>

#include <nlohmann/json_fwd.hpp>

namespace hastool {

/// A few lines for the stream, a table of its PIDs, and its programs.
std::string toText(const TsReport& report);
/// Everything, PIDs as numbers.
nlohmann::ordered_json toJson(const TsReport& report);

} // namespace hastool
