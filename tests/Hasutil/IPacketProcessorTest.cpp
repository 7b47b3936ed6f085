#include <Hasutil/IPacketProcessor.h>
#include <support/BitString.h>
#include <support/ExactBytes.h>

#include <gtest/gtest.h>

#include <climits>
#include <type_traits>

namespace {

using hascommon::IPacketProcessor;
using test::BitString;
using test::ExactBytes;
using TsPacket = hascommon::CArray<unsigned char, 188>;

TsPacket packet(unsigned char byte1, unsigned char byte2, unsigned char byte3) {
    TsPacket out;
    for (unsigned char& byte : out)
        byte = 0xCC;
    out[0] = 0x47;
    out[1] = byte1;
    out[2] = byte2;
    out[3] = byte3;
    return out;
}

void expectRestUntouched(const TsPacket& out) {
    EXPECT_EQ(out[0], 0x47);
    for (unsigned int i = 4; i < TsPacket::size(); ++i)
        ASSERT_EQ(out[i], 0xCC);
}

TEST(CArray, IsExactlyItsElements) {
    EXPECT_EQ(sizeof(TsPacket), 188U);
    EXPECT_TRUE(std::is_trivially_copyable_v<TsPacket>);
    TsPacket array{};
    EXPECT_EQ(array.data(), &array[0]);
    EXPECT_EQ(array.end() - array.begin(), 188);
    EXPECT_EQ(array[187], 0);
    const TsPacket& constant = array;
    EXPECT_EQ(constant.data(), &constant[0]);
    EXPECT_EQ(constant.end() - constant.begin(), 188);
}

TEST(PacketProcessor, ChangePidKeepsTheTopThreeBits) {
    TsPacket out = packet(0x40, 0x00, 0x10);
    IPacketProcessor().ChangePid(out, 0x1FFF);
    EXPECT_EQ(out[1], 0x5F);
    EXPECT_EQ(out[2], 0xFF);
    EXPECT_EQ(out[3], 0x10);
    IPacketProcessor().ChangePid(out, 0x0102);
    EXPECT_EQ(out[1], 0x41);
    EXPECT_EQ(out[2], 0x02);
    expectRestUntouched(out);
}

TEST(PacketProcessor, ChangePidClearsTheOldPid) {
    TsPacket out = packet(0xFF, 0xFF, 0x10);
    IPacketProcessor().ChangePid(out, 0);
    EXPECT_EQ(out[1], 0xE0);
    EXPECT_EQ(out[2], 0x00);
}

TEST(PacketProcessor, ChangePidTakesTheLow13Bits) {
    TsPacket out = packet(0x00, 0x00, 0x10);
    IPacketProcessor().ChangePid(out, 0x7FFF2101);
    EXPECT_EQ(out[1], 0x01);
    EXPECT_EQ(out[2], 0x01);
    IPacketProcessor().ChangePid(out, -1);
    EXPECT_EQ(out[1], 0x1F);
    EXPECT_EQ(out[2], 0xFF);
}

TEST(PacketProcessor, IncreaseCounterWrapsAndKeepsTheHighBits) {
    TsPacket out = packet(0x41, 0x00, 0x1F);
    IPacketProcessor().IncreaseCounter(out);
    EXPECT_EQ(out[3], 0x10);
    for (unsigned char counter = 0; counter < 15; ++counter) {
        out[3] = static_cast<unsigned char>(0xD0 | counter);
        IPacketProcessor().IncreaseCounter(out);
        EXPECT_EQ(out[3], 0xD0 | (counter + 1));
    }
    expectRestUntouched(out);
}

TEST(PacketProcessor, UpdateCounterStepsTheCallersCounter) {
    TsPacket out = packet(0x41, 0x00, 0xB7);
    int counter = 2;
    IPacketProcessor().UpdateCounter(out, counter);
    EXPECT_EQ(counter, 3);
    EXPECT_EQ(out[3], 0xB3);
    counter = 15;
    IPacketProcessor().UpdateCounter(out, counter);
    EXPECT_EQ(counter, 0);
    EXPECT_EQ(out[3], 0xB0);
    expectRestUntouched(out);
}

TEST(PacketProcessor, UpdateCounterStartsAFreshStreamAtZero) {
    TsPacket out = packet(0x41, 0x00, 0x15);
    int counter = -1; // what the table holds until a counter is set
    IPacketProcessor().UpdateCounter(out, counter);
    EXPECT_EQ(counter, 0);
    EXPECT_EQ(out[3], 0x10);
    counter = INT_MAX;
    IPacketProcessor().UpdateCounter(out, counter);
    EXPECT_EQ(counter, 0);
}

unsigned long long readPcr(const BitString& bits, unsigned int* left = nullptr) {
    const ExactBytes bytes(bits.bytes());
    hascommon::BitstreamReader reader;
    reader.Reset(bytes.data(), bytes.intSize());
    const unsigned long long pcr = IPacketProcessor().ReadPcrField(reader);
    if (left != nullptr)
        reader.GetBits(3, *left);
    return pcr;
}

TEST(PacketProcessor, PcrIsBaseTimes300PlusSixBitsOfTheExtension) {
    unsigned int left = 99;
    EXPECT_EQ(readPcr(BitString().u(33, 90000).u(6, 63).u(6, 37).u(3, 5), &left),
              90000ULL * 300 + 37);
    EXPECT_EQ(left, 5U);
}

TEST(PacketProcessor, PcrBaseHasAll33Bits) {
    EXPECT_EQ(readPcr(BitString().u(33, 0x1FFFFFFFFULL).u(6, 63).u(9, 0)), 0x1FFFFFFFFULL * 300);
    EXPECT_EQ(readPcr(BitString().u(33, 0x100000000ULL).u(6, 63).u(9, 0)), 0x100000000ULL * 300);
    EXPECT_EQ(readPcr(BitString().u(33, 0x080000000ULL).u(6, 63).u(9, 0)), 0x080000000ULL * 300);
}

TEST(PacketProcessor, PcrWithOtherReservedBitsIsZero) {
    for (unsigned int reserved = 0; reserved < 63; ++reserved)
        EXPECT_EQ(readPcr(BitString().u(33, 90000).u(6, reserved).u(9, 1)), 0U) << reserved;
}

TEST(PacketProcessor, PcrOfNoDataIsZero) {
    EXPECT_EQ(readPcr(BitString()), 0U);
    EXPECT_EQ(readPcr(BitString().u(33, 90000)), 0U);
}

} // namespace
