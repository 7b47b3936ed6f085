// What a play has told of its line.
#pragma once

#include "NetworkTrace.h"

#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace hastool {

/// Reads the line out of a trace that `hastool play --trace` wrote. A download's bytes came evenly
/// from its first byte to its end; where several ran beside each other, as video and audio do, the
/// line had the sum. What was given up for a lower stream came in the time before the download that
/// followed. Between downloads nothing is known: there the mean of the stretch before goes
/// on, and at the begin that of the first one. The latency is that of the download that began last.
/// @param where  names the text in messages. @throws ToolError
std::vector<TracePeriod> readPlayTraceCsv(std::string_view text, const std::string& where);
std::vector<TracePeriod> readPlayTraceJson(const nlohmann::json& rows, const std::string& where);

/// Whether a first line names the columns of a play's trace.
bool isPlayTraceHeading(std::string_view line);
/// Whether a list's first entry is a row of one.
bool isPlayTraceRow(const nlohmann::json& entry);

} // namespace hastool
