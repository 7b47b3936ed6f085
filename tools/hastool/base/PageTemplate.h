// Pages from templates and data.
#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace hastool {

/// A template with the values of an object put in. What may stand in it:
///
/// - `{{name}}`: a text or a number, escaped for HTML; `{{&name}}`: a text as it is;
/// - `{{#name}}...{{/name}}`: for each object of a list, with its values; once for anything else
///   that is neither false nor an empty text;
/// - `{{^name}}...{{/name}}`: where that would not appear.
///
/// A name that an object does not have is looked for in the one around it.
/// @throws std::out_of_range for a name without a value, or a part without an end
std::string renderPage(std::string_view text, const nlohmann::ordered_json& values);

} // namespace hastool
