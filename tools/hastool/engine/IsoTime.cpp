#include "IsoTime.h"

#include "Number.h"

#include <Hascommon/Datetime.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace hastool {
namespace {

constexpr double kMaxSeconds = 1e10; // some hundred years

struct Unit {
    char designator;
    double seconds;
};
constexpr Unit kDateUnits[] = {
    {'Y', 365 * 86400.0}, {'M', 30 * 86400.0}, {'W', 7 * 86400.0}, {'D', 86400.0}};
constexpr Unit kTimeUnits[] = {{'H', 3600.0}, {'M', 60.0}, {'S', 1.0}};

const Unit* findUnit(char designator, bool isTime) {
    const Unit* const begin = isTime ? std::begin(kTimeUnits) : std::begin(kDateUnits);
    const Unit* const end = isTime ? std::end(kTimeUnits) : std::end(kDateUnits);
    for (const Unit* it = begin; it != end; ++it) {
        if (it->designator == designator)
            return it;
    }
    return nullptr;
}

/// "Z", "+01:00", "-0530" or nothing, in seconds to take from the local time.
std::optional<double> parseZone(std::string_view text) {
    if (text.empty() || text == "Z" || text == "z")
        return 0;
    const char sign = text.front();
    std::string digits;
    for (const char c : text.substr(1)) {
        if (c != ':')
            digits += c;
    }
    const auto number = parseUnsigned(digits);
    if ((sign != '+' && sign != '-') || digits.size() != 4 || !number)
        return std::nullopt;
    const uint64_t minutes = *number / 100 * 60 + *number % 100;
    const double seconds = static_cast<double>(minutes) * 60;
    return sign == '+' ? seconds : -seconds;
}

/// ".25" or nothing.
std::optional<double> parseFraction(std::string_view text) {
    if (text.empty())
        return 0;
    const bool isFraction = text.front() == '.' && text.size() > 1;
    return isFraction ? parseDecimal("0" + std::string(text)) : std::nullopt;
}

} // namespace

std::optional<double> parseIsoDuration(const std::string& text) {
    std::string_view rest = text;
    if (rest.size() < 3 || rest.front() != 'P')
        return std::nullopt;
    rest.remove_prefix(1);
    double seconds = 0;
    bool isTime = false;
    while (!rest.empty()) {
        if (rest.front() == 'T' && !isTime && rest.size() > 1) {
            isTime = true;
            rest.remove_prefix(1);
        }
        const size_t end = rest.find_first_not_of("0123456789.");
        if (end == std::string_view::npos)
            return std::nullopt;
        const auto number = parseDecimal(rest.substr(0, end));
        const Unit* const unit = findUnit(rest[end], isTime);
        if (!number || unit == nullptr)
            return std::nullopt;
        seconds += *number * unit->seconds;
        rest.remove_prefix(end + 1);
    }
    return seconds <= kMaxSeconds ? std::optional<double>(seconds) : std::nullopt;
}

std::optional<double> parseIsoDateTime(const std::string& text) {
    constexpr size_t kPlainSize = 19; // "2024-01-01T00:01:00"
    if (text.size() < kPlainSize || text[10] != 'T')
        return std::nullopt;
    const long long ms = hascommon::has_parseIsoDatetimeString(text.substr(0, kPlainSize));
    const size_t zoneAt = std::min(text.find_first_of("Zz+-", kPlainSize), text.size());
    const std::string_view rest = text;
    const auto fraction = parseFraction(rest.substr(kPlainSize, zoneAt - kPlainSize));
    const auto zone = parseZone(rest.substr(zoneAt));
    if (ms == 0 || !fraction || !zone)
        return std::nullopt;
    return static_cast<double>(ms) / 1000 + *fraction - *zone;
}

} // namespace hastool
