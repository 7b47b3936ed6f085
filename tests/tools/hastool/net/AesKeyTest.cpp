#include <hastool/net/AesKey.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using hastool::AesBytes;
using hastool::ivOfSequence;
using hastool::parseAesBytes;
using hastool::parseIvAttribute;
using testing::ElementsAre;

namespace {

const AesBytes kCounted = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                           0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};

} // namespace

TEST(AesKey, IsReadInEitherCaseWithAndWithoutItsPrefix) {
    for (const char* text :
         {"00112233445566778899aabbccddeeff", "00112233445566778899AABBCCDDEEFF",
          "0x00112233445566778899aAbBcCdDeEfF", "0X00112233445566778899aabbccddeeff"})
        EXPECT_EQ(parseAesBytes(text), kCounted) << text;
}

TEST(AesKey, IsRefusedUnlessItHas32Digits) {
    for (const std::string& text :
         {std::string(), std::string("0x"), std::string(31, '1'), std::string(33, '1'),
          std::string(64, '1'), "0x" + std::string(30, '1'), std::string(31, '1') + "g",
          std::string(31, '1') + " ", " " + std::string(32, '1'), "0x0x" + std::string(28, '1'),
          std::string(31, '1') + '\0', std::string(30, '1') + "\xC3\xA9"})
        EXPECT_FALSE(parseAesBytes(text)) << text;
}

TEST(AesKey, TheAttributeOfAPlaylistIsANumber) {
    EXPECT_EQ(parseIvAttribute("0x00112233445566778899aabbccddeeff"), kCounted);
    EXPECT_THAT(parseIvAttribute("0X102").value(),
                ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2));
    EXPECT_THAT(parseIvAttribute("0xA").value(),
                ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 10));
}

TEST(AesKey, TheAttributeOfAPlaylistNeedsItsPrefixAndDigits) {
    for (const std::string& text :
         {std::string(), std::string("0x"), std::string("12"), "0x" + std::string(33, '0'),
          std::string("0x1g"), std::string("0x 1"), std::string("x1")})
        EXPECT_FALSE(parseIvAttribute(text)) << text;
}

TEST(AesKey, ASequenceNumberIsBigEndian) {
    EXPECT_THAT(ivOfSequence(7794),
                ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x1E, 0x72));
    EXPECT_THAT(ivOfSequence(0x0102030405060708),
                ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_EQ(ivOfSequence(0), AesBytes());
}
