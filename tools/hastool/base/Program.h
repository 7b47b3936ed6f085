// Other programs that the tool runs.
#pragma once

#include <string>
#include <vector>

namespace hastool {

/// How a program ended.
struct ProgramEnd {
    bool isThere = false; ///< it was found and begun
    bool ok = false;      ///< it ended with status 0
    std::string trouble;  ///< the first line that it wrote as an error, or how it ended; not shown
                          ///< as it is: the text may hold anything
};

/// Runs a program to its end, without a shell, its input and output empty. When the user
/// interrupts, it is asked to end, and counts as failed.
/// @param words  its name, looked up in the PATH, and its arguments; at least one
ProgramEnd runProgram(const std::vector<std::string>& words);

} // namespace hastool
