#include "CodecMatch.h"

#include <hastool/base/Number.h>
#include <hastool/base/XmlDocument.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace hastool {
namespace {

std::vector<std::string> partsOf(const std::string& codec) {
    std::vector<std::string> parts;
    size_t begin = 0;
    while (parts.size() < 16) {
        const size_t end = codec.find('.', begin);
        parts.push_back(codec.substr(begin, end - begin));
        if (end == std::string::npos)
            break;
        begin = end + 1;
    }
    return parts;
}

/// The sample entries that differ only in where parameter sets are kept.
std::string familyOf(const std::string& codec) {
    const std::string entry = lowered(partsOf(codec).front());
    if (entry == "avc3")
        return "avc1";
    return entry == "hev1" ? "hvc1" : entry;
}

std::optional<unsigned> hexByte(std::string_view text) {
    unsigned value = 0;
    for (const char letter : text) {
        const size_t digit = std::string_view("0123456789abcdef").find(letter);
        if (digit == std::string_view::npos)
            return std::nullopt;
        value = value << 4 | static_cast<unsigned>(digit);
    }
    return value;
}

/// "4d401f": profile, constraints and level.
bool coversAvc(const std::string& declared, const std::string& measured) {
    const std::string a = lowered(declared);
    if (a.size() != 6 || measured.size() != 6)
        return true; // of an older form, or wrong as such
    const auto declaredLevel = hexByte(a.substr(4));
    const auto level = hexByte(measured.substr(4));
    return a.substr(0, 2) == measured.substr(0, 2) && declaredLevel && level &&
           *level <= *declaredLevel;
}

/// "1.6.L93.B0": the level counts in its tier.
bool coversHevc(const std::vector<std::string>& declared, const std::vector<std::string>& found) {
    if (declared.size() < 4 || found.size() < 4 || declared[3].empty() || found[3].empty())
        return true;
    const auto most = parseUnsigned(std::string_view(declared[3]).substr(1));
    const auto level = parseUnsigned(std::string_view(found[3]).substr(1));
    const bool isTierEnough = declared[3][0] == 'H' || found[3][0] == 'L';
    return declared[1] == found[1] && most && level && *level <= *most && isTierEnough;
}

/// Spectral band replication need not be told by the stream's headers.
bool coversAac(const std::vector<std::string>& declared, const std::vector<std::string>& found) {
    const auto isLow = [](const std::string& type) {
        return type == "2" || type == "02" || type == "5" || type == "05" || type == "29";
    };
    if (declared.size() < 3 || found.size() < 3)
        return declared.size() < 2 || found.size() < 2 || lowered(declared[1]) == lowered(found[1]);
    return declared[1] == found[1] &&
           (declared[2] == found[2] || (isLow(declared[2]) && isLow(found[2])));
}

} // namespace

bool isSameFamily(const std::string& a, const std::string& b) {
    return familyOf(a) == familyOf(b);
}

bool covers(const std::string& declared, const std::string& measured) {
    const auto a = partsOf(declared);
    const auto b = partsOf(measured);
    const std::string family = familyOf(declared);
    if (family != familyOf(measured))
        return false;
    if (family == "avc1")
        return a.size() < 2 || b.size() < 2 || coversAvc(a[1], b[1]);
    if (family == "hvc1")
        return coversHevc(a, b);
    return family != "mp4a" || coversAac(a, b);
}

} // namespace hastool
