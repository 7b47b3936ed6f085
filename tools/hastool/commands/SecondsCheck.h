// Times on the command line.
#pragma once

#include <hastool/base/ToolError.h>

#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

namespace hastool {

/// The most that can be asked for: eleven days.
constexpr double kMaxSeconds = 1000000;

/// "1", "0.001".
inline std::string numberText(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", number);
    return text;
}

/// Takes numbers from `least` to kMaxSeconds, and says of another text that it is no number, or
/// which numbers it takes.
inline CLI::Validator secondsCheck(double least = 0) {
    return CLI::Validator(
        [least](const std::string& text) {
            double value = 0;
            if (!CLI::detail::lexical_cast(text, value) || value != value)
                return "not a number of seconds: " + inQuotes(text);
            if (value < least || value > kMaxSeconds)
                return "not from " + numberText(least) + " to 1000000 seconds: " + inQuotes(text);
            return std::string();
        },
        "");
}

} // namespace hastool
