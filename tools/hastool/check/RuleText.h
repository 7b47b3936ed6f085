// All rules as a page.
#pragma once

#include <string>

namespace hastool {

/// What docs/check.md says of the rules, in Markdown: a table, then each of them.
std::string rulesAsMarkdown();

} // namespace hastool
