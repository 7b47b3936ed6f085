#include "AesKey.h"

#include <Hascommon/Drm_Common.h>

#include <algorithm>
#include <cctype>
#include <tuple>

namespace hastool {
namespace {

constexpr size_t kDigits = 2 * std::tuple_size_v<AesBytes>;

bool hasPrefix(const std::string& text) {
    return text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
}

/// Checked here, as the library takes any character for a digit.
bool areDigits(const std::string& text) {
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char it) { return std::isxdigit(it) != 0; });
}

AesBytes bytesOf(const std::string& digits) {
    AesBytes bytes;
    stringToiv(digits, bytes.data(), bytes.size());
    return bytes;
}

} // namespace

std::optional<AesBytes> parseAesBytes(const std::string& text) {
    const std::string digits = hasPrefix(text) ? text.substr(2) : text;
    if (digits.size() != kDigits || !areDigits(digits))
        return std::nullopt;
    return bytesOf(digits);
}

std::optional<AesBytes> parseIvAttribute(const std::string& text) {
    if (!hasPrefix(text))
        return std::nullopt;
    const std::string digits = text.substr(2);
    if (digits.empty() || digits.size() > kDigits || !areDigits(digits))
        return std::nullopt;
    // The library reads pairs of digits, so the number is filled up to all of them.
    return bytesOf(std::string(kDigits - digits.size(), '0') + digits);
}

AesBytes ivOfSequence(uint64_t sequence) {
    AesBytes iv;
    sequenceToiv(static_cast<unsigned int>(sequence), iv.data(), iv.size());
    // The library writes 32 bits at the end; the upper 32 are written in front of them.
    sequenceToiv(static_cast<unsigned int>(sequence >> 32), iv.data(), iv.size() - 4);
    return iv;
}

} // namespace hastool
