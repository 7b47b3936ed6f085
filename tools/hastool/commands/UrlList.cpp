#include "UrlList.h"

#include <sstream>

namespace hastool {

std::vector<std::string> readUrls(const ByteSource& source) {
    constexpr char kBlank[] = " \t\r";
    std::string text;
    source([&](const unsigned char* data, size_t size) {
        text.append(reinterpret_cast<const char*>(data), size);
    });
    std::vector<std::string> urls;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const size_t first = line.find_first_not_of(kBlank);
        if (first != std::string::npos && line[first] != '#')
            urls.push_back(line.substr(first, line.find_last_not_of(kBlank) - first + 1));
    }
    return urls;
}

} // namespace hastool
