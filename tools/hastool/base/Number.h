// Numbers in outside text.
#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string_view>

namespace hastool {

/// The whole text as a decimal number; nothing for other text, or a number beyond 64 bits.
inline std::optional<uint64_t> parseUnsigned(std::string_view text) {
    uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end)
        return std::nullopt;
    return value;
}

/// The whole text as a finite number that is not negative, with a point in every locale; nothing
/// for other text.
inline std::optional<double> parseDecimal(std::string_view text) {
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value) ||
        std::signbit(value))
        return std::nullopt;
    return value;
}

} // namespace hastool
