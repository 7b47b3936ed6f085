// Pages where something else should be.
#pragma once

#include <string_view>

namespace hastool {

/// Whether a text is a web page: servers send them with status 200 for errors, log-ins and what has
/// moved.
bool looksLikeWebPage(std::string_view text);

} // namespace hastool
