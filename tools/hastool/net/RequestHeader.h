// Header lines that a user adds to requests.
#pragma once

#include <string>

namespace hastool {

/// What is wrong with a line that is to be "Name: value"; empty when nothing is. The value is not
/// repeated, as it may be a secret.
std::string troubleOfHeader(const std::string& line);

/// Whether the line has this name, in any case.
bool isHeaderNamed(const std::string& line, const std::string& name);

} // namespace hastool
