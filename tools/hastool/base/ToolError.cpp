#include "ToolError.h"

namespace hastool {
namespace {

constexpr size_t kMaxQuoted = 60; // longer text hides the rest of the message

/// Other bytes could control a terminal.
bool isPlain(char letter) {
    return letter >= 0x20 && letter < 0x7F;
}

} // namespace

std::string inQuotes(std::string_view text) {
    std::string result = "\"";
    for (const char letter : text.substr(0, kMaxQuoted))
        result += isPlain(letter) ? letter : '?';
    return result + (text.size() > kMaxQuoted ? "...\"" : "\"");
}

} // namespace hastool
