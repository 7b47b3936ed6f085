// Events that segments of MP4 carry (ISO/IEC 23009-1, clause 5.10.3.3).
#pragma once

#include <hastool/formats/TimedEvent.h>

#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// The most events that are read from one segment.
constexpr size_t kMaxSegmentEvents = 1000;

/// The events of a segment's emsg boxes; those that are cut are left out.
/// @param init   its initialisation, which tells the clock of absolute times; may be empty, and
/// such
///               times then count as the begin of the segment
/// @param start  when the segment begins, in seconds since the presentation began
std::vector<TimedEvent> eventMessages(std::string_view init, const std::string& segment,
                                      double start);

} // namespace hastool
