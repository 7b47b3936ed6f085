#include "HtmlText.h"

#include <algorithm>
#include <cstdio>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using nlohmann::ordered_json;

constexpr char kReplacement[] = "\xEF\xBF\xBD";

std::string dumped(const ordered_json& value, bool isAscii) {
    return value.dump(-1, ' ', isAscii, ordered_json::error_handler_t::replace);
}

std::string validUtf8(std::string_view text) {
    return ordered_json::parse(dumped(std::string(text), false)).get<std::string>();
}

std::string escaped(char letter) {
    switch (letter) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&#39;";
    default:
        break;
    }
    const bool isBlank = letter == '\t' || letter == '\n' || letter == '\r';
    const bool isControl = static_cast<unsigned char>(letter) < 0x20 || letter == 0x7F;
    return isControl && !isBlank ? kReplacement : std::string(1, letter);
}

} // namespace

std::string escapeHtml(std::string_view text) {
    std::string result;
    for (const char letter : validUtf8(text))
        result += escaped(letter);
    return result;
}

std::string scriptJson(const ordered_json& value) {
    std::string result;
    for (const char letter : dumped(value, true)) {
        // JSON has these letters in strings only, where an escape stands for the same letter.
        if (letter == '<' || letter == '>' || letter == '&')
            result += letter == '<' ? "\\u003c" : letter == '>' ? "\\u003e" : "\\u0026";
        else
            result += letter;
    }
    return result;
}

std::string fixedText(double value, int digits) {
    char text[64];
    const int length = std::snprintf(text, sizeof text, "%.*f", digits, value);
    return {text, std::min(static_cast<size_t>(length), sizeof text - 1)};
}

} // namespace hastool
