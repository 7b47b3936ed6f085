#include "WebPage.h"

#include "XmlDocument.h"

#include <string>

namespace hastool {

bool looksLikeWebPage(std::string_view text) {
    constexpr size_t kBegin = 512; // a doctype and comments before the element
    const std::string begin = lowered(std::string(text.substr(0, kBegin)));
    return begin.find("<html") != std::string::npos ||
           begin.find("<!doctype html") != std::string::npos;
}

} // namespace hastool
