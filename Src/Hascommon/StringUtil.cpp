#include <Hascommon/StringUtil.h>

#include <Hascommon/detail/Ascii.h>
#include <Hascommon/detail/Number.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

namespace hascommon {
namespace {

bool equalFolded(std::string_view a, std::string_view b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (detail::toAsciiUpper(a[i]) != detail::toAsciiUpper(b[i]))
            return false;
    }
    return true;
}

int byteDifference(char a, char b) {
    return static_cast<unsigned char>(a) - static_cast<unsigned char>(b);
}

/// One pass with the rules that the three text tests share: `isDigit` forbids a later sign,
/// `isExtra` passes without changing anything.
template<typename IsDigit, typename IsExtra>
bool isNumberText(const std::string& text, IsDigit isDigit, IsExtra isExtra) {
    bool signAllowed = true;
    for (const char c : text) {
        if (detail::isAsciiSpace(c) || isExtra(c))
            continue;
        const bool sign = c == '+' || c == '-';
        if (!(sign && signAllowed) && !isDigit(c))
            return false;
        signAllowed = false;
    }
    return !text.empty();
}

bool noExtra(char /*c*/) {
    return false;
}

} // namespace

bool has_iequal(const std::string& a, const std::string& b) {
    return equalFolded(a, b);
}

bool has_iequal(const std::string& a, const char* b) {
    return equalFolded(a, b);
}

bool has_iequal(const char* a, const std::string& b) {
    return equalFolded(a, b);
}

bool has_iequal(const char* a, const char* b) {
    return a != nullptr && b != nullptr && equalFolded(a, b);
}

int has_strncasecmp(const char* a, const char* b, unsigned int n) {
    if (a == nullptr || b == nullptr)
        return 0;
    for (unsigned int i = 0; i < n; ++i) {
        if (a[i] == '\0' || b[i] == '\0')
            return byteDifference(a[i], b[i]);
        const int difference =
            byteDifference(detail::toAsciiLower(a[i]), detail::toAsciiLower(b[i]));
        if (difference != 0)
            return difference;
    }
    return 0;
}

bool isDigitString(const std::string& text) {
    return isNumberText(text, detail::isAsciiDigit, noExtra);
}

bool isOxDigitString(const std::string& text) {
    const auto isUpperHex = [](char c) {
        return detail::isAsciiDigit(c) || (c >= 'A' && c <= 'F');
    };
    return isNumberText(text, isUpperHex, noExtra);
}

bool isFloatString(const std::string& text) {
    bool pointSeen = false;
    const auto isFirstPoint = [&pointSeen](char c) {
        if (c != '.' || pointSeen)
            return false;
        pointSeen = true;
        return true;
    };
    return isNumberText(text, detail::isAsciiDigit, isFirstPoint);
}

int convNotEmptyDigitStringToInt(std::string text) {
    return isDigitString(text) ? detail::parseInt32(text) : 0;
}

unsigned int convNotEmptyDigitStringToUInt(std::string text) {
    return static_cast<unsigned int>(convNotEmptyDigitStringToInt(std::move(text)));
}

long long convNotEmptyDigitStringToUl64(std::string text) {
    return isDigitString(text) ? detail::parseInt64(text) : 0;
}

unsigned short convNotEmptyDigitStringToUInt2(std::string text) {
    if (!isOxDigitString(text))
        return 0;
    return static_cast<unsigned short>(OxChangeToInt(text.c_str()));
}

double convNotEmptyDigitStringToDouble(std::string text) {
    return isFloatString(text) ? detail::parseDouble(text) : 0.0;
}

bool convNotEmptyStringToBool(const std::string& text) {
    constexpr std::string_view kTrue = "true";
    return equalFolded(std::string_view(text).substr(0, kTrue.size()), kTrue);
}

int OxChangeToInt(const char* text) {
    if (text == nullptr)
        return 0;
    // Only the last eight places reach the 32 bits of the result.
    constexpr size_t kPlaces = 8;
    const std::string_view all(text);
    std::uint32_t total = 0;
    for (const char c : all.substr(all.size() - std::min(all.size(), kPlaces))) {
        const int digit = detail::hexDigit(c);
        total = (total << 4U) | static_cast<std::uint32_t>(digit < 0 ? 0 : digit);
    }
    return detail::wrapToInt32(total);
}

std::string& has_replace_first(std::string& text, const char* from, std::string to) {
    if (from == nullptr)
        return text;
    const size_t at = text.find(from);
    if (at != std::string::npos)
        text.replace(at, strlen(from), to);
    return text;
}

void getRangePosFromString(std::string text, int* first, int* last, std::string separator) {
    if (first == nullptr || last == nullptr)
        return;
    *first = 0;
    *last = -1;
    const size_t at = text.find(separator);
    if (at == std::string::npos)
        return;
    if (at > 0)
        *first = detail::parseInt32(text.substr(0, at));
    if (at + 1 < text.size())
        *last = detail::parseInt32(text.substr(at + 1));
}

} // namespace hascommon
