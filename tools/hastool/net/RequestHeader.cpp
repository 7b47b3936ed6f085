#include "RequestHeader.h"

#include <hastool/base/ToolError.h>

#include <algorithm>
#include <string_view>

#include <strings.h>

namespace hastool {
namespace {

bool isControl(char c) {
    const auto code = static_cast<unsigned char>(c);
    return (code < 0x20 && c != '\t') || code == 0x7F;
}

/// Characters of a token (RFC 9110, section 5.6.2).
bool isTokenCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

} // namespace

std::string troubleOfHeader(const std::string& line) {
    if (std::any_of(line.begin(), line.end(), isControl))
        return "a header is one line, without control characters";
    const size_t colon = line.find(':');
    if (colon == std::string::npos)
        return "a header is \"Name: value\", with a colon";
    const std::string name = line.substr(0, colon);
    if (name.empty() || !std::all_of(name.begin(), name.end(), isTokenCharacter))
        return "not the name of a header: " + inQuotes(name);
    return {};
}

bool isHeaderNamed(const std::string& line, const std::string& name) {
    return line.size() > name.size() && line[name.size()] == ':' &&
           strncasecmp(line.c_str(), name.c_str(), name.size()) == 0;
}

} // namespace hastool
