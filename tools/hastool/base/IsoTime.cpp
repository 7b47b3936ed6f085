#include "IsoTime.h"

#include "Number.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <iterator>
#include <limits>
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

/// "Z", "+01:00", "-0530" or "", in seconds to take from the local time.
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

/// ".25" or "".
std::optional<double> parseFraction(std::string_view text) {
    if (text.empty())
        return 0;
    const bool isFraction = text.front() == '.' && text.size() > 1;
    return isFraction ? parseDecimal("0" + std::string(text)) : std::nullopt;
}

/// Seconds since the epoch; nothing for a day that is not in the calendar.
std::optional<double> dateInSeconds(int year, int month, int day) {
    std::tm date{};
    date.tm_year = year - 1900;
    date.tm_mon = month - 1;
    date.tm_mday = day;
    const std::time_t seconds = timegm(&date);
    // timegm() turns a day that does not exist into one of the next month.
    if (date.tm_mon != month - 1 || date.tm_mday != day)
        return std::nullopt;
    // -1 means failure: as a time, it is no midnight. A machine that counts in 32 bits fails beyond
    // 2038; the latest time that it can count stands for such a day.
    return static_cast<double>(seconds != -1 ? seconds : std::numeric_limits<std::time_t>::max());
}

/// "2024-01-01T00:01:00" exactly. The library's own function answers 0 both for the epoch, which
/// live manifests count from, and for text that it does not accept; and it takes 2000 and 2100 for
/// years that they are not in the calendar.
std::optional<double> parsePlainDateTime(std::string_view text) {
    constexpr std::string_view kForm = "0000-00-00T00:00:00";
    if (text.size() != kForm.size())
        return std::nullopt;
    for (size_t i = 0; i < kForm.size(); ++i) {
        const bool isDigit = text[i] >= '0' && text[i] <= '9';
        if (kForm[i] == '0' ? !isDigit : text[i] != kForm[i])
            return std::nullopt;
    }
    const auto number = [&](size_t at, size_t size) {
        return static_cast<int>(*parseUnsigned(text.substr(at, size)));
    };
    const auto date = dateInSeconds(number(0, 4), number(5, 2), number(8, 2));
    const int time = number(11, 2) * 3600 + number(14, 2) * 60 + number(17, 2);
    // 24:00:00 is the next midnight; a second 60 is a leap second.
    if (!date || time > 86400 || number(14, 2) > 59 || number(17, 2) > 60)
        return std::nullopt;
    return *date + time;
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
    const std::string_view rest = text;
    const auto plain = parsePlainDateTime(rest.substr(0, kPlainSize));
    if (!plain)
        return std::nullopt;
    const size_t zoneAt = std::min(text.find_first_of("Zz+-", kPlainSize), text.size());
    const auto fraction = parseFraction(rest.substr(kPlainSize, zoneAt - kPlainSize));
    const auto zone = parseZone(rest.substr(zoneAt));
    if (!fraction || !zone)
        return std::nullopt;
    return *plain + *fraction - *zone;
}

std::string isoDateTime(double seconds) {
    const long long milliseconds = std::llround(std::clamp(seconds, 0.0, kMaxSeconds) * 1000);
    const auto time = static_cast<time_t>(milliseconds / 1000);
    tm parts{};
    gmtime_r(&time, &parts);
    char text[32] = "";
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    const std::string fraction = std::to_string(1000 + milliseconds % 1000);
    return text + ("." + fraction.substr(1)) + "Z";
}

} // namespace hastool
