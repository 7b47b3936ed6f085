#include <Hascommon/BitstreamReader.h>
#include <support/ExactBytes.h>
#include <support/PlainBitReader.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <random>

namespace {

using hascommon::BitstreamReader;
using test::ExactBytes;
using test::PlainBitReader;

constexpr unsigned int kUntouched = 0xDEADBEEFU;

BitstreamReader over(const ExactBytes& bytes) {
    BitstreamReader reader;
    reader.Reset(bytes.data(), bytes.intSize());
    return reader;
}

unsigned int take(BitstreamReader& reader, int n) {
    unsigned int value = kUntouched;
    reader.GetBits(n, value);
    return value;
}

unsigned long long takeLong(BitstreamReader& reader, int n) {
    unsigned long long value = kUntouched;
    reader.GetBits(n, value);
    return value;
}

TEST(BitstreamReader, TwelveBitsLeaveFourInTheSecondByte) {
    const ExactBytes bytes{0xAB, 0xCD};
    BitstreamReader reader = over(bytes);
    EXPECT_EQ(take(reader, 12), 0xABCU);
    EXPECT_EQ(take(reader, 5), kUntouched);
    EXPECT_EQ(take(reader, 4), 0xDU);
}

TEST(BitstreamReader, EightBitsOfAPartlyReadLastByteAreRefused) {
    const ExactBytes bytes{0x5A};
    BitstreamReader reader = over(bytes);
    EXPECT_EQ(take(reader, 1), 0U);
    EXPECT_EQ(take(reader, 8), kUntouched);
    EXPECT_EQ(take(reader, 7), 0x5AU);
}

TEST(BitstreamReader, NothingIsReadAtTheEnd) {
    const ExactBytes bytes{0xFF};
    BitstreamReader reader = over(bytes);
    EXPECT_EQ(take(reader, 8), 0xFFU);
    EXPECT_EQ(take(reader, 1), kUntouched);
    EXPECT_EQ(take(reader, 0), kUntouched);
}

TEST(BitstreamReader, ZeroBitsBeforeTheEndGiveZero) {
    const ExactBytes bytes{0xFF};
    BitstreamReader reader = over(bytes);
    EXPECT_EQ(take(reader, 0), 0U);
    EXPECT_EQ(take(reader, 8), 0xFFU);
}

TEST(BitstreamReader, ThirtyTwoBitsAtEveryOffset) {
    const ExactBytes bytes{0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0, 0x11, 0x22};
    for (int offset = 0; offset <= 40; ++offset) {
        BitstreamReader reader = over(bytes);
        reader.SkipBits(offset);
        uint64_t window = 0;
        for (size_t i = 0; i < 5; ++i)
            window = window << 8 | bytes[static_cast<size_t>(offset / 8) + i];
        EXPECT_EQ(take(reader, 32), static_cast<unsigned int>(window >> (8 - offset % 8)))
            << offset;
    }
}

TEST(BitstreamReader, SignedReadHasTheSamePatternAndNoSignOfShortFields) {
    const ExactBytes bytes{0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    BitstreamReader reader = over(bytes);
    int value = 0;
    reader.GetBits(7, value);
    EXPECT_EQ(value, 127);
    reader.GetBits(32, value);
    EXPECT_EQ(value, -1);
    value = 42;
    reader.GetBits(2, value);
    EXPECT_EQ(value, 42);
}

TEST(BitstreamReader, LongReadIsExactUpTo31Bits) {
    const ExactBytes bytes{0xFF, 0xFF, 0xFF, 0xFF};
    BitstreamReader reader = over(bytes);
    EXPECT_EQ(takeLong(reader, 31), 0x7FFFFFFFU);
}

TEST(BitstreamReader, LongReadOf32OnesSetsAll64Bits) {
    const ExactBytes bytes{0xFF, 0xFF, 0xFF, 0xFF};
    BitstreamReader reader = over(bytes);
    EXPECT_EQ(takeLong(reader, 32), ~0ULL);
}

TEST(BitstreamReader, LongReadOf32BitsWithAClearTopBitIsNotExtended) {
    const ExactBytes bytes{0x7F, 0xFF, 0xFF, 0xFF};
    BitstreamReader reader = over(bytes);
    EXPECT_EQ(takeLong(reader, 32), 0x7FFFFFFFU);
}

TEST(BitstreamReader, LongReadLosesWhatIsShiftedBy32AndMore) {
    const ExactBytes bytes{0xFF, 0x01, 0x02, 0x03, 0x04};
    BitstreamReader reader = over(bytes);
    EXPECT_EQ(takeLong(reader, 40), 0x01020304U);
}

TEST(BitstreamReader, LongReadAtTheEndIsUntouched) {
    const ExactBytes bytes{0xFF};
    BitstreamReader reader = over(bytes);
    EXPECT_EQ(takeLong(reader, 9), kUntouched);
}

TEST(BitstreamReader, MoreThan32BitsGiveTheLow32AndConsumeAll) {
    const ExactBytes bytes{0xFF, 0xEE, 0x01, 0x02, 0x03, 0x04, 0x99, 0x88, 0x77, 0x66};
    BitstreamReader reader = over(bytes);
    EXPECT_EQ(take(reader, 48), 0x01020304U);
    EXPECT_EQ(take(reader, 8), 0x99U);
}

TEST(BitstreamReader, NegativeAndHugeCountsReadNothing) {
    const ExactBytes bytes{0xA0, 0x00};
    BitstreamReader reader = over(bytes);
    for (const int n : {-1, INT_MIN, INT_MAX, 17}) {
        EXPECT_EQ(take(reader, n), kUntouched) << n;
        reader.SkipBits(n);
        reader.SkipBytes(n);
    }
    EXPECT_EQ(take(reader, 4), 0xAU);
}

TEST(BitstreamReader, WithoutARangeNothingIsRead) {
    BitstreamReader never;
    EXPECT_EQ(take(never, 0), kUntouched);
    BitstreamReader reader;
    reader.Reset(nullptr, 10);
    EXPECT_EQ(take(reader, 0), kUntouched);
    EXPECT_EQ(take(reader, 1), kUntouched);
    reader.SkipBits(1);
    reader.SkipBytes(1);
    EXPECT_EQ(take(reader, 1), kUntouched);
}

TEST(BitstreamReader, EmptyAndNegativeRangesHoldNothing) {
    const ExactBytes bytes(size_t{0});
    for (const int size : {0, -1, INT_MIN}) {
        BitstreamReader reader;
        reader.Reset(bytes.data(), size);
        EXPECT_EQ(take(reader, 1), kUntouched);
    }
}

TEST(BitstreamReader, SeesWhatTheOwnerWritesMeanwhile) {
    const ExactBytes bytes{0x00, 0x00};
    BitstreamReader reader = over(bytes);
    bytes[0] = 0x80;
    EXPECT_EQ(take(reader, 1), 1U);
}

TEST(BitstreamReader, SkipWithinTheByte) {
    const ExactBytes bytes{0x0F};
    BitstreamReader reader = over(bytes);
    reader.SkipBits(4);
    EXPECT_EQ(take(reader, 4), 0xFU);
}

TEST(BitstreamReader, SkipAcrossBytes) {
    const ExactBytes bytes{0x00, 0x00, 0x1F};
    BitstreamReader reader = over(bytes);
    reader.SkipBits(3);
    reader.SkipBits(16);
    EXPECT_EQ(take(reader, 5), 0x1FU);
}

TEST(BitstreamReader, SkipToTheVeryEndIsDone) {
    const ExactBytes bytes{0x00, 0xFF};
    BitstreamReader reader = over(bytes);
    reader.SkipBits(16);
    EXPECT_EQ(take(reader, 1), kUntouched);
    reader.SkipBits(1);
}

TEST(BitstreamReader, SkipPastTheEndIsIgnoredNotClamped) {
    const ExactBytes bytes{0x00, 0xFF};
    BitstreamReader reader = over(bytes);
    reader.SkipBits(17);
    EXPECT_EQ(take(reader, 16), 0xFFU);
}

TEST(BitstreamReader, SkipOfNoBitsOrFewerDoesNothing) {
    const ExactBytes bytes{0x80};
    BitstreamReader reader = over(bytes);
    reader.SkipBits(0);
    reader.SkipBits(-8);
    EXPECT_EQ(take(reader, 1), 1U);
}

TEST(BitstreamReader, SkipBytesAbandonsThePartlyReadByte) {
    const ExactBytes bytes{0xFF, 0x00, 0xA5};
    BitstreamReader reader = over(bytes);
    EXPECT_EQ(take(reader, 3), 7U);
    reader.SkipBytes(2);
    EXPECT_EQ(take(reader, 8), 0xA5U);
}

TEST(BitstreamReader, SkipBytesLeavesAtLeastOneByte) {
    const ExactBytes bytes{0x12, 0x34};
    BitstreamReader reader = over(bytes);
    reader.SkipBytes(2);
    EXPECT_EQ(take(reader, 8), 0x12U);
    reader.SkipBytes(1);
    EXPECT_EQ(take(reader, 8), 0x34U);
    reader.SkipBytes(0);
    reader.SkipBytes(-1);
}

void compareOneOperation(BitstreamReader& reader, PlainBitReader& plain, int what, int n) {
    unsigned int expected = 0;
    switch (what) {
    case 0: {
        const bool read = plain.get(n, expected);
        EXPECT_EQ(take(reader, n), read ? expected : kUntouched);
        break;
    }
    case 1: {
        const bool read = plain.get(n, expected);
        const auto extended = static_cast<unsigned long long>(static_cast<int>(expected));
        EXPECT_EQ(takeLong(reader, n), read ? extended : kUntouched);
        break;
    }
    case 2:
        reader.SkipBits(n);
        plain.skipBits(n);
        break;
    default:
        reader.SkipBytes(n / 8);
        plain.skipBytes(n / 8);
    }
}

TEST(BitstreamReader, EqualsABitByBitModelOverRandomOperations) {
    std::mt19937 random(5); // the same run every time
    for (int round = 0; round < 3000; ++round) {
        const ExactBytes bytes(random() % 40);
        for (size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<unsigned char>(random());
        BitstreamReader reader = over(bytes);
        PlainBitReader plain(bytes);
        for (int step = 0; step < 40; ++step)
            compareOneOperation(reader, plain, static_cast<int>(random() % 4),
                                static_cast<int>(random() % 44) - 2);
    }
}

} // namespace
