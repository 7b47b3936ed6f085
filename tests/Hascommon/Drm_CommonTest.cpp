#include <Hascommon/Drm_Common.h>
#include <support/ExactBytes.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using test::ExactBytes;
using testing::Each;
using testing::ElementsAre;

std::string toHex(std::string bytes) {
    const ExactBytes out(2 * bytes.size());
    byteToHexString(bytes.data(), reinterpret_cast<char*>(out.data()),
                    static_cast<unsigned int>(bytes.size()));
    return {out.data(), out.data() + out.size()};
}

/// The buffer after hexStringToByte(), and how many bytes it says it wrote.
struct Read {
    std::vector<unsigned char> bytes;
    unsigned int count;
};

Read read(const std::string& text, size_t size) {
    const ExactBytes out(size, 0xEE);
    const unsigned int count = hexStringToByte(text, out.data(), out.uintSize());
    return {out.copy(), count};
}

TEST(DrmCommon, BytesBecomeUpperCaseDigits) {
    EXPECT_EQ(toHex("\xAB\x05"), "AB05");
    EXPECT_EQ(toHex(std::string("\x01\x23\x45\x67\x89\xCD\xEF\x00\xFF", 9)), "0123456789CDEF00FF");
}

TEST(DrmCommon, NoTerminatorFollowsTheDigits) {
    char bytes[] = {'\xAB', '\x05'};
    char out[6];
    memset(out, '#', sizeof out);
    byteToHexString(bytes, out, 2);
    EXPECT_EQ(std::string(out, sizeof out), "AB05##");
}

TEST(DrmCommon, NoBytesBecomeNoDigits) {
    byteToHexString(nullptr, nullptr, 0);
    EXPECT_EQ(toHex(""), "");
}

TEST(DrmCommon, DigitsMayTakeThePlaceOfTheBytes) {
    char text[8] = {'\x01', '\x23', '\xFE', '\xDC'};
    byteToHexString(text, text, 4);
    EXPECT_EQ(std::string(text, 8), "0123FEDC");
}

TEST(DrmCommon, TextIsRightAligned) {
    const Read short_ = read("0X0102", 16);
    EXPECT_EQ(short_.count, 2U);
    std::vector<unsigned char> expected(16, 0);
    expected[14] = 1;
    expected[15] = 2;
    EXPECT_EQ(short_.bytes, expected);
}

TEST(DrmCommon, TextIsReadWithAndWithoutItsPrefix) {
    for (const char* text : {"a1b2", "0xa1b2", "0Xa1b2", "A1B2", "0xA1b2"}) {
        EXPECT_EQ(read(text, 2).count, 2U) << text;
        EXPECT_THAT(read(text, 2).bytes, ElementsAre(0xA1, 0xB2)) << text;
    }
    // Anywhere else an x is a character: 33 from its place in the alphabet.
    EXPECT_THAT(read("00x1", 2).bytes, ElementsAre(0, (33 * 16 + 1) & 0xFF));
}

TEST(DrmCommon, FewerThanTwoDigitsYieldNothingButZeros) {
    for (const char* text : {"", "5", "0x", "0X", "0x5", "x"}) {
        EXPECT_EQ(read(text, 4).count, 0U) << text;
        EXPECT_THAT(read(text, 4).bytes, Each(0)) << text;
    }
    EXPECT_EQ(read("00", 4).count, 1U);
}

TEST(DrmCommon, AnOddFirstDigitIsIgnored) {
    EXPECT_EQ(read("0x123", 2).count, 1U);
    EXPECT_THAT(read("0x123", 2).bytes, ElementsAre(0, 0x23));
    EXPECT_THAT(read("12345", 3).bytes, ElementsAre(0, 0x23, 0x45));
}

TEST(DrmCommon, DigitsBeyondTheBufferAreIgnored) {
    EXPECT_EQ(read("0x0102030405", 2).count, 2U);
    EXPECT_THAT(read("0x0102030405", 2).bytes, ElementsAre(4, 5));
    EXPECT_EQ(hexStringToByte("0102", nullptr, 0), 0U);
}

TEST(DrmCommon, EveryDigitOfEitherCaseIsRead) {
    EXPECT_THAT(read("0123456789abcdefABCDEF", 11).bytes,
                ElementsAre(0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF));
}

TEST(DrmCommon, OtherCharactersCountByTheirDistance) {
    const struct {
        const char* text;
        int high;
        int low;
    } rows[] = {
        {"g0", 16, 0}, // behind the letters: 'g' - 'a' + 10
        {"0G", 0, 16}, // in lower case first
        {"1g", 1, 16}, // carries into the left digit
        {"zz", 35, 35},
        {"  ", ' ' - '0', ' ' - '0'}, // below '0'
        {"0/", 0, -1},
        {":0", 10, 0}, // between the digits and the letters
        {"[`", '[' - '0', '`' - '0'},
        {"{~", '{' - 'a' + 10, '~' - 'a' + 10},
        {"\xFF\x80", 0xFF - 'a' + 10, 0x80 - 'a' + 10},
    };
    for (const auto& row : rows) {
        const int expected = (row.high * 16 + row.low) & 0xFF;
        EXPECT_THAT(read(row.text, 1).bytes, ElementsAre(expected)) << row.text;
    }
}

TEST(DrmCommon, ZeroBytesInTheTextAreCharacters) {
    EXPECT_THAT(read(std::string("\0\0", 2), 1).bytes, ElementsAre((-48 * 17) & 0xFF));
}

TEST(DrmCommon, BytesAndTextAreEachOthersInverse) {
    std::string all;
    for (int i = 0; i < 256; ++i)
        all += static_cast<char>(i);
    const std::vector<unsigned char> bytes = read(toHex(all), 256).bytes;
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), all);
}

TEST(DrmCommon, TheTargetIsLittleEndian) {
    EXPECT_TRUE(IsLittleEndian());
}

TEST(DrmCommon, SwapReversesTheBytes) {
    EXPECT_EQ(swapByteOrder(0x01020304), 0x04030201U);
    EXPECT_EQ(swapByteOrder(0xFF000080), 0x800000FFU);
    EXPECT_EQ(swapByteOrder(swapByteOrder(0x12345678)), 0x12345678U);
}

TEST(DrmCommon, ASequenceNumberIsBigEndianAtTheEnd) {
    const ExactBytes iv(16, 0xEE);
    sequenceToiv(16909060, iv.data(), 16);
    EXPECT_THAT(iv.copy(), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4));
    sequenceToiv(0xFFFFFFFF, iv.data(), 16);
    EXPECT_THAT(iv.copy(), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255, 255));
    sequenceToiv(0, iv.data(), 16);
    EXPECT_THAT(iv.copy(), Each(0));
}

TEST(DrmCommon, ASequenceNumberFitsAnyBuffer) {
    const ExactBytes four(4, 0xEE);
    sequenceToiv(0x01020304, four.data(), 4);
    EXPECT_THAT(four.copy(), ElementsAre(1, 2, 3, 4));
    const ExactBytes two(2, 0xEE);
    sequenceToiv(0x01020304, two.data(), 2);
    EXPECT_THAT(two.copy(), ElementsAre(3, 4));
    sequenceToiv(0x01020304, nullptr, 0);
}

TEST(DrmCommon, AVectorIsReadFromText) {
    const ExactBytes iv(16, 0xEE);
    EXPECT_EQ(stringToiv("0x00000000000000000000014BB69D61E4", iv.data(), 16), 16U);
    EXPECT_THAT(iv.copy(),
                ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0x4B, 0xB6, 0x9D, 0x61, 0xE4));
    EXPECT_EQ(stringToiv("3334", iv.data(), 16), 2U);
    EXPECT_EQ(iv[13], 0);
    EXPECT_EQ(iv[14], 0x33);
    EXPECT_EQ(stringToiv("7", iv.data(), 16), 0U);
    EXPECT_THAT(iv.copy(), Each(0));
}

} // namespace
