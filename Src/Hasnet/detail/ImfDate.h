// Dates in the form that servers send today.
#pragma once

#include <cstdint>
#include <string_view>

namespace hascommon::detail {

/// Reads a date of the fixed form "Sun, 06 Nov 1994 08:49:37 GMT" (RFC 9110, section 5.6.7), from
/// 1970 on, which is what nearly every date of a header is.
/// @return seconds since 1970; -1 for any other text, which may be a date all the same
std::int64_t readImfDate(std::string_view text);

} // namespace hascommon::detail
