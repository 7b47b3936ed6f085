#include <Hasutil/detail/ByteReader.h>

#include <support/ExactBytes.h>

#include <vector>

#include <gtest/gtest.h>

namespace {

using hascommon::detail::ByteReader;
using test::ExactBytes;

/// The bytes 1, 2, 3 and so on.
ExactBytes counting(size_t size) {
    std::vector<unsigned char> bytes;
    while (bytes.size() < size)
        bytes.push_back(static_cast<unsigned char>(bytes.size() + 1));
    return ExactBytes(bytes);
}

TEST(ByteReader, ReadsBigEndianFieldsOneBehindAnother) {
    const ExactBytes bytes = counting(18);
    ByteReader reader(bytes.data(), bytes.size());
    unsigned int value = 0;
    unsigned long long wide = 0;
    EXPECT_TRUE(reader.u8(value));
    EXPECT_EQ(value, 0x01U);
    EXPECT_TRUE(reader.u16(value));
    EXPECT_EQ(value, 0x0203U);
    EXPECT_TRUE(reader.u24(value));
    EXPECT_EQ(value, 0x040506U);
    EXPECT_TRUE(reader.u32(value));
    EXPECT_EQ(value, 0x0708090AU);
    EXPECT_TRUE(reader.u64(wide));
    EXPECT_EQ(wide, 0x0B0C0D0E0F101112ULL);
    EXPECT_EQ(reader.at(), 18U);
    EXPECT_EQ(reader.left(), 0U);
}

TEST(ByteReader, ReadsTheTopBit) {
    const ExactBytes bytes(8, 0xFF);
    unsigned int value = 0;
    unsigned long long wide = 0;
    EXPECT_TRUE(ByteReader(bytes.data(), 8).u32(value));
    EXPECT_EQ(value, 0xFFFFFFFFU);
    EXPECT_TRUE(ByteReader(bytes.data(), 8).u64(wide));
    EXPECT_EQ(wide, ~0ULL);
}

/// One byte is left at most, and less than each operation asks for.
TEST(ByteReader, WhatDoesNotFitChangesNothing) {
    const ExactBytes bytes = counting(5);
    unsigned int value = 77;
    unsigned long long wide = 77;
    unsigned char copied[2] = {7, 7};
    ByteReader part(bytes.data(), 3);
    ByteReader reader(bytes.data(), bytes.size());
    ASSERT_TRUE(reader.skip(4));
    EXPECT_FALSE(reader.u16(value));
    EXPECT_FALSE(reader.u24(value));
    EXPECT_FALSE(reader.u32(value));
    EXPECT_FALSE(reader.u64(wide));
    EXPECT_FALSE(reader.skip(2));
    EXPECT_FALSE(reader.skip(~0ULL));
    EXPECT_FALSE(reader.take(2, part));
    EXPECT_FALSE(reader.copy(copied, 2));
    EXPECT_EQ(reader.at(), 4U);
    EXPECT_TRUE(reader.u8(value));
    EXPECT_EQ(value, 5U);
    EXPECT_FALSE(reader.u8(value));
    EXPECT_EQ(value, 5U);
    EXPECT_EQ(wide, 77U);
    EXPECT_EQ(copied[0], 7);
    EXPECT_EQ(part.left(), 3U);
}

TEST(ByteReader, APartEndsWhereItWasTakenTo) {
    const ExactBytes bytes = counting(6);
    ByteReader reader(bytes.data(), bytes.size());
    ByteReader part;
    unsigned int value = 0;
    ASSERT_TRUE(reader.skip(1));
    ASSERT_TRUE(reader.take(2, part));
    EXPECT_FALSE(part.u24(value));
    EXPECT_TRUE(part.u16(value));
    EXPECT_EQ(value, 0x0203U);
    EXPECT_EQ(reader.at(), 3U);
    EXPECT_EQ(reader.rest().at(), 0U);
    EXPECT_EQ(reader.rest().left(), 3U);
}

TEST(ByteReader, WithoutBytesNothingIsRead) {
    ByteReader reader;
    ByteReader part;
    unsigned int value = 3;
    EXPECT_FALSE(reader.u8(value));
    EXPECT_TRUE(reader.skip(0));
    EXPECT_TRUE(reader.take(0, part));
    EXPECT_EQ(value, 3U);
}

} // namespace
