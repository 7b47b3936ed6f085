#include "RateTrace.h"

#include "TraceText.h"
#include <hastool/origin/RateProfile.h>

namespace hastool {

std::vector<TracePeriod> readRateTrace(const std::string& text, const std::string& where) {
    constexpr double kBitsPerKbps = 1000;
    const RateProfile profile = RateProfile::parse(text, where);
    std::vector<TracePeriod> periods;
    periods.reserve(profile.steps().size());
    for (const RateProfile::Step& it : profile.steps())
        periods.push_back(makePeriod(it.seconds, it.kbps * kBitsPerKbps, it.latency, where));
    return usablePeriods(std::move(periods), where);
}

} // namespace hastool
