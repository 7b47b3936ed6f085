// Quantities as people read them.
#pragma once

#include <cstddef>
#include <string>

namespace hastool {

/// "1.23 MB", "456 kB"; powers of ten.
std::string sizeText(double bytes);
/// "1.23 Mbit/s".
std::string rateText(double bitsPerSecond);
/// "12.3 s".
std::string secondsText(double seconds);
/// "6.006 s": as many places as it needs, three at most.
std::string exactSeconds(double seconds);
/// Text of a given width, filled with blanks on its right, or its left for `right`.
std::string padded(const std::string& text, size_t width, bool right = false);

} // namespace hastool
