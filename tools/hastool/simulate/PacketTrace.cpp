#include "PacketTrace.h"

#include "TraceText.h"
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <cstdint>

namespace hastool {
namespace {

constexpr uint64_t kBinMs = 100;
constexpr double kPacketBits = 1500 * 8;

/// The bin whose end is at or behind the time.
size_t binOf(uint64_t ms) {
    return static_cast<size_t>(ms > 0 ? (ms - 1) / kBinMs : 0);
}

} // namespace

std::vector<TracePeriod> readPacketTrace(std::string_view text, const std::string& where) {
    TraceLines lines(text, where);
    std::vector<uint64_t> packets; // of each bin
    uint64_t last = 0;
    while (lines.next()) {
        const auto time = parseUnsigned(lines.line());
        if (!time)
            lines.fail("not a whole number of milliseconds: " + inQuotes(lines.line()));
        if (*time < last)
            lines.fail("a time before the last");
        if (*time / kBinMs >= kMaxTracePeriods)
            lines.fail("a longer time than can be handled");
        last = *time;
        packets.resize(std::max(packets.size(), binOf(last) + 1));
        ++packets[binOf(last)];
    }
    std::vector<TracePeriod> periods;
    for (size_t i = 0; i < packets.size(); ++i) {
        const uint64_t ms = std::min<uint64_t>(last - i * kBinMs, kBinMs);
        if (ms == 0)
            break; // all packets at time 0
        const double seconds = static_cast<double>(ms) / 1000;
        const double rate = static_cast<double>(packets[i]) * kPacketBits / seconds;
        periods.push_back(makePeriod(seconds, rate, 0, where));
    }
    return usablePeriods(std::move(periods), where);
}

} // namespace hastool
