// Names for downloaded files.
#pragma once

#include <string>

namespace hastool {

/// The last part of a URL's path, decoded, as a name that stays inside its folder; "index.html"
/// where there is none.
std::string fileNameOf(const std::string& url);

} // namespace hastool
