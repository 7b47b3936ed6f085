// Base64 (RFC 4648, section 4).
#pragma once

#include <string>

namespace hascommon::detail {

/// Decodes a text. What is not in the alphabet counts as zero bits. The padding is logged, and the
/// bytes that it stands for are taken off.
/// @return the bytes; no bytes for a length that is no multiple of 4. More than two "=" at the
///         end are logged as an error, and no byte is taken off for them
std::string decodeBase64(const std::string& text);

} // namespace hascommon::detail
