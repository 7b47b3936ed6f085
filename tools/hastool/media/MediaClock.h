// When media begins by its own clock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace hastool {

/// The earliest time stamp at the begin of a segment, in ticks of 90 kHz: in a transport stream the
/// first presentation time stamps of its streams (ISO/IEC 13818-1), in fragmented MP4 the decode
/// times of the first fragment (ISO/IEC 14496-12).
/// @param init  the initialisation; empty for a transport stream
/// @return nothing where there is none
std::optional<int64_t> firstTimestamp(std::string_view init, const std::string& media);

} // namespace hastool
