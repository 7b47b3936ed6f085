#include <Hasnet/detail/HeaderLine.h>

#include <Hascommon/GURL.h>
#include <Hascommon/StringUtil.h>

#include <cstring>

namespace hascommon::detail {

bool hasFieldName(const std::string& line, const char* name) {
    const std::size_t length = strlen(name);
    return line.size() > length && line[length] == ':' &&
           has_strncasecmp(line.c_str(), name, static_cast<unsigned int>(length)) == 0;
}

std::string fieldValue(const std::string& line) {
    constexpr const char* kBlank = " \t\r\n";
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos)
        return {};
    const std::size_t first = line.find_first_not_of(kBlank, colon + 1);
    if (first == std::string::npos)
        return {};
    return line.substr(first, line.find_last_not_of(kBlank) - first + 1);
}

std::string absoluteLocation(const std::string& answering, const std::string& location) {
    if (GURL(location).is_valid())
        return location;
    const GURL resolved = GURL(answering).Resolve(location);
    return resolved.is_valid() ? resolved.spec() : "";
}

bool startsHeaders(const std::string& line) {
    return line.compare(0, 5, "HTTP/") == 0;
}

bool endsHeaders(const std::string& line) {
    return line == "\r\n" || line == "\n";
}

} // namespace hascommon::detail
