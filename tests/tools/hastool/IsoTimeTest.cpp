#include <hastool/engine/IsoTime.h>

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
