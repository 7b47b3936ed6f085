#include <Hascommon/Datetime.h>

#include <Hascommon/SafeString.h>
#include <Hascommon/StringUtil.h>
#include <Hascommon/detail/Ascii.h>
#include <Hascommon/detail/Number.h>

#include <array>
#include <cstring>

#include <sys/time.h>

namespace hascommon {
namespace {

using MonthTable = std::array<std::int32_t, 13>;

/// Days before each month, less one: a day of the month counts from 1, a day of the year from 0.
constexpr MonthTable lpdays = {-1, 30, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};
constexpr MonthTable days = {-1, 30, 58, 89, 119, 150, 180, 211, 242, 272, 303, 333, 364};

constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kCommonYear = 365 * kDay;
constexpr std::int64_t kCycleYears = 400;
/// The calendar repeats after 400 years, 97 of them leap years.
constexpr std::int64_t kCycle = kCycleYears * kCommonYear + 97 * kDay;
constexpr std::int64_t kEpochYear = 1970;

struct Division {
    std::int64_t quotient;
    std::int64_t remainder; ///< never negative
};

constexpr Division divideFloor(std::int64_t value, std::int64_t by) {
    const std::int64_t remainder = (value % by + by) % by;
    return {value / by - (value % by < 0 ? 1 : 0), remainder};
}

constexpr bool isLeapYear(std::int64_t year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

/// Days added by leap years from 1970 up to the beginning of `year`.
constexpr std::int64_t leapDaysBefore(std::int64_t year) {
    constexpr std::int64_t kBeforeEpoch = 1969 / 4 - 1969 / 100 + 1969 / 400;
    const std::int64_t before = year - 1;
    return divideFloor(before, 4).quotient - divideFloor(before, 100).quotient +
           divideFloor(before, 400).quotient - kBeforeEpoch;
}

void setMonthAndDay(has_date_t& date, const MonthTable& table, std::int32_t yday) {
    size_t month = 1;
    while (table.at(month) < yday)
        ++month;
    date.mon = static_cast<std::int32_t>(month);
    date.mday = yday - table.at(month - 1);
}

/// The rule of a field that counts from 1900, applied to the full year.
constexpr bool countsAsLeapYear(std::int64_t year) {
    return year % 4 == 0 && (year % 100 != 0 || (year + 1900) % 400 == 0);
}

/// Multiplies and adds with wrap-around, for fields of any value.
constexpr std::uint64_t mulAdd(std::uint64_t value, std::uint64_t by, std::int32_t add) {
    return value * by + static_cast<std::uint64_t>(static_cast<std::int64_t>(add));
}

/// The run of digits from `at`, without the characters `skipped`; `at` ends behind the first other.
std::string takeDigits(const std::string& text, size_t& at, char skipped) {
    std::string digits;
    while (at < text.size()) {
        const char c = text[at++];
        if (detail::isAsciiDigit(c))
            digits += c;
        else if (c != skipped)
            break;
    }
    return digits;
}

std::int32_t number(const std::string& digits, size_t at, size_t count) {
    return detail::parseInt32(digits.substr(at, count));
}

} // namespace

long long has_getTime() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_usec / 1000;
}

long long has_getUTC() {
    return has_getTime();
}

has_date_t has_getDate(long long ms) {
    has_date_t date{};
    const Division seconds = divideFloor(ms, 1000);
    date.msec = static_cast<std::int32_t>(seconds.remainder);
    const Division cycles = divideFloor(seconds.quotient, kCycle);
    // Within one cycle the leap days are less than a year, so the estimate is at most one too high.
    std::int64_t years = cycles.remainder / kCommonYear;
    std::int64_t rest =
        cycles.remainder - years * kCommonYear - leapDaysBefore(kEpochYear + years) * kDay;
    if (rest < 0) {
        --years;
        rest += kCommonYear + (isLeapYear(kEpochYear + years) ? kDay : 0);
    }
    const std::int64_t year = kEpochYear + years;
    date.year = static_cast<std::int32_t>(year + cycles.quotient * kCycleYears);
    setMonthAndDay(date, isLeapYear(year) ? lpdays : days, static_cast<std::int32_t>(rest / kDay));
    rest %= kDay;
    date.hour = static_cast<std::int32_t>(rest / 3600);
    date.min = static_cast<std::int32_t>(rest % 3600 / 60);
    date.sec = static_cast<std::int32_t>(rest % 60);
    return date;
}

has_date_t has_getDate() {
    return has_getDate(has_getTime());
}

long long has_getTime(has_date_t& date) {
    if (date.mon < 1 || date.mon > static_cast<std::int32_t>(days.size()))
        return 0;
    const std::int64_t year = date.year;
    std::int64_t yday = std::int64_t{date.mday} + days.at(static_cast<size_t>(date.mon) - 1);
    if (countsAsLeapYear(year) && date.mon >= 3)
        ++yday;
    const std::int64_t day = (year - kEpochYear) * 365 + leapDaysBefore(year) + yday;
    std::uint64_t total = mulAdd(static_cast<std::uint64_t>(day), 24, date.hour);
    total = mulAdd(mulAdd(total, 60, date.min), 60, date.sec) * 1000;
    std::int64_t result = 0;
    memcpy(&result, &total, sizeof result);
    return result;
}

int has_parseTimeString(const std::string& text) {
    if (text.empty())
        return 0;
    if (isDigitString(text))
        return detail::wrapToInt32(std::int64_t{detail::parseInt32(text)} * 1000);
    std::array<std::int64_t, 4> slots{};
    size_t filled = 0;
    std::string digits;
    for (size_t i = 0; i < text.size() && filled < slots.size(); ++i) {
        if (detail::isAsciiDigit(text[i])) {
            digits += text[i];
            continue;
        }
        slots.at(filled++) = detail::parseInt32(digits);
        digits.clear();
    }
    if (!digits.empty() && filled < slots.size())
        slots.at(filled) = detail::parseInt32(digits);
    return detail::wrapToInt32(slots[0] * 3600000 + slots[1] * 60000 + slots[2] * 1000 + slots[3]);
}

long long has_parseIsoTimeDurationString(const std::string& text) {
    if (text.empty())
        return 0;
    if (isDigitString(text))
        return std::int64_t{detail::parseInt32(text)} * 1000;
    const size_t timePart = text.rfind('T');
    if (text.front() != 'P' || timePart == std::string::npos)
        return 0;
    double hours = 0.0;
    double minutes = 0.0;
    double seconds = 0.0;
    std::string digits;
    for (size_t i = timePart + 1; i < text.size(); ++i) {
        const char c = detail::toAsciiUpper(text[i]);
        if (detail::isAsciiDigit(c) || c == '-' || c == '.') {
            digits += c;
        } else if (c == 'H' || c == 'M' || c == 'S') {
            double& target = c == 'H' ? hours : (c == 'M' ? minutes : seconds);
            target = detail::parseDouble(digits);
            digits.clear();
        }
    }
    return detail::toInt32(minutes * 60000 + hours * 3600000 + seconds * 1000);
}

long long has_parseIsoDatetimeString(const std::string& text) {
    size_t at = 0;
    const std::string day = takeDigits(text, at, '-');
    const std::string time = takeDigits(text, at, ':');
    if (day.size() != 8 || time.size() != 6)
        return 0;
    has_date_t date{};
    date.year = number(day, 0, 4);
    date.mon = number(day, 4, 2);
    date.mday = number(day, 6, 2);
    date.hour = number(time, 0, 2);
    date.min = number(time, 2, 2);
    date.sec = number(time, 4, 2);
    return has_getTime(date);
}

std::string has_dateTimeToString(long long ms) {
    const has_date_t date = has_getDate(ms);
    std::array<char, 64> text{};
    has_sprintf_s(text.data(), static_cast<unsigned int>(text.size()), "%d%02d%02dT%02d%02d%02d",
                  date.year, date.mon, date.mday, date.hour, date.min, date.sec);
    return text.data();
}

} // namespace hascommon
