#include "PidMap.h"

#include "HexText.h"
#include "TsReport.h"
#include "TsUnit.h"
#include <hastool/base/ToolError.h>

#include <charconv>
#include <set>
#include <string_view>

namespace hastool {
namespace {

/// PID 0 is that of the PAT, 8191 that of null packets: no other stream may have these.
std::optional<int> parsePid(std::string_view text) {
    const bool isHex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    if (isHex)
        text.remove_prefix(2);
    int pid = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, pid, isHex ? 16 : 10);
    if (result.ec != std::errc() || result.ptr != end || pid < 1 || pid >= kNullPid)
        return std::nullopt;
    return pid;
}

} // namespace

std::optional<PidMap> parsePidMap(const std::vector<std::string>& texts, std::string& failure) {
    PidMap map;
    std::set<int> targets;
    for (const std::string& text : texts) {
        const size_t middle = text.find('=');
        const std::string_view view = text;
        const auto from = parsePid(view.substr(0, middle));
        const auto to =
            middle == std::string::npos ? std::nullopt : parsePid(view.substr(middle + 1));
        if (!from || !to) {
            failure = "A=B with PIDs from 1 to 8190 is needed: " + inQuotes(text);
            return std::nullopt;
        }
        if (!map.emplace(*from, *to).second || !targets.insert(*to).second) {
            failure = "a PID is there twice: " + inQuotes(text);
            return std::nullopt;
        }
    }
    return map;
}

std::string conflictOf(const PidMap& map, const TsReport& report) {
    for (const auto& [from, to] : map) {
        if (report.pids.count(from) == 0)
            return "no packet has PID " + pidText(from);
        if (report.pids.count(to) != 0 && map.count(to) == 0)
            return "PID " + pidText(to) + " is taken already";
    }
    return {};
}

} // namespace hastool
