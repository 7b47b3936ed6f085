#include <hastool/base/PercentCoding.h>

#include <string>

#include <gtest/gtest.h>

using hastool::percentDecoded;
using hastool::percentEncoded;

TEST(PercentCoding, EscapesBecomeTheirBytes) {
    EXPECT_EQ(percentDecoded("%41%c3%A4b"), "A\xC3\xA4"
                                            "b");
    EXPECT_EQ(percentDecoded("a%00b"), std::string("a\0b", 3));
    EXPECT_EQ(percentDecoded("a+b"), "a+b");
    EXPECT_EQ(percentDecoded(""), "");
}

TEST(PercentCoding, WhatIsNoEscapeStays) {
    for (const char* const text : {"%", "%4", "%4g", "%g4", "100%", "%%"})
        EXPECT_EQ(percentDecoded(text), text);
    EXPECT_EQ(percentDecoded("%%41"), "%A");
}

TEST(PercentCoding, EveryByteComesBack) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    EXPECT_EQ(percentDecoded(percentEncoded(all)), all);
    EXPECT_EQ(percentDecoded(percentEncoded(all, "/:")), all);
}

TEST(PercentCoding, LettersDigitsAndFourMarksStandForThemselves) {
    EXPECT_EQ(percentEncoded("aZ09-._~"), "aZ09-._~");
    EXPECT_EQ(percentEncoded("a b/c\xFF"), "a%20b%2Fc%FF");
    EXPECT_EQ(percentEncoded("a b/c", "/"), "a%20b/c");
}
