#include <Hascommon/detail/Number.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include <locale.h>

namespace hascommon::detail {
namespace {

constexpr std::int32_t kMin32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax32 = std::numeric_limits<std::int32_t>::max();

/// Made once and kept until the process ends; null where there is no memory for it.
locale_t cLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

} // namespace

std::int64_t parseInt64(const std::string& text) {
    return strtoll(text.c_str(), nullptr, 10);
}

std::int32_t parseInt32(const std::string& text) {
    const std::int64_t value = parseInt64(text);
    if (value < kMin32)
        return kMin32;
    return value > kMax32 ? kMax32 : static_cast<std::int32_t>(value);
}

double parseDouble(const std::string& text) {
    const locale_t locale = cLocale();
    if (locale == nullptr)
        return strtod(text.c_str(), nullptr);
    return strtod_l(text.c_str(), nullptr, locale);
}

std::int32_t toInt32(double value) {
    if (std::isnan(value))
        return 0;
    if (value <= kMin32)
        return kMin32;
    return value >= kMax32 ? kMax32 : static_cast<std::int32_t>(value);
}

std::int32_t wrapToInt32(std::int64_t value) {
    const auto low = static_cast<std::uint32_t>(value);
    std::int32_t result = 0;
    memcpy(&result, &low, sizeof result);
    return result;
}

} // namespace hascommon::detail
