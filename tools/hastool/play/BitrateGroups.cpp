#include "BitrateGroups.h"

#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <limits>

namespace hastool {
namespace {

constexpr double kMaxSeconds = 1e6;

std::optional<int> parseInt(std::string_view text) {
    const auto value = parseUnsigned(text);
    if (!value || *value > static_cast<uint64_t>(std::numeric_limits<int>::max()))
        return std::nullopt;
    return static_cast<int>(*value);
}

std::string_view takeUntil(std::string_view& text, char end) {
    const size_t at = std::min(text.find(end), text.size());
    const std::string_view part = text.substr(0, at);
    text.remove_prefix(std::min(at + 1, text.size()));
    return part;
}

std::string_view withoutBlanks(std::string_view text) {
    const size_t first = std::min(text.find_first_not_of(" \t\r"), text.size());
    text.remove_prefix(first);
    return text.substr(0, text.find_last_not_of(" \t\r") + 1);
}

std::optional<hascommon::bitrateParam_t> parseGroup(std::string_view line) {
    const auto bitrate = parseInt(withoutBlanks(takeUntil(line, ',')));
    const auto group = parseInt(withoutBlanks(takeUntil(line, ',')));
    const auto upgradeClass = parseInt(withoutBlanks(line));
    if (!bitrate || !group || !upgradeClass)
        return std::nullopt;
    return hascommon::bitrateParam_t{*bitrate, *group, *upgradeClass};
}

} // namespace

std::vector<hascommon::bitrateParam_t> parseBitrateGroups(std::string_view text,
                                                          const std::string& where) {
    std::vector<hascommon::bitrateParam_t> groups;
    for (int number = 1; !text.empty(); ++number) {
        const std::string_view line = withoutBlanks(takeUntil(text, '\n'));
        if (line.empty() || line.front() == '#')
            continue;
        const auto group = parseGroup(line);
        if (!group)
            throw ToolError(where + ":" + std::to_string(number),
                            "not \"bitrate,group,class\": " + inQuotes(line));
        groups.push_back(*group);
    }
    return groups;
}

std::optional<std::pair<int, int>> parseBitrateLimit(const std::string& text) {
    std::string_view rest = text;
    const auto from = parseInt(takeUntil(rest, '-'));
    const auto to = parseInt(rest);
    if (!from || !to || *to < *from)
        return std::nullopt;
    return std::make_pair(*from, *to);
}

std::optional<std::pair<double, double>> parsePauseAt(const std::string& text) {
    std::string_view rest = text;
    const auto at = parseDecimal(takeUntil(rest, ':'));
    const auto time = parseDecimal(rest);
    if (!at || !time || *at > kMaxSeconds || *time > kMaxSeconds)
        return std::nullopt;
    return std::make_pair(*at, *time);
}

} // namespace hastool
