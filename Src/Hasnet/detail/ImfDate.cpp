#include <Hasnet/detail/ImfDate.h>

#include <cstddef>

namespace hascommon::detail {
namespace {

constexpr std::int64_t kNoDate = -1;
constexpr std::string_view kForm = "Www, 00 Mmm 0000 00:00:00 GMT";
constexpr std::string_view kWeekdays = "Mon Tue Wed Thu Fri Sat Sun ";
constexpr std::string_view kMonths = "Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec ";
constexpr int kDaysBefore[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
/// A 29th of February is left to a reader that knows more.
constexpr int kDaysOf[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

/// Digits at `at`; -1 where something else stands there.
int number(std::string_view text, std::size_t at, std::size_t digits) {
    int value = 0;
    for (const char c : text.substr(at, digits)) {
        if (c < '0' || c > '9')
            return -1;
        value = value * 10 + (c - '0');
    }
    return value;
}

/// The place of a three-letter name in a list; -1 for none.
int indexOf(std::string_view list, std::string_view name) {
    for (std::size_t at = 0; at < list.size(); at += 4) {
        if (list.substr(at, 3) == name)
            return static_cast<int>(at / 4);
    }
    return -1;
}

/// Whether what stands between the names and numbers is as it has to be.
bool hasForm(std::string_view text) {
    if (text.size() != kForm.size())
        return false;
    for (std::size_t at = 3; at < text.size(); ++at) {
        const bool isFixed = kForm[at] != '0' && (at < 8 || at > 10);
        if (isFixed && text[at] != kForm[at])
            return false;
    }
    return indexOf(kWeekdays, text.substr(0, 3)) >= 0;
}

std::int64_t daysUntil(int year, int month, int day) {
    const int before = year - 1;
    const bool isLeap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    constexpr int kDaysBefore1970 = 719162;
    return std::int64_t{before} * 365 + before / 4 - before / 100 + before / 400 - kDaysBefore1970 +
           kDaysBefore[month] + (isLeap && month > 1 ? 1 : 0) + day - 1;
}

} // namespace

std::int64_t readImfDate(std::string_view text) {
    constexpr int kFirstYear = 1970;
    if (!hasForm(text))
        return kNoDate;
    const int day = number(text, 5, 2);
    const int month = indexOf(kMonths, text.substr(8, 3));
    const int year = number(text, 12, 4);
    const int hour = number(text, 17, 2);
    const int minute = number(text, 20, 2);
    const int second = number(text, 23, 2);
    const bool isDay = month >= 0 && day >= 1 && day <= kDaysOf[month];
    if (!isDay || year < kFirstYear || hour < 0 || hour > 23 || minute < 0 || minute > 59 ||
        second < 0 || second > 59)
        return kNoDate;
    return ((daysUntil(year, month, day) * 24 + hour) * 60 + minute) * 60 + second;
}

} // namespace hascommon::detail
