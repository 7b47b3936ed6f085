// Failures that end a command.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace hastool {

/// What went wrong and where, as one line: "http://host/a.m3u8:12: not a number: \"x\"".
class ToolError : public std::runtime_error {
public:
    ToolError(const std::string& where, const std::string& what)
        : std::runtime_error(where + ": " + what) {}
    /// @param line  the whole message: where, and what
    explicit ToolError(const std::string& line)
        : std::runtime_error(line) {}
};

/// Outside text for a message: in quotation marks, on one line, and not too long.
std::string inQuotes(std::string_view text);

} // namespace hastool
