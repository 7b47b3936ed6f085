#include <Hascommon/Datetime.h>

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <ctime>

#include <sys/time.h>

namespace {

using namespace hascommon;

long long timeOf(int year, int mon, int mday, int hour = 0, int min = 0, int sec = 0) {
    has_date_t date{0, sec, min, hour, mday, mon, year};
    return has_getTime(date);
}

void expectDate(long long ms, int year, int mon, int mday) {
    const has_date_t date = has_getDate(ms);
    EXPECT_EQ(date.year, year) << ms;
    EXPECT_EQ(date.mon, mon) << ms;
    EXPECT_EQ(date.mday, mday) << ms;
}

TEST(Clock, CountsMillisecondsSince1970) {
    timeval before{};
    gettimeofday(&before, nullptr);
    const long long now = has_getTime();
    EXPECT_GE(now, static_cast<long long>(before.tv_sec) * 1000);
    EXPECT_LT(now, (static_cast<long long>(before.tv_sec) + 60) * 1000);
}

TEST(Clock, UtcIsTheSameClock) {
    const long long before = has_getTime();
    const long long utc = has_getUTC();
    EXPECT_GE(utc, before);
    EXPECT_LE(utc, has_getTime());
}

TEST(GetDate, OfZeroIsTheEpoch) {
    const has_date_t date = has_getDate(0);
    EXPECT_EQ(date.msec, 0);
    EXPECT_EQ(date.sec, 0);
    EXPECT_EQ(date.min, 0);
    EXPECT_EQ(date.hour, 0);
    expectDate(0, 1970, 1, 1);
}

TEST(GetDate, BreaksTheTimeOfDayDown) {
    const has_date_t date = has_getDate(1768469405678LL);
    EXPECT_EQ(date.year, 2026);
    EXPECT_EQ(date.mon, 1);
    EXPECT_EQ(date.mday, 15);
    EXPECT_EQ(date.hour, 9);
    EXPECT_EQ(date.min, 30);
    EXPECT_EQ(date.sec, 5);
    EXPECT_EQ(date.msec, 678);
}

TEST(GetDate, KnowsLeapDays) {
    expectDate(951782400000LL, 2000, 2, 29);
    expectDate(951868800000LL, 2000, 3, 1);
    expectDate(1078012800000LL, 2004, 2, 29);
    expectDate(4107456000000LL, 2100, 2, 28);
    expectDate(4107542400000LL, 2100, 3, 1);
}

TEST(GetDate, FirstAndLastDayOfLeapAndCommonYears) {
    expectDate(timeOf(2023, 12, 31), 2023, 12, 31);
    expectDate(timeOf(2024, 1, 1), 2024, 1, 1);
    expectDate(timeOf(2024, 12, 31), 2024, 12, 31);
    expectDate(timeOf(2025, 1, 1) - 1, 2024, 12, 31);
    expectDate(timeOf(2025, 1, 1), 2025, 1, 1);
}

TEST(GetDate, AgreesWithTheSystemsCalendarForFourThousandYears) {
    constexpr long long kStep = 86400LL * 97 + 3607;
    for (long long sec = 0; sec < 4000LL * 365 * 86400; sec += kStep) {
        const auto when = static_cast<time_t>(sec);
        tm expected{};
        ASSERT_NE(gmtime_r(&when, &expected), nullptr);
        const has_date_t date = has_getDate(sec * 1000);
        ASSERT_EQ(date.year, expected.tm_year + 1900) << sec;
        ASSERT_EQ(date.mon, expected.tm_mon + 1) << sec;
        ASSERT_EQ(date.mday, expected.tm_mday) << sec;
        ASSERT_EQ(date.hour, expected.tm_hour) << sec;
        ASSERT_EQ(date.min, expected.tm_min) << sec;
        ASSERT_EQ(date.sec, expected.tm_sec) << sec;
    }
}

TEST(GetDate, TimesBeforeTheEpochAndAtTheLimitsAreDates) {
    expectDate(-1, 1969, 12, 31);
    EXPECT_EQ(has_getDate(-1).msec, 999);
    for (const long long ms : {LLONG_MIN, LLONG_MAX}) {
        const has_date_t date = has_getDate(ms);
        EXPECT_GE(date.mon, 1);
        EXPECT_LE(date.mon, 12);
        EXPECT_GE(date.mday, 1);
        EXPECT_LE(date.mday, 31);
    }
}

TEST(GetDate, WithoutATimeIsNow) {
    const long long before = has_getTime();
    has_date_t date = has_getDate();
    const long long now = has_getTime(date) + date.msec;
    EXPECT_GE(now, before);
    EXPECT_LE(now, has_getTime());
}

TEST(GetTime, InvertsGetDateWithoutMilliseconds) {
    for (const long long sec : {0LL, 68169599LL, 68169600LL, 1078099200LL, 1768469405LL}) {
        has_date_t date = has_getDate(sec * 1000 + 999);
        EXPECT_EQ(has_getTime(date), sec * 1000);
    }
}

TEST(GetTime, March2000ComesOutOneDayEarly) {
    EXPECT_EQ(timeOf(2000, 3, 1), 951782400000LL);
    EXPECT_EQ(timeOf(2000, 2, 29), 951782400000LL);
    EXPECT_EQ(timeOf(2000, 12, 31), 978220800000LL - 86400000LL);
    EXPECT_EQ(timeOf(2001, 1, 1), 978307200000LL);
    EXPECT_EQ(timeOf(2004, 3, 1), 1078099200000LL);
}

TEST(GetTime, March2100ComesOutOneDayLate) {
    EXPECT_EQ(timeOf(2100, 2, 28), 4107456000000LL);
    EXPECT_EQ(timeOf(2100, 3, 1), 4107542400000LL + 86400000LL);
    EXPECT_EQ(timeOf(2200, 3, 1), 7263216000000LL);
}

TEST(GetTime, FieldsBeyondTheirRangeAreAddedUp) {
    EXPECT_EQ(timeOf(1970, 1, 1, 25), timeOf(1970, 1, 2, 1));
    EXPECT_EQ(timeOf(1971, 13, 1), timeOf(1972, 1, 1));
    EXPECT_EQ(timeOf(1970, 1, 0), -86400000LL);
}

TEST(GetTime, AMonthOutsideTheTableIsZero) {
    for (const int month : {0, -1, 14, 99, INT_MIN, INT_MAX})
        EXPECT_EQ(timeOf(2020, month, 5), 0) << month;
}

TEST(GetTime, ExtremeFieldsWrapWithoutTrapping) {
    EXPECT_EQ(timeOf(INT_MAX, 12, INT_MAX, INT_MAX, INT_MAX, INT_MAX), -5825595539337739464LL);
    EXPECT_EQ(timeOf(INT_MIN, 1, INT_MIN, INT_MIN, INT_MIN, INT_MIN), 5825471201958078464LL);
}

TEST(GetTime, LeavesTheDateAsItWas) {
    has_date_t date{7, 6, 5, 4, 3, 2, 2001};
    has_getTime(date);
    EXPECT_EQ(date.msec, 7);
    EXPECT_EQ(date.year, 2001);
}

TEST(ParseTimeString, PlainSeconds) {
    EXPECT_EQ(has_parseTimeString(""), 0);
    EXPECT_EQ(has_parseTimeString("90"), 90000);
    EXPECT_EQ(has_parseTimeString(" +90 "), 90000);
    EXPECT_EQ(has_parseTimeString("-2"), -2000);
}

TEST(ParseTimeString, ClockTimes) {
    EXPECT_EQ(has_parseTimeString("1:02"), 3720000);
    EXPECT_EQ(has_parseTimeString("01:02:03"), 3723000);
    EXPECT_EQ(has_parseTimeString("01:02:03.5"), 3723005);
    EXPECT_EQ(has_parseTimeString("01:02:03.500"), 3723500);
}

TEST(ParseTimeString, TwoSeparatorsInARowHaveAZeroBetweenThem) {
    EXPECT_EQ(has_parseTimeString("1::3"), 3603000);
    EXPECT_EQ(has_parseTimeString(":5"), 300000);
    EXPECT_EQ(has_parseTimeString("::7"), 7000);
}

TEST(ParseTimeString, StopsAtFourNumbers) {
    EXPECT_EQ(has_parseTimeString("0:0:0.1:999"), 1);
    EXPECT_EQ(has_parseTimeString("0:0:0.1:"), 1);
    EXPECT_EQ(has_parseTimeString("a2b"), 120000);
    EXPECT_EQ(has_parseTimeString("1:2:"), 3720000);
}

TEST(ParseTimeString, WrapsTo32Bits) {
    EXPECT_EQ(has_parseTimeString("2147484"), -2147483296);
    EXPECT_EQ(has_parseTimeString("4294967296"), -1000);
    EXPECT_EQ(has_parseTimeString("1000:0"), -694967296);
    EXPECT_EQ(has_parseTimeString("99999999999:99999999999:99999999999.99999999999"), 2143822647);
}

TEST(ParseDuration, PlainSecondsIn64Bits) {
    EXPECT_EQ(has_parseIsoTimeDurationString(""), 0);
    EXPECT_EQ(has_parseIsoTimeDurationString("10"), 10000);
    EXPECT_EQ(has_parseIsoTimeDurationString("3000000"), 3000000000LL);
    EXPECT_EQ(has_parseIsoTimeDurationString("99999999999"), 2147483647000LL);
}

TEST(ParseDuration, TimePart) {
    EXPECT_EQ(has_parseIsoTimeDurationString("PT1H30M"), 5400000);
    EXPECT_EQ(has_parseIsoTimeDurationString("PT0.5S"), 500);
    EXPECT_EQ(has_parseIsoTimeDurationString("PT2.75S"), 2750);
    EXPECT_EQ(has_parseIsoTimeDurationString("PT1h1m1s"), 3661000);
    EXPECT_EQ(has_parseIsoTimeDurationString("PT-1S"), -1000);
    EXPECT_EQ(has_parseIsoTimeDurationString("PT0.0009S"), 0);
}

TEST(ParseDuration, TheDatePartIsDropped) {
    EXPECT_EQ(has_parseIsoTimeDurationString("P1D"), 0);
    EXPECT_EQ(has_parseIsoTimeDurationString("P1DT1S"), 1000);
    EXPECT_EQ(has_parseIsoTimeDurationString("P1DT2H"), 7200000);
    EXPECT_EQ(has_parseIsoTimeDurationString("PT5ST1S"), 1000);
}

TEST(ParseDuration, TextThatIsNoDurationIsZero) {
    for (const char* text : {"PT", "T1S", "1PT1S", "P", "xT1S", "pT1S", "PT1", "Pt1S"})
        EXPECT_EQ(has_parseIsoTimeDurationString(text), 0) << text;
}

TEST(ParseDuration, ALaterDesignatorReplacesAnEarlierOne) {
    EXPECT_EQ(has_parseIsoTimeDurationString("PT1M1M"), 60000);
    EXPECT_EQ(has_parseIsoTimeDurationString("PT5M1M"), 60000);
    EXPECT_EQ(has_parseIsoTimeDurationString("PT5HH"), 0);
}

TEST(ParseDuration, OtherCharactersAreSkippedWithinANumber) {
    EXPECT_EQ(has_parseIsoTimeDurationString("PT1x2S"), 12000);
    EXPECT_EQ(has_parseIsoTimeDurationString("PT 1 S"), 1000);
    EXPECT_EQ(has_parseIsoTimeDurationString("PT1-2S"), 1000);
}

TEST(ParseDuration, LimitsTheResultTo32Bits) {
    EXPECT_EQ(has_parseIsoTimeDurationString("PT9999H"), INT_MAX);
    EXPECT_EQ(has_parseIsoTimeDurationString("PT-9999H"), INT_MIN);
    const std::string huge(400, '9');
    EXPECT_EQ(has_parseIsoTimeDurationString("PT" + huge + "S"), INT_MAX);
    EXPECT_EQ(has_parseIsoTimeDurationString("PT" + huge + "H-" + huge + "S"), 0);
}

TEST(ParseDuration, TheDecimalPointIsAPointInEveryLocale) {
    const char* const before = setlocale(LC_NUMERIC, nullptr);
    const std::string saved = before == nullptr ? "C" : before;
    setlocale(LC_NUMERIC, "de_DE.UTF-8");
    EXPECT_EQ(has_parseIsoTimeDurationString("PT0.5S"), 500);
    setlocale(LC_NUMERIC, saved.c_str());
}

TEST(ParseDatetime, ExtendedAndBasicFormsAreEqualAndReadAsUtc) {
    EXPECT_EQ(has_parseIsoDatetimeString("2014-01-02T03:04:05Z"), 1388631845000LL);
    EXPECT_EQ(has_parseIsoDatetimeString("20140102T030405.999+09:00"), 1388631845000LL);
    EXPECT_EQ(has_parseIsoDatetimeString("2014-01-02 03:04:05-01:00"), 1388631845000LL);
    EXPECT_EQ(has_parseIsoDatetimeString("2014-0102x03:0405"), 1388631845000LL);
}

TEST(ParseDatetime, OtherCountsOfDigitsAreZero) {
    for (const char* text :
         {"", "2014-01-02", "2014-1-2T03:04:05", "2014-01-02T03:04", "2014-01-02T03:04:5",
          "2014-01-02TT03:04:05", "20140102030405", "2014-01-02T03:04:050", "T030405"})
        EXPECT_EQ(has_parseIsoDatetimeString(text), 0) << text;
}

TEST(ParseDatetime, AMonthThatDoesNotExistIsZero) {
    EXPECT_EQ(has_parseIsoDatetimeString("2014-00-02T03:04:05Z"), 0);
    EXPECT_EQ(has_parseIsoDatetimeString("2014-99-02T03:04:05Z"), 0);
}

TEST(ParseDatetime, HasTheLeapYearsOfGetTime) {
    EXPECT_EQ(has_parseIsoDatetimeString("2000-03-01T00:00:00Z"), 951782400000LL);
}

TEST(DateTimeToString, PrintsWithoutSeparators) {
    EXPECT_EQ(has_dateTimeToString(0), "19700101T000000");
    EXPECT_EQ(has_dateTimeToString(1768469405999LL), "20260115T093005");
    EXPECT_EQ(has_dateTimeToString(253402300800000LL), "100000101T000000");
}

TEST(DateTimeToString, IsReadBackByTheParser) {
    for (const long long ms : {0LL, 1078099200000LL, 1768469405000LL})
        EXPECT_EQ(has_parseIsoDatetimeString(has_dateTimeToString(ms)), ms);
}

} // namespace
