// What a command prints.
#pragma once

#include <string_view>

namespace hastool {

/// Prints text on standard output; a failure is told by finishStandardOutput().
void print(std::string_view text);

/// Writes out what is still buffered. That nobody reads any more, as in "hastool ... | head", is no
/// failure.
/// @throws ToolError when anything printed by the command could not be written
void finishStandardOutput();

} // namespace hastool
