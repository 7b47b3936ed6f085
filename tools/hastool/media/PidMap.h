// Which PID becomes which.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

struct TsReport;

/// New PIDs by old ones.
using PidMap = std::map<int, int>;

/// Reads "A=B" with PIDs from 1 to 8190, decimal or as 0x100.
/// @param failure  receives what is wrong
/// @return nothing when a text cannot be read, or two name the same old or the same new PID
std::optional<PidMap> parsePidMap(const std::vector<std::string>& texts, std::string& failure);

/// The new PID; the old one for a PID that keeps its number.
inline int mapped(const PidMap& map, int pid) {
    const auto found = map.find(pid);
    return found != map.end() ? found->second : pid;
}

/// Why a stream cannot be rewritten: an old PID that it does not have, or a new one that it has for
/// another stream already. Empty when it can.
std::string conflictOf(const PidMap& map, const TsReport& report);

} // namespace hastool
