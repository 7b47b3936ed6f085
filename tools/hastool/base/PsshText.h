// PSSH data as users and manifests write it.
#pragma once

#include <optional>
#include <string>

namespace hastool {

/// The data of a `pssh` box as base64 (RFC 4648, section 4), from the data in base64 or from the
/// whole box in base64, of version 0 or 1 (ISO/IEC 23001-7, clause 8.1).
/// @return nothing when the text is not base64
std::optional<std::string> psshDataText(const std::string& text);

} // namespace hastool
