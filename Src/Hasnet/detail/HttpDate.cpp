#include <Hasnet/detail/HttpDate.h>

#include <Hascommon/detail/Number.h>
#include <Hasnet/detail/ImfDate.h>

#include <algorithm>
#include <cctype>
#include <ctime>
#include <limits>
#include <optional>

#include <curl/curl.h>

namespace hascommon::detail {
namespace {

constexpr std::int64_t kNoDate = -1;
constexpr std::int64_t kSecondsADay = 86400;
/// The last year of a time_t of 32 bits that is a whole one.
constexpr std::int64_t kLastShortYear = 2037;
/// A higher number is none to libcurl.
constexpr std::int64_t kMostYear = std::numeric_limits<std::int32_t>::max();
/// Eight digits in a row are year, month and day.
constexpr std::size_t kDateDigits = 8;
constexpr std::size_t kYearDigits = 4;
/// What may stand behind a sign as hours and minutes of a time zone.
constexpr std::int64_t kMostZone = 1400;

/// Some digits of the text.
struct Digits {
    std::size_t begin;
    std::size_t size;
};

bool isDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

constexpr bool isLeapYear(std::int64_t year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

/// Days from the beginning of the year 1 to that of `year`.
constexpr std::int64_t daysBefore(std::int64_t year) {
    const std::int64_t full = year - 1;
    return full * 365 + full / 4 - full / 100 + full / 400;
}

std::optional<Digits> nextDigits(const std::string& text, std::size_t from) {
    while (from < text.size() && !isDigit(text[from]))
        ++from;
    if (from == text.size())
        return std::nullopt;
    std::size_t end = from;
    while (end < text.size() && isDigit(text[end]))
        ++end;
    return Digits{from, end - from};
}

std::int64_t valueOf(const std::string& text, const Digits& digits) {
    return parseInt64(text.substr(digits.begin, digits.size));
}

/// One or two digits from `at` on, which is moved behind them; -1 for none.
int shortNumber(const std::string& text, std::size_t& at) {
    int value = -1;
    for (int i = 0; i < 2 && at < text.size() && isDigit(text[at]); ++i, ++at)
        value = std::max(value, 0) * 10 + (text[at] - '0');
    return value;
}

/// The number behind a colon, as shortNumber() reads it; -1 where there is none.
int numberBehindColon(const std::string& text, std::size_t& at) {
    if (at + 1 >= text.size() || text[at] != ':' || !isDigit(text[at + 1]))
        return -1;
    return shortNumber(text, ++at);
}

/// Where a time of day ends that begins with a digit at `at`, hours and minutes and perhaps
/// seconds; `at` itself where none does.
std::size_t endOfTime(const std::string& text, std::size_t at) {
    std::size_t end = at;
    const int hours = shortNumber(text, end);
    const int minutes = numberBehindColon(text, end);
    const int seconds = numberBehindColon(text, end);
    return hours < 24 && minutes >= 0 && minutes < 60 && seconds <= 60 ? end : at;
}

/// Whether the digits are the offset of a time zone.
bool isZone(const std::string& text, const Digits& digits) {
    const char before = digits.begin > 0 ? text[digits.begin - 1] : ' ';
    const bool isSigned = before == '+' || before == '-';
    return isSigned && digits.size == kYearDigits && valueOf(text, digits) <= kMostZone;
}

/// The year that the digits mean, where it is one beyond the last short one. Two digits mean one of
/// this century up to 70.
std::optional<std::int64_t> lateYear(const std::string& text, const Digits& digits) {
    if (isZone(text, digits))
        return std::nullopt;
    const std::int64_t value = valueOf(text, digits);
    const std::int64_t year = value <= 70 ? value + 2000 : value;
    return year > kLastShortYear && year <= kMostYear ? std::optional(year) : std::nullopt;
}

/// Reads the text with a year of the same length in the place of the given one.
std::int64_t readMoved(const std::string& text, const Digits& digits, std::int64_t year,
                       DateReader reader) {
    const std::int64_t known = isLeapYear(year) ? 2028 : 2027;
    const std::string moved =
        std::string(text).replace(digits.begin, digits.size, std::to_string(known));
    const std::int64_t date = reader(moved.c_str());
    if (date < 0)
        return kNoDate;
    return date + (daysBefore(year) - daysBefore(known)) * kSecondsADay;
}

std::int64_t readMoved(const std::string& text, const Digits& digits, DateReader reader) {
    if (digits.size == kDateDigits) {
        const Digits yearOnly{digits.begin, kYearDigits};
        const std::int64_t year = valueOf(text, yearOnly);
        const std::int64_t date =
            year > kLastShortYear ? readMoved(text, yearOnly, year, reader) : kNoDate;
        if (date != kNoDate)
            return date;
    }
    const auto year = lateYear(text, digits);
    return year ? readMoved(text, digits, *year, reader) : kNoDate;
}

} // namespace

std::int64_t readDateByCurl(const char* text) {
    return static_cast<std::int64_t>(curl_getdate(text, nullptr));
}

std::int64_t readHttpDate(const std::string& text) {
    const std::int64_t date = readImfDate(text);
    if (date != kNoDate)
        return date;
    if constexpr (sizeof(std::time_t) >= sizeof(std::int64_t))
        return readDateByCurl(text.c_str());
    return readHttpDate(text, readDateByCurl);
}

std::int64_t readHttpDate(const std::string& text, DateReader reader) {
    const std::int64_t date = reader(text.c_str());
    if (date != kNoDate)
        return date;
    bool hasTime = false; // Only the first time of day is one.
    std::size_t at = 0;
    while (const auto digits = nextDigits(text, at)) {
        at = hasTime ? digits->begin : endOfTime(text, digits->begin);
        if (at > digits->begin) {
            hasTime = true;
            continue;
        }
        const std::int64_t moved = readMoved(text, *digits, reader);
        if (moved != kNoDate)
            return moved;
        at = digits->begin + digits->size;
    }
    return kNoDate;
}

} // namespace hascommon::detail
