// URL templates of DASH (ISO/IEC 23009-1, 5.3.9.4.4).
#pragma once

#include <cstdint>
#include <string>

namespace hastool {

/// What the identifiers of a template stand for.
struct DashTemplateValues {
    std::string representationId;
    uint64_t number = 0;
    uint64_t bandwidth = 0;
    uint64_t time = 0;
};

/// Replaces `$RepresentationID$`, `$Number$`, `$Bandwidth$` and `$Time$`, the numbers also with a
/// width ("$Number%05d$"), and `$$`.
/// @param where  names the manifest in messages. @throws ToolError for an unknown identifier, a
///               width that is no number, or a "$" without its other half
std::string expandDashTemplate(const std::string& text, const DashTemplateValues& values,
                               const std::string& where);

} // namespace hastool
