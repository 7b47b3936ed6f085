#include <Hascommon/BitstreamBuilder.h>
#include <Hascommon/BitstreamReader.h>
#include <support/ExactBytes.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <utility>
#include <vector>

namespace {

using hascommon::BitstreamBuilder;
using test::ExactBytes;
using testing::ElementsAre;

BitstreamBuilder into(const ExactBytes& bytes) {
    BitstreamBuilder builder;
    builder.Reset(bytes.data(), bytes.intSize());
    return builder;
}

TEST(BitstreamBuilder, ThreeAndFiveBitsMakeAByte) {
    const ExactBytes bytes(1);
    BitstreamBuilder builder = into(bytes);
    builder.AddBits(5, 3);
    EXPECT_EQ(bytes[0], 0xA0);
    builder.AddBits(1, 5);
    EXPECT_EQ(bytes[0], 0xA1);
}

TEST(BitstreamBuilder, AFieldCrossesBytes) {
    const ExactBytes bytes(5);
    BitstreamBuilder builder = into(bytes);
    builder.AddBits(0xF, 4);
    builder.AddBits(0x12345678, 32);
    builder.AddBits(0xA, 4);
    EXPECT_THAT(bytes.copy(), ElementsAre(0xF1, 0x23, 0x45, 0x67, 0x8A));
}

TEST(BitstreamBuilder, UnwrittenBitsOfLaterBytesKeepTheirContent) {
    const ExactBytes bytes(3, 0xFF);
    BitstreamBuilder builder = into(bytes);
    builder.AddBits(0, 12);
    EXPECT_THAT(bytes.copy(), ElementsAre(0x00, 0x0F, 0xFF));
}

TEST(BitstreamBuilder, UnwrittenBitsOfTheFirstByteBecomeZero) {
    const ExactBytes bytes(1, 0xFF);
    BitstreamBuilder builder = into(bytes);
    builder.AddBits(1, 1);
    EXPECT_EQ(bytes[0], 0x80);
}

TEST(BitstreamBuilder, ZeroBitsStoreTheByteAsItStands) {
    const ExactBytes bytes(1, 0xFF);
    BitstreamBuilder builder = into(bytes);
    builder.AddBits(0, 0);
    EXPECT_EQ(bytes[0], 0x00);
    builder.AddBits(1, 1);
    EXPECT_EQ(bytes[0], 0x80);
}

TEST(BitstreamBuilder, ReplacesTheBitsItOverlays) {
    const ExactBytes bytes{0x00, 0xF0};
    BitstreamBuilder builder = into(bytes);
    builder.AddBits(0xAB, 8);
    builder.AddBits(0x3, 4);
    EXPECT_THAT(bytes.copy(), ElementsAre(0xAB, 0x30));
}

TEST(BitstreamBuilder, BitsAboveTheFieldFallOverWhatTheByteHolds) {
    const ExactBytes inside(1);
    BitstreamBuilder first = into(inside);
    first.AddBits(0, 3);
    first.AddBits(0xFF, 2);
    EXPECT_EQ(inside[0], 0xF8);
    const ExactBytes completing(1);
    BitstreamBuilder second = into(completing);
    second.AddBits(0, 3);
    second.AddBits(0xFF, 5);
    EXPECT_EQ(completing[0], 0xFF);
}

TEST(BitstreamBuilder, AFieldThatEndsTheRangeIsWrittenWhole) {
    const ExactBytes bytes(2);
    BitstreamBuilder builder = into(bytes);
    builder.AddBits(0xBEEF, 16);
    EXPECT_THAT(bytes.copy(), ElementsAre(0xBE, 0xEF));
    builder.AddBits(0xFF, 8);
    EXPECT_THAT(bytes.copy(), ElementsAre(0xBE, 0xEF));
}

TEST(BitstreamBuilder, WhatDoesNotFitIsDropped) {
    const ExactBytes bytes(1);
    BitstreamBuilder builder = into(bytes);
    builder.AddBits(0xABC, 12);
    EXPECT_EQ(bytes[0], 0xAB);
}

TEST(BitstreamBuilder, FieldsAbove32BitsStartWithZeros) {
    const ExactBytes bytes(6, 0xFF);
    BitstreamBuilder builder = into(bytes);
    builder.AddBits(0xFFFFFFFFU, 40);
    EXPECT_THAT(bytes.copy(), ElementsAre(0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF));
}

TEST(BitstreamBuilder, HugeCountsEndWithTheRangeAndNegativeOnesWriteNothing) {
    const ExactBytes bytes(2, 0x55);
    BitstreamBuilder builder = into(bytes);
    builder.AddBits(1, -1);
    builder.AddBits(1, INT_MIN);
    EXPECT_THAT(bytes.copy(), ElementsAre(0x55, 0x55));
    builder.AddBits(1, INT_MAX);
    EXPECT_THAT(bytes.copy(), ElementsAre(0x00, 0x00));
}

TEST(BitstreamBuilder, WithoutARangeEverythingIsDropped) {
    BitstreamBuilder builder;
    builder.AddBits(1, 8);
    builder.Reset(nullptr, 10);
    builder.AddBits(1, 8);
    const ExactBytes nothing(size_t{0});
    builder.Reset(nothing.data(), 0);
    builder.AddBits(1, 8);
    builder.Reset(nothing.data(), -1);
    builder.AddBits(1, 8);
}

TEST(BitstreamBuilder, ResetStartsOver) {
    const ExactBytes bytes(1);
    BitstreamBuilder builder = into(bytes);
    builder.AddBits(7, 3);
    builder.Reset(bytes.data(), 1);
    builder.AddBits(1, 2);
    EXPECT_EQ(bytes[0], 0x40);
}

TEST(BitstreamBuilder, WhatItWritesTheReaderReads) {
    std::mt19937 random(6); // the same run every time
    for (int round = 0; round < 2000; ++round) {
        const ExactBytes bytes(64);
        BitstreamBuilder builder = into(bytes);
        std::vector<std::pair<unsigned int, int>> fields;
        for (int total = 0; total < 512 - 32;) {
            const int n = static_cast<int>(random() % 33);
            const auto value = static_cast<unsigned int>((random() & 0xFFFFFFFFULL) >> (32 - n));
            fields.emplace_back(n == 0 ? 0 : value, n);
            builder.AddBits(fields.back().first, n);
            total += n;
        }
        hascommon::BitstreamReader reader;
        reader.Reset(bytes.data(), bytes.intSize());
        for (const auto& [value, n] : fields) {
            unsigned int read = ~value;
            reader.GetBits(n, read);
            ASSERT_EQ(read, value) << n;
        }
    }
}

} // namespace
