// What a command prints.
#pragma once

#include <string_view>

namespace hastool {

/// Prints text on standard output; a failure is told by finishStandardOutput().
void print(std::string_view text);

/// Writes out what is still buffered. It is no failure when the reader has closed the pipe, as in
/// "hastool ... | head".
/// @throws ToolError when anything printed by the command could not be written
void finishStandardOutput();

} // namespace hastool
