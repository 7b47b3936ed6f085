// Text to number, the same on every platform and in every locale.
#pragma once

#include <cstdint>
#include <string>

namespace hascommon::detail {

/// Decimal, with leading white space and one sign; stops at the first other character, yields 0
/// where there is no number and the nearest limit where it does not fit.
std::int32_t parseInt32(const std::string& text);
std::int64_t parseInt64(const std::string& text);

/// As `strtod`, with '.' for the decimal point whatever the process's locale says.
double parseDouble(const std::string& text);

/// Toward zero; the nearest limit where the value does not fit, and 0 for no number at all.
std::int32_t toInt32(double value);

/// The low 32 bits, read as signed: what 32-bit arithmetic that wraps would have yielded.
std::int32_t wrapToInt32(std::int64_t value);

} // namespace hascommon::detail
