// EXT-X-DATERANGE tags (RFC 8216, section 4.3.2.7).
#pragma once

#include "HlsAttributes.h"
#include <hastool/formats/TimedEvent.h>

#include <optional>
#include <string>

namespace hastool {

/// One EXT-X-DATERANGE.
struct HlsDateRange {
    std::string id;
    std::string rangeClass;
    double start = 0;              ///< seconds since the epoch
    std::optional<double> end;     ///< seconds since the epoch, where it is known
    std::optional<double> planned; ///< expected duration, in seconds
    TimedEvent::Break adBreak = TimedEvent::Break::None;
    std::string text; ///< what its cue message says, or what is wrong with it; may be empty
};

/// Reads the attributes of a tag.
///
/// SCTE35-OUT means that a break begins at START-DATE, SCTE35-IN that the break which began there
/// ends with the range, and SCTE35-CMD what its message says.
/// @return nothing for a range without an ID, or whose START-DATE is missing or cannot be read
std::optional<HlsDateRange> readDateRange(const HlsAttributes& list);

/// The event of a range in a presentation whose second 0 has this date, in seconds since the epoch.
TimedEvent eventOf(const HlsDateRange& range, double origin);

} // namespace hastool
