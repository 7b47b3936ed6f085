#include "DashReadout.h"

#include <hastool/base/Number.h>

#include <string>

namespace hastool {

double frameRateOf(const DashRepresentation& representation) {
    const std::string& text = representation.frameRate;
    const size_t slash = text.find('/');
    const double above = parseDecimal(text.substr(0, slash)).value_or(0);
    const double below =
        slash == std::string::npos ? 1 : parseDecimal(text.substr(slash + 1)).value_or(0);
    return below > 0 ? above / below : 0;
}

bool hasOpenEnd(const DashManifest& manifest, const DashPeriod& period,
                const DashRepresentation& representation) {
    const DashAddressing& addressing = representation.addressing;
    if (manifest.isDynamic || period.duration || addressing.endNumber ||
        addressing.kind != DashAddressing::Kind::Template)
        return false;
    if (addressing.timeline)
        return !addressing.timeline->empty() && addressing.timeline->back().repeats < 0;
    return addressing.duration.has_value();
}

} // namespace hastool
