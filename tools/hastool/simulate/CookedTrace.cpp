#include "CookedTrace.h"

#include "TraceText.h"
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>

#include <optional>

namespace hastool {

std::vector<TracePeriod> readCookedTrace(std::string_view text, const std::string& where) {
    constexpr double kBitsPerMbps = 1e6;
    TraceLines lines(text, where);
    std::vector<TracePeriod> periods;
    std::optional<double> last;
    while (lines.next()) {
        const auto words = splitAt(lines.line(), " \t", true);
        const auto time = parseDecimal(words.front());
        const auto rate = words.size() == 2 ? parseDecimal(words[1]) : std::nullopt;
        if (!time || !rate)
            lines.fail("not a time in seconds and a rate in Mbit/s: " + inQuotes(lines.line()));
        if (last && *time <= *last)
            lines.fail("a time that is not behind the last");
        if (last)
            periods.push_back(makePeriod(*time - *last, *rate * kBitsPerMbps, 0, where));
        last = time;
    }
    return usablePeriods(std::move(periods), where);
}

} // namespace hastool
