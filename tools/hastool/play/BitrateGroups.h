// Bitrate limits as the user gives them.
#pragma once

#include <Hasnet/bitrateParam_t.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace hastool {

/// Reads lines of "bitrate,group,class"; blank lines and those that begin with "#" are passed over.
/// @param where  names the text in messages. @throws ToolError with the first other line
std::vector<hascommon::bitrateParam_t> parseBitrateGroups(std::string_view text,
                                                          const std::string& where);

/// "300000-1500000" in bits per second; nothing for another text, or an end before the begin.
std::optional<std::pair<int, int>> parseBitrateLimit(const std::string& text);

/// "12.5:30", a position and a time in seconds; nothing for another text.
std::optional<std::pair<double, double>> parsePauseAt(const std::string& text);

} // namespace hastool
