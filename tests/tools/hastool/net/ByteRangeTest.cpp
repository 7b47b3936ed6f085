#include <hastool/base/Number.h>
#include <hastool/net/ByteRange.h>

#include <gtest/gtest.h>

using hastool::ByteRange;
using hastool::parseDecimal;
using hastool::parseRange;
using hastool::parseUnsigned;
using hastool::rangeText;

TEST(ByteRange, IsReadWithAndWithoutAnEnd) {
    EXPECT_EQ(parseRange("0-0"), (ByteRange{0, 1}));
    EXPECT_EQ(parseRange("100-199"), (ByteRange{100, 100}));
    EXPECT_EQ(parseRange("100-"), (ByteRange{100, std::nullopt}));
}

TEST(ByteRange, RefusesWhatIsNoRange) {
    for (const char* text : {"", "-", "5", "-5", "5-4", "a-b", "1-2-3", " 1-2", "1-2 ",
                             "0-18446744073709551615", "99999999999999999999-"})
        EXPECT_FALSE(parseRange(text)) << text;
}

TEST(ByteRange, IsWrittenAsItIsRead) {
    EXPECT_EQ(rangeText({100, 100}), "100-199");
    EXPECT_EQ(rangeText({100, std::nullopt}), "100-");
    EXPECT_EQ(rangeText(*parseRange("0-18446744073709551614")), "0-18446744073709551614");
}

TEST(Number, IsTheWholeTextOrNothing) {
    EXPECT_EQ(parseUnsigned("0"), 0U);
    EXPECT_EQ(parseUnsigned("18446744073709551615"), 18446744073709551615U);
    for (const char* text : {"", "+1", "-1", "1 ", "0x1", "18446744073709551616"})
        EXPECT_FALSE(parseUnsigned(text)) << text;
    EXPECT_EQ(parseDecimal("9.5"), 9.5);
    EXPECT_EQ(parseDecimal("10"), 10);
    for (const char* text : {"", "-1", "-0", "nan", "inf", "1e5", "1.0x", "9,5"})
        EXPECT_FALSE(parseDecimal(text)) << text;
}
