// URLs in a file.
#pragma once

#include <hastool/base/ByteSource.h>

#include <string>
#include <vector>

namespace hastool {

/// Reads URLs, one a line; blank lines and those that begin with "#" are left out, blanks around a
/// URL too.
/// @throws ToolError when the source cannot be read
std::vector<std::string> readUrls(const ByteSource& source);

} // namespace hastool
