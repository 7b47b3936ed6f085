/// @file
/// The library's clock and calendar, and the time texts of manifests.
///
/// A point in time is a signed 64-bit count of milliseconds since 1970-01-01T00:00:00 UTC; zones
/// and leap seconds play no part. A parser returns 0 for text that it does not accept, and has no
/// other way to say so; nothing here logs or throws.
///
/// Threads: all functions may be called from any thread; no function has state.
#pragma once

#include <Hascommon/Export.h>

#include <cstdint>
#include <string>

namespace hascommon {

/// A point in time in UTC, broken down.
struct has_date_t {
    std::int32_t msec; ///< milliseconds within the second, 0 to 999
    std::int32_t sec;  ///< 0 to 59
    std::int32_t min;  ///< 0 to 59
    std::int32_t hour; ///< 0 to 23
    std::int32_t mday; ///< day of the month, from 1
    std::int32_t mon;  ///< 1 to 12
    std::int32_t year; ///< the full year, as in 2026
};

/// @return now, by the wall clock, in milliseconds since the epoch
HAS_API long long has_getTime();

/// has_getTime() under its other name.
HAS_API long long has_getUTC();

/// @param ms  milliseconds since the epoch, also before it
/// @return the date in the Gregorian calendar
HAS_API has_date_t has_getDate(long long ms);

/// @return the date of has_getTime()
HAS_API has_date_t has_getDate();

/// The way back from has_getDate(), but for two things that callers reckon with: `msec` is not
/// counted, and leap years follow a rule made for years that count from 1900. A year that 100
/// divides is one when 400 divides `year` + 1900, so that March to December 2000 come out one day
/// early, and those of 2100 one day late.
/// @param date  not changed. The fields are added up as they are, so an hour of 25 is an hour of
///              the next day; month 13 is the next January.
/// @return milliseconds since the epoch; 0 for a month outside 1 to 13
HAS_API long long has_getTime(has_date_t& date);

/// Seconds ("90") or a clock time ("01:02:03.5") to milliseconds.
///
/// Up to four numbers stand for hours, minutes, seconds and milliseconds, whatever stands between
/// them; two separators in a row have a 0 between them. The number behind a '.' counts
/// milliseconds and is no decimal fraction: "01:02:03.5" is 3723005.
/// @return milliseconds, wrapped to 32 bits; 0 for the empty text
HAS_API int has_parseTimeString(const std::string& text);

/// The time part of an ISO-8601 duration, or plain seconds, to milliseconds.
///
/// Years, months, weeks and days are dropped, and callers reckon with that: "P1DT1S" is one second,
/// and "P1D" is 0. A later designator of a kind replaces an earlier one.
/// @return milliseconds; for a duration the nearest 32-bit limit where they do not fit
HAS_API long long has_parseIsoTimeDurationString(const std::string& text);

/// An ISO-8601 date and time, with or without '-' and ':', to milliseconds since the epoch.
///
/// Fractions of a second and the zone are ignored: every text is read as UTC, and callers reckon
/// with that.
/// @return has_getTime() of the date; 0 unless there are 8 digits of date and 6 of time
HAS_API long long has_parseIsoDatetimeString(const std::string& text);

/// @param ms  milliseconds since the epoch
/// @return the UTC date as "YYYYMMDDTHHMMSS"; the year is printed without leading zeros
HAS_API std::string has_dateTimeToString(long long ms);

} // namespace hascommon
