#include <Hasutil/H264_SyntaxReader.h>
#include <support/BitString.h>
#include <support/ExactBytes.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <random>
#include <type_traits>
#include <vector>

namespace {

using hascommon::H264_SyntaxReader;
using hascommon::Packet;
using hascommon::read_scaling_list;
using test::BitString;
using test::ExactBytes;
using testing::ElementsAre;

/// A reader over bytes of its own.
class Source {
public:
    explicit Source(ExactBytes bytes)
        : m_bytes(std::move(bytes)) {
        m_packet.SetPtr(m_bytes.data(), m_bytes.uintSize());
    }
    explicit Source(const BitString& bits)
        : Source(ExactBytes(bits.bytes())) {}

    H264_SyntaxReader& operator*() { return m_reader; }
    H264_SyntaxReader* operator->() { return &m_reader; }
    Packet& packet() { return m_packet; }

    /// All bytes up to the end.
    std::vector<int> rest() {
        std::vector<int> out;
        unsigned char byte = 0;
        while (m_reader.Increment(byte) == 0)
            out.push_back(byte);
        return out;
    }

private:
    ExactBytes m_bytes;
    Packet m_packet;
    H264_SyntaxReader m_reader{&m_packet};
};

TEST(H264SyntaxReader, HasAVirtualDestructor) {
    EXPECT_TRUE(std::has_virtual_destructor_v<H264_SyntaxReader>);
}

TEST(H264SyntaxReader, PlainBytesComeAsTheyAre) {
    Source source({0x01, 0x03, 0x00, 0x03, 0xFF});
    EXPECT_THAT(source.rest(), ElementsAre(0x01, 0x03, 0x00, 0x03, 0xFF));
}

TEST(H264SyntaxReader, TheThreeBehindTwoZerosIsDropped) {
    Source source({0x00, 0x00, 0x03, 0x01});
    EXPECT_THAT(source.rest(), ElementsAre(0x00, 0x00, 0x01));
}

TEST(H264SyntaxReader, TheByteBehindADroppedThreeIsNotCountedAsAZero) {
    Source source({0x00, 0x00, 0x03, 0x00, 0x00, 0x03});
    EXPECT_THAT(source.rest(), ElementsAre(0x00, 0x00, 0x00, 0x00, 0x03));
}

TEST(H264SyntaxReader, TheByteBehindADroppedThreeMayBeAThree) {
    Source source({0x00, 0x00, 0x03, 0x03, 0x03});
    EXPECT_THAT(source.rest(), ElementsAre(0x00, 0x00, 0x03, 0x03));
}

TEST(H264SyntaxReader, AThirdZeroRestartsTheCount) {
    Source three({0x00, 0x00, 0x00, 0x03, 0x09});
    EXPECT_THAT(three.rest(), ElementsAre(0x00, 0x00, 0x00, 0x03, 0x09));
    Source five({0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x09});
    EXPECT_THAT(five.rest(), ElementsAre(0x00, 0x00, 0x00, 0x00, 0x00, 0x09));
}

TEST(H264SyntaxReader, AnyOtherByteEndsTheRunOfZeros) {
    Source source({0x00, 0x05, 0x00, 0x03});
    EXPECT_THAT(source.rest(), ElementsAre(0x00, 0x05, 0x00, 0x03));
}

TEST(H264SyntaxReader, NoByteBehindADroppedThreeIsTheEnd) {
    Source source({0x00, 0x00, 0x03});
    unsigned char byte = 9;
    source->Increment(byte);
    source->Increment(byte);
    byte = 9;
    EXPECT_EQ(source->Increment(byte), -9);
    EXPECT_EQ(byte, 0);
    EXPECT_EQ(source->Increment(byte), -9);
}

TEST(H264SyntaxReader, ReadsFromThePacketsDataPositionAndMovesIt) {
    Source source({0x11, 0x22, 0x33});
    source.packet().SetDataPos(1);
    unsigned char byte = 0;
    EXPECT_EQ(source->Increment(byte), 0);
    EXPECT_EQ(byte, 0x22);
    EXPECT_EQ(source.packet().GetDataSize(), 1);
}

TEST(H264SyntaxReader, NothingIsReadOutsideThePacket) {
    Source source({0x11, 0x22});
    unsigned char byte = 9;
    for (const int position : {2, 3, 1000, INT_MAX, -1, -1000, INT_MIN}) {
        source.packet().SetDataPos(position);
        EXPECT_EQ(source->Increment(byte), -9) << position;
        EXPECT_EQ(byte, 0);
    }
}

TEST(H264SyntaxReader, NoPacketAndNoBytesAreTheEnd) {
    unsigned char byte = 9;
    EXPECT_EQ(H264_SyntaxReader(nullptr).Increment(byte), -9);
    Packet packet;
    EXPECT_EQ(H264_SyntaxReader(&packet).Increment(byte), -9);
    packet.SetPtr(nullptr, 5);
    EXPECT_EQ(H264_SyntaxReader(&packet).Increment(byte), -9);
}

TEST(H264SyntaxReader, LoadByteFetchesOnlyWhenTheByteIsUsedUp) {
    Source source({0x80, 0x00});
    EXPECT_EQ(source->LoadByte(), 0);
    EXPECT_EQ(source->LoadByte(), 0);
    EXPECT_EQ(source.packet().GetDataSize(), 1);
    EXPECT_EQ(source->GetBitIncrement(), 1U);
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(source->GetBitIncrement(), 0U);
    EXPECT_EQ(source->LoadByte(), 0);
    EXPECT_EQ(source.packet().GetDataSize(), 0);
}

TEST(H264SyntaxReader, LoadByteAtTheEndFailsOnceAndStandsAtAZeroByte) {
    Source source(ExactBytes(size_t{0}));
    EXPECT_EQ(source->LoadByte(), -9);
    EXPECT_EQ(source->LoadByte(), 0);
    EXPECT_EQ(source->GetBitIncrement(), 0U);
}

TEST(H264SyntaxReader, ABitWithoutALoadedByteIsZero) {
    Source source({0xFF});
    EXPECT_EQ(source->GetBitIncrement(), 0U);
    EXPECT_EQ(source->LoadByte(), 0);
    EXPECT_EQ(source->GetBitIncrement(), 1U);
}

TEST(H264SyntaxReader, GolombLengthCountsTheZerosAndTakesTheOne) {
    Source source({0x10, 0x00, 0x01});
    int zeros = 99;
    EXPECT_EQ(source->CountGolombLength(zeros), 0);
    EXPECT_EQ(zeros, 3);
    EXPECT_EQ(source->CountGolombLength(zeros), 0);
    EXPECT_EQ(zeros, 4 + 8 + 7);
}

TEST(H264SyntaxReader, GolombLengthFailsWhereTheDataEnds) {
    Source source({0x00, 0x00});
    int zeros = 99;
    EXPECT_EQ(source->CountGolombLength(zeros), -1);
    EXPECT_EQ(zeros, 99);
}

TEST(H264SyntaxReader, FieldsOfAnyLength) {
    Source source({0xA5, 0x12, 0x34, 0x56, 0x78, 0x9A});
    unsigned int value = 0;
    EXPECT_EQ(source->ReadU(4, value), 0);
    EXPECT_EQ(value, 0xAU);
    EXPECT_EQ(source->ReadU(32, value), 0);
    EXPECT_EQ(value, 0x51234567U);
    EXPECT_EQ(source->ReadU(1, value), 0);
    EXPECT_EQ(value, 1U);
}

TEST(H264SyntaxReader, NoBitsGiveZeroEvenAtTheEnd) {
    Source source(ExactBytes(size_t{0}));
    unsigned int value = 9;
    EXPECT_EQ(source->ReadU(0, value), 0);
    EXPECT_EQ(value, 0U);
}

TEST(H264SyntaxReader, AFieldCutByTheEndLeavesTheValue) {
    Source source({0xFF});
    unsigned int value = 9;
    EXPECT_EQ(source->ReadU(9, value), -1);
    EXPECT_EQ(value, 9U);
}

TEST(H264SyntaxReader, AFieldAbove32BitsGivesItsLow32) {
    Source source({0xFF, 0x01, 0x02, 0x03, 0x04});
    unsigned int value = 0;
    EXPECT_EQ(source->ReadU(40, value), 0);
    EXPECT_EQ(value, 0x01020304U);
}

TEST(H264SyntaxReader, FieldsSkipEmulationPrevention) {
    Source source({0x00, 0x00, 0x03, 0x01});
    unsigned int value = 0;
    EXPECT_EQ(source->ReadU(24, value), 0);
    EXPECT_EQ(value, 1U);
}

TEST(H264SyntaxReader, UnsignedCodes) {
    BitString bits;
    const std::vector<unsigned int> values{0, 1, 2, 3, 6, 7, 119, 65535, 0x7FFFFFFEU, 0xFFFFFFFEU};
    for (const unsigned int value : values)
        bits.ue(value);
    Source source(bits);
    for (const unsigned int expected : values) {
        unsigned int value = 99;
        EXPECT_EQ(source->ReadUE(value), 0);
        EXPECT_EQ(value, expected);
    }
}

TEST(H264SyntaxReader, UnsignedCodesOf32AndMoreZerosWrap) {
    BitString bits;
    bits.u(32, 0).u(1, 1).u(32, 5);         // 5 - 1 + 2^32
    bits.u(40, 0).u(1, 1).u(8, 1).u(32, 7); // the low 32 bits of the field, less one
    Source source(bits);
    unsigned int value = 0;
    EXPECT_EQ(source->ReadUE(value), 0);
    EXPECT_EQ(value, 4U);
    EXPECT_EQ(source->ReadUE(value), 0);
    EXPECT_EQ(value, 6U);
}

TEST(H264SyntaxReader, ACodeOfVeryManyZerosEndsWithTheData) {
    Source source(ExactBytes(4U << 20U));
    unsigned int value = 99;
    EXPECT_EQ(source->ReadUE(value), -1);
    EXPECT_EQ(value, 0U);
}

TEST(H264SyntaxReader, AnUnsignedCodeCutInItsBitsFails) {
    Source source({0x08}); // four zeros, the one, and three of four bits
    unsigned int value = 99;
    EXPECT_EQ(source->ReadUE(value), -1);
    EXPECT_EQ(value, 0U);
}

TEST(H264SyntaxReader, SignedCodes) {
    BitString bits;
    const std::vector<int> values{0, 1, -1, 2, -2, 3, 127, -128, 1000000, -1000000};
    for (const int value : values)
        bits.se(value);
    Source source(bits);
    for (const int expected : values) {
        int value = 99;
        EXPECT_EQ(source->ReadSE(value), 0);
        EXPECT_EQ(value, expected);
    }
}

TEST(H264SyntaxReader, SignedCodesWrapAtTheLimits) {
    BitString bits;
    bits.ue(0xFFFFFFFEU);           // even: -(2^31 - 1)
    bits.u(32, 0).u(1, 1).u(32, 0); // the code wraps to 2^32 - 1, odd: 2^31
    Source source(bits);
    int value = 0;
    EXPECT_EQ(source->ReadSE(value), 0);
    EXPECT_EQ(value, -INT_MAX);
    EXPECT_EQ(source->ReadSE(value), 0);
    EXPECT_EQ(value, INT_MIN);
}

TEST(H264SyntaxReader, ASignedCodeCutByTheEndLeavesTheValue) {
    Source source({0x00});
    int value = 99;
    EXPECT_EQ(source->ReadSE(value), -1);
    EXPECT_EQ(value, 99);
}

TEST(ScalingList, OfNoEntriesReadsNothing) {
    Source source(ExactBytes(size_t{0}));
    EXPECT_EQ(read_scaling_list(*source, 0), 1);
}

TEST(ScalingList, TakesOneDeltaPerEntry) {
    BitString bits;
    for (int i = 0; i < 16; ++i)
        bits.se(1);
    bits.u(5, 0x15);
    Source source(bits);
    EXPECT_EQ(read_scaling_list(*source, 16), 1);
    unsigned int behind = 0;
    source->ReadU(5, behind);
    EXPECT_EQ(behind, 0x15U);
}

TEST(ScalingList, ANextValueOfZeroEndsTheDeltas) {
    for (const int first : {-8, 248, -264}) { // 8 + delta is a multiple of 256
        BitString bits;
        bits.se(first).u(5, 0x15);
        Source source(bits);
        EXPECT_EQ(read_scaling_list(*source, 64), 1);
        unsigned int behind = 0;
        source->ReadU(5, behind);
        EXPECT_EQ(behind, 0x15U) << first;
    }
}

TEST(ScalingList, EachDeltaCountsFromTheValueBefore) {
    BitString bits;
    bits.se(2).se(-10).u(5, 0x15); // 8 + 2 - 10 ends it
    Source source(bits);
    EXPECT_EQ(read_scaling_list(*source, 64), 1);
    unsigned int behind = 0;
    source->ReadU(5, behind);
    EXPECT_EQ(behind, 0x15U);
}

TEST(ScalingList, FailsWhereTheDataEnds) {
    BitString bits;
    for (int i = 0; i < 8; ++i)
        bits.se(1);
    Source source(bits);
    EXPECT_EQ(read_scaling_list(*source, 16), 0);
}

TEST(ScalingList, AnEndlessListEndsWithTheData) {
    Source source(ExactBytes(1000, 0xFF)); // deltas of 0
    EXPECT_EQ(read_scaling_list(*source, UINT_MAX), 0);
    Source ended(BitString().se(-8));
    EXPECT_EQ(read_scaling_list(*ended, UINT_MAX), 1);
}

/// The reader, written out bit by bit.
class PlainReader {
public:
    explicit PlainReader(const ExactBytes& bytes)
        : m_bytes(bytes) {}

    int readU(unsigned int n, unsigned int& value) {
        uint64_t bits = 0;
        for (unsigned int i = 0; i < n; ++i) {
            if (load() != 0)
                return -1;
            bits = bits << 1 | bit();
        }
        value = static_cast<unsigned int>(bits);
        return 0;
    }
    int readUE(unsigned int& value) {
        value = 0;
        unsigned int zeros = 0;
        for (;; ++zeros) {
            if (load() != 0)
                return -1;
            if (bit() == 1)
                break;
        }
        unsigned int bits = 0;
        if (readU(zeros, bits) != 0)
            return -1;
        value = bits - 1 + (zeros < 32 ? 1U << zeros : 0);
        return 0;
    }

private:
    int load() {
        if (m_index < 8)
            return 0;
        m_index = 0;
        return fetch();
    }
    int fetch() {
        m_byte = 0;
        if (m_at == m_bytes.size())
            return -9;
        const unsigned char byte = m_bytes[m_at++];
        if (byte == 3 && m_zeros == 2) {
            if (m_at == m_bytes.size())
                return -9;
            m_byte = m_bytes[m_at++];
            m_zeros = 0;
            return 0;
        }
        m_zeros = byte != 0 ? 0 : (m_zeros + 1) % 3;
        m_byte = byte;
        return 0;
    }
    unsigned int bit() { return static_cast<unsigned int>(m_byte) >> (7 - m_index++) & 1U; }

    const ExactBytes& m_bytes;
    size_t m_at = 0;
    int m_zeros = 0;
    unsigned int m_index = 8;
    unsigned char m_byte = 0;
};

TEST(H264SyntaxReader, EqualsABitByBitModelOverRandomData) {
    std::mt19937 random(7); // the same run every time
    constexpr unsigned char kBytes[] = {0, 0, 0, 3, 1, 0x80, 0xFF};
    for (int round = 0; round < 5000; ++round) {
        const ExactBytes bytes(random() % 24);
        for (size_t i = 0; i < bytes.size(); ++i)
            bytes[i] =
                random() % 3 != 0 ? kBytes[random() % 7] : static_cast<unsigned char>(random());
        Source source(ExactBytes(bytes.copy()));
        PlainReader plain(bytes);
        for (int step = 0; step < 30; ++step) {
            unsigned int value = 77;
            unsigned int expected = 77;
            const auto n = static_cast<unsigned int>(random() % 36);
            const bool code = random() % 2 == 0;
            const int result = code ? source->ReadUE(value) : source->ReadU(n, value);
            ASSERT_EQ(result, code ? plain.readUE(expected) : plain.readU(n, expected));
            ASSERT_EQ(value, expected);
        }
    }
}

} // namespace
