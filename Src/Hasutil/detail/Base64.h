// The alphabet of base64 (RFC 4648, section 4).
#pragma once

#include <string>

namespace hascommon::detail {

/// Decodes every group of four characters to three bytes; what is not in the alphabet, "=" among
/// it, counts as zero bits.
/// @param text  of a length that is a multiple of 4
std::string decodeBase64Groups(const std::string& text);

} // namespace hascommon::detail
