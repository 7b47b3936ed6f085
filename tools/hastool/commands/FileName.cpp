#include "FileName.h"

#include <hastool/base/PercentCoding.h>

#include <Hascommon/GURL.h>

namespace hastool {
namespace {

constexpr size_t kMaxName = 200; // file systems take 255 bytes, and ".part" may follow the name

/// Replaces slashes, which would name another folder, and characters that control a terminal.
char harmless(char letter) {
    const auto code = static_cast<unsigned char>(letter);
    return letter == '/' || code < 0x20 || code == 0x7F ? '_' : letter;
}

} // namespace

std::string fileNameOf(const std::string& url) {
    const std::string path = hascommon::GURL(url).path();
    std::string name = percentDecoded(path.substr(path.rfind('/') + 1)).substr(0, kMaxName);
    for (char& letter : name)
        letter = harmless(letter);
    if (name.empty() || name == "." || name == "..")
        return "index.html";
    return name;
}

} // namespace hastool
