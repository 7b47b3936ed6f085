// Outside text in a terminal.
#pragma once

#include <cstddef>
#include <string>

namespace hastool {

/// Text in UTF-8 on one line: what could control a terminal or turn the direction of the text, and
/// what is not UTF-8, becomes "?".
std::string shownText(const std::string& text);

/// How many columns such a text takes in a terminal.
size_t shownWidth(const std::string& text);

/// The text filled with blanks up to a width, on its left for `right`; a longer one is cut and ends
/// in "...".
std::string fitted(const std::string& text, size_t width, bool right = false);

} // namespace hastool
