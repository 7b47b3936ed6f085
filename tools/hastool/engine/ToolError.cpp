#include "ToolError.h"

namespace hastool {
namespace {

constexpr size_t kMaxQuoted = 60; // longer text hides the rest of the message

bool isControl(char letter) {
    const auto code = static_cast<unsigned char>(letter);
    return code < 0x20 || code == 0x7F;
}

} // namespace

std::string inQuotes(std::string_view text) {
    std::string result = "\"";
    for (const char letter : text.substr(0, kMaxQuoted))
        result += isControl(letter) ? '?' : letter;
    return result + (text.size() > kMaxQuoted ? "...\"" : "\"");
}

} // namespace hastool
