#include <hastool/base/IsoTime.h>

#include <gtest/gtest.h>

using hastool::parseIsoDateTime;
using hastool::parseIsoDuration;

TEST(IsoDuration, AddsUpItsParts) {
    EXPECT_DOUBLE_EQ(parseIsoDuration("PT1H2M3.5S").value(), 3723.5);
    EXPECT_DOUBLE_EQ(parseIsoDuration("PT604.0399780273438S").value(), 604.0399780273438);
    EXPECT_DOUBLE_EQ(parseIsoDuration("P1DT12H").value(), 129600);
    EXPECT_DOUBLE_EQ(parseIsoDuration("P1W").value(), 604800);
    EXPECT_DOUBLE_EQ(parseIsoDuration("P1Y2M").value(), (365 + 60) * 86400.0);
    EXPECT_DOUBLE_EQ(parseIsoDuration("PT4M").value(), 240);
    EXPECT_DOUBLE_EQ(parseIsoDuration("PT0S").value(), 0);
}

TEST(IsoDuration, IsNothingForOtherText) {
    for (const char* const text : {"", "P", "PT", "10", "T1S", "PT1", "PTS", "PT1X", "-PT1S",
                                   "PT1S ", "P1S", "PT1D", "PT1..5S", "PTT1S", "PT99999999999999S"})
        EXPECT_FALSE(parseIsoDuration(text)) << text;
}

TEST(IsoDateTime, CountsFromTheEpoch) {
    EXPECT_DOUBLE_EQ(parseIsoDateTime("2024-01-01T00:01:00Z").value(), 1704067260);
    EXPECT_DOUBLE_EQ(parseIsoDateTime("2024-01-01T00:01:00").value(), 1704067260);
    EXPECT_DOUBLE_EQ(parseIsoDateTime("2024-01-01T00:01:00.25Z").value(), 1704067260.25);
}

TEST(IsoDateTime, TheEpochIsADateLikeAnyOther) {
    const auto epoch = parseIsoDateTime("1970-01-01T00:00:00Z");
    ASSERT_TRUE(epoch);
    EXPECT_DOUBLE_EQ(*epoch, 0);
    EXPECT_DOUBLE_EQ(parseIsoDateTime("1970-01-01T01:00:00+01:00").value(), 0);
    EXPECT_DOUBLE_EQ(parseIsoDateTime("1969-12-31T23:59:59Z").value(), -1);
    EXPECT_DOUBLE_EQ(parseIsoDateTime("0001-01-01T00:00:00Z").value(), -62135596800);
}

TEST(IsoDateTime, GoesByTheCalendar) {
    EXPECT_DOUBLE_EQ(parseIsoDateTime("2000-02-29T00:00:00Z").value(), 951782400);
    EXPECT_DOUBLE_EQ(parseIsoDateTime("2000-03-01T00:00:00Z").value(), 951868800);
    EXPECT_DOUBLE_EQ(parseIsoDateTime("2016-12-31T23:59:60Z").value(), 1483228800);
    EXPECT_DOUBLE_EQ(parseIsoDateTime("2100-03-01T00:00:00Z").value(), 4107542400);
    EXPECT_DOUBLE_EQ(parseIsoDateTime("2023-12-31T24:00:00Z").value(), 1704067200);
    for (const char* const text :
         {"2023-02-29T00:00:00Z", "2100-02-29T00:00:00Z", "2024-04-31T00:00:00Z",
          "2024-00-01T00:00:00Z", "2024-01-00T00:00:00Z", "2024-13-01T00:00:00Z",
          "2024-01-01T25:00:00Z", "2024-01-01T24:00:01Z", "2024-01-01T00:60:00Z",
          "2024-01-01T00:00:61Z", "2024_01_01T00:00:00Z", "20240101T0001000000"})
        EXPECT_FALSE(parseIsoDateTime(text)) << text;
}

TEST(IsoDateTime, TakesTheZoneIntoAccount) {
    EXPECT_DOUBLE_EQ(parseIsoDateTime("2024-01-01T01:01:00+01:00").value(), 1704067260);
    EXPECT_DOUBLE_EQ(parseIsoDateTime("2023-12-31T18:31:00.5-0530").value(), 1704067260.5);
}

TEST(IsoDateTime, IsNothingForOtherText) {
    for (const char* const text :
         {"", "2024-01-01", "2024-01-01 00:01:00", "2024-01-01T00:01:00X", "2024-01-01T00:01:00+1",
          "2024-01-01T00:01:00.Z", "2024-01-01T00:01:00+01:0x", "2024-99-01T00:01:00Z"})
        EXPECT_FALSE(parseIsoDateTime(text)) << text;
}

TEST(IsoTimeTest, WritesTimesThatItReads) {
    EXPECT_EQ(hastool::isoDateTime(1700000000.25), "2023-11-14T22:13:20.250Z");
    EXPECT_EQ(hastool::isoDateTime(1699999999.9996), "2023-11-14T22:13:20.000Z");
    EXPECT_EQ(hastool::parseIsoDateTime(hastool::isoDateTime(1234.5)), 1234.5);
}
