// Bytes as text (RFC 4648, section 4).
#pragma once

#include <optional>
#include <string>

namespace hastool {

/// Bytes in base64.
std::string toBase64(const std::string& bytes);

/// The bytes of a text in base64; nothing when the text holds anything else.
std::optional<std::string> fromBase64(const std::string& text);

} // namespace hastool
