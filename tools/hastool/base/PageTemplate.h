// Pages from templates and data.
#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace hastool {

/// A template with the values of an object put in. What may stand in it:
///
/// - `{{name}}`: a text or a number, escaped for HTML; `{{&name}}`: a text as it is;
/// - `{{#name}}...{{/name}}`: a part that appears for each object of a list, with its values; for
///   any other value once, but not at all for false and for an empty text;
/// - `{{^name}}...{{/name}}`: a part that appears once where the one with `#` would not.
///
/// A name that an object does not have is looked for in the one around it.
/// @throws std::out_of_range for a name without a value, or a part without an end
std::string renderPage(std::string_view text, const nlohmann::ordered_json& values);

} // namespace hastool
