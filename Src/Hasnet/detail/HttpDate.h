// Dates of HTTP headers and cookies, in 64 bits on every platform.
#pragma once

#include <cstdint>
#include <string>

namespace hascommon::detail {

/// Reads a date: seconds since 1970, -1 for none.
using DateReader = std::int64_t (*)(const char* text);

/// What libcurl's own reading yields; where time_t has 32 bits, nothing beyond 2037.
std::int64_t readDateByCurl(const char* text);

/// Reads a date of a header (RFC 9110, section 5.6.7, and what older servers send), in all the
/// forms that libcurl knows.
/// @return seconds since 1970, negative where the text is no date
std::int64_t readHttpDate(const std::string& text);

/// The same over a reader that may know no year beyond 2037: the date is then read in a year that
/// it does know and moved by the days between the two.
std::int64_t readHttpDate(const std::string& text, DateReader reader);

} // namespace hascommon::detail
