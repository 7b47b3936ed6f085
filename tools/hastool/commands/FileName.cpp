#include "FileName.h"

#include <Hascommon/GURL.h>

#include <cstdlib>

namespace hastool {
namespace {

constexpr size_t kMaxName = 200; // file systems take 255 bytes, and ".part" comes behind

bool isHexDigit(char letter) {
    return std::string("0123456789abcdefABCDEF").find(letter) != std::string::npos;
}

std::string decoded(const std::string& text) {
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && isHexDigit(text[i + 1]) &&
            isHexDigit(text[i + 2])) {
            result += static_cast<char>(std::strtol(text.substr(i + 1, 2).c_str(), nullptr, 16));
            i += 2;
        } else {
            result += text[i];
        }
    }
    return result;
}

/// Slashes and control characters would name something else, or mess up the terminal.
char harmless(char letter) {
    const auto code = static_cast<unsigned char>(letter);
    return letter == '/' || code < 0x20 || code == 0x7F ? '_' : letter;
}

} // namespace

std::string fileNameOf(const std::string& url) {
    const std::string path = hascommon::GURL(url).path();
    std::string name = decoded(path.substr(path.rfind('/') + 1)).substr(0, kMaxName);
    for (char& letter : name)
        letter = harmless(letter);
    if (name.empty() || name == "." || name == "..")
        return "index.html";
    return name;
}

} // namespace hastool
