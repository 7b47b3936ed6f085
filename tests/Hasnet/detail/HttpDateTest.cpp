#include <Hasnet/detail/HttpDate.h>
#include <Hasnet/detail/ImfDate.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include <curl/curl.h>

namespace {

using hascommon::detail::readDateByCurl;
using hascommon::detail::readHttpDate;
using hascommon::detail::readImfDate;

/// libcurl's reading where time_t has 32 bits: -1 for a date that does not fit.
std::int64_t readShort(const char* text) {
    const std::int64_t date = readDateByCurl(text);
    const bool fits = date >= std::numeric_limits<std::int32_t>::min() &&
                      date <= std::numeric_limits<std::int32_t>::max();
    return fits ? date : -1;
}

struct Row {
    const char* text;
    std::int64_t date;
};

constexpr Row kDates[] = {
    {"Sun, 06 Nov 1994 08:49:37 GMT", 784111777},
    {"Sunday, 06-Nov-94 08:49:37 GMT", 784111777},
    {"Tue, 19 Jan 2038 03:14:07 GMT", 2147483647},
    {"Tue, 19 Jan 2038 03:14:08 GMT", 2147483648},
    {"Fri, 01 Jan 2038 00:00:00 GMT", 2145916800},
    {"Wed, 29 Feb 2040 23:59:59 GMT", 2214172799}, // a leap year stays one
    {"Thu, 01 Mar 2040 00:00:00 GMT", 2214172800},
    {"Fri, 31-Dec-2049 23:59:59 GMT", 2524607999},
    {"Fri, 31-Dec-49 23:59:59 GMT", 2524607999},    // two digits up to 70 are of this century
    {"Mon, 01-Mar-2100 00:00:00 GMT", 4107542400},  // a century that is no leap year
    {"Tue, 01 Mar 2400 00:00:00 GMT", 13574649600}, // and one that is
    {"Fri, 31 Dec 9999 23:59:59 GMT", 253402300799},
    {"99991231 23:59:59 GMT", 253402300799}, // year, month and day in one
    {"20400229 12:00:00", 2214129600},
    {"12:00:00 Feb 29 2040", 2214129600},
    {"Wed, 29 Feb 2040 12:00:00 +0100", 2214126000}, // a zone is no year
    {"Wed, 29 Feb 2040 12:00:00 -0800", 2214158400},
    {"2040 Feb 29 12:00 UTC", 2214129600},
    {"Mon, 06 Nov 10000 08:49:37 GMT", 253429116577},
};

TEST(HttpDate, DatesAreReadInSixtyFourBits) {
    for (const Row& row : kDates)
        EXPECT_EQ(readHttpDate(row.text), row.date) << row.text;
}

TEST(HttpDate, DatesBeyond2037AreReadOverAReaderOfThirtyTwoBitsAlike) {
    for (const Row& row : kDates)
        EXPECT_EQ(readHttpDate(row.text, readShort), row.date) << row.text;
}

TEST(HttpDate, WhatIsNoDateStaysNone) {
    for (const char* text :
         {"", "2040", "next year", "Wed, 32 Feb 2040 12:00:00 GMT", "Wed, 29 Feb 2040 25:00:00 GMT",
          "29 Feb 2040 2041", "20401301", "Feb 29 99999999999999999999", "49:50:51 Feb 29"}) {
        EXPECT_LT(readHttpDate(text), 0) << text;
        EXPECT_LT(readHttpDate(text, readShort), 0) << text;
    }
}

TEST(ImfDate, IsReadAsLibcurlReadsIt) {
    constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (int year : {1970, 1972, 1999, 2000, 2001, 2026, 2100, 2400, 9999}) {
        for (const char* month : kMonths) {
            for (int day = 1; day <= 31; ++day) {
                const std::string text = "Sun, " + std::string(day < 10 ? "0" : "") +
                                         std::to_string(day) + " " + month + " " +
                                         std::to_string(year) + " 08:49:37 GMT";
                const std::int64_t date = readImfDate(text);
                if (date >= 0) {
                    EXPECT_EQ(date, readDateByCurl(text.c_str())) << text;
                } else {
                    EXPECT_GE(day, 29) << text;
                }
            }
        }
    }
    EXPECT_EQ(readImfDate("Thu, 01 Jan 1970 00:00:00 GMT"), 0);
    EXPECT_EQ(readImfDate("Fri, 31 Dec 9999 23:59:59 GMT"), 253402300799);
}

TEST(ImfDate, LeavesEveryOtherFormToTheReader) {
    for (const char* text : {"", "Sun, 06 Nov 1994 08:49:37", "Sun, 06 Nov 1994 08:49:37 UTC",
                             "Sun, 06 Nov 1994 08:49:37 GMT ", "Sun 06 Nov 1994  08:49:37 GMT",
                             "sun, 06 Nov 1994 08:49:37 GMT", "Sun, 06 nov 1994 08:49:37 GMT",
                             "Sun, 06 Nvo 1994 08:49:37 GMT", "Xyz, 06 Nov 1994 08:49:37 GMT",
                             "Sun,  6 Nov 1994 08:49:37 GMT", "Sun, 00 Nov 1994 08:49:37 GMT",
                             "Sun, 31 Nov 1994 08:49:37 GMT", "Sun, 06 Nov 1969 08:49:37 GMT",
                             "Sun, 06 Nov 1994 24:49:37 GMT", "Sun, 06 Nov 1994 08:60:37 GMT",
                             "Sun, 06 Nov 1994 08:49:60 GMT", "Sun, -6 Nov 1994 08:49:37 GMT",
                             "Sunday, 06-Nov-94 08:49:37 GMT", "n S, 06 Nov 1994 08:49:37 GMT"})
        EXPECT_EQ(readImfDate(text), -1) << text;
}

} // namespace
