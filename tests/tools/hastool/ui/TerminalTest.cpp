#include <hastool/base/Quantities.h>
#include <hastool/ui/Terminal.h>

#include <gtest/gtest.h>

using namespace hastool;

TEST(Terminal, WritesSizesRatesAndTimesWithUnits) {
    EXPECT_EQ(sizeText(0), "0 B");
    EXPECT_EQ(sizeText(999), "999 B");
    EXPECT_EQ(sizeText(1500), "1.5 kB");
    EXPECT_EQ(sizeText(2500000), "2.50 MB");
    EXPECT_EQ(sizeText(3.5e9), "3.50 GB");
    EXPECT_EQ(rateText(640000), "640 kbit/s");
    EXPECT_EQ(rateText(1250000), "1.25 Mbit/s");
    EXPECT_EQ(secondsText(12.34), "12.3 s");
}

TEST(Terminal, PadsOnEitherSide) {
    EXPECT_EQ(padded("ab", 4), "ab  ");
    EXPECT_EQ(padded("ab", 4, true), "  ab");
    EXPECT_EQ(padded("abcde", 4), "abcde");
}

TEST(Terminal, PrintsWholeLinesElsewhere) {
    testing::internal::CaptureStderr();
    {
        Terminal terminal(false);
        terminal.live("changing");
        terminal.line("one");
        terminal.trouble("two");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "one\nhastool: two\n");
}

TEST(Terminal, ShowsOnlyTroubleWhenQuiet) {
    testing::internal::CaptureStderr();
    {
        Terminal terminal(true);
        terminal.line("one");
        terminal.trouble("two");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "hastool: two\n");
}
