// Text from outside within an HTML page.
#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace hastool {

/// Any bytes as HTML text that shows them, also within a quoted attribute. What is not UTF-8, and
/// control characters that HTML forbids, become U+FFFD.
std::string escapeHtml(std::string_view text);

/// JSON in ASCII that may stand within a script element: nothing in it ends the element or a line.
std::string scriptJson(const nlohmann::ordered_json& value);

/// "1.250" for (1.25, 3).
std::string fixedText(double value, int digits);

} // namespace hastool
