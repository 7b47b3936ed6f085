#include <Hascommon/Packet.h>
#include <support/ExactBytes.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace {

using hascommon::Packet;
using test::ExactBytes;
using testing::ElementsAre;

Packet& filled(Packet& packet, unsigned int size) {
    packet.PtrAlloc(size);
    for (unsigned int i = 0; i < size; ++i)
        packet.GetPtr()[i] = static_cast<unsigned char>(i);
    return packet;
}

std::vector<unsigned char> bytesOf(Packet& packet) {
    return {packet.GetPtr(), packet.GetPtr() + packet.GetSize()};
}

TEST(Packet, StartsEmpty) {
    Packet packet;
    EXPECT_EQ(packet.GetPtr(), nullptr);
    EXPECT_EQ(packet.GetSize(), 0U);
    EXPECT_EQ(packet.GetDataPtr(), nullptr);
    EXPECT_EQ(packet.GetDataSize(), 0);
    EXPECT_EQ(packet.m_tag, 0U);
    EXPECT_THAT(packet.m_extra, ElementsAre(0U, 0U, 0U, 0U));
}

TEST(Packet, HasOnlyADestructorInItsTable) {
    EXPECT_TRUE(std::has_virtual_destructor_v<Packet>);
}

TEST(Packet, AllocGivesThatManyWritableBytes) {
    Packet packet;
    EXPECT_EQ(packet.PtrAlloc(10), 0);
    ASSERT_NE(packet.GetPtr(), nullptr);
    EXPECT_EQ(packet.GetSize(), 10U);
    memset(packet.GetPtr(), 1, 10);
}

TEST(Packet, AllocReplacesTheBytesAndResetsThePositions) {
    Packet packet;
    filled(packet, 10).SetDataPos(4);
    unsigned char out[3];
    packet.GetByte(out, 3);
    EXPECT_EQ(packet.PtrAlloc(5), 0);
    EXPECT_EQ(packet.GetSize(), 5U);
    EXPECT_EQ(packet.GetDataSize(), 5);
    EXPECT_EQ(packet.GetByte(out, 3), 0);
}

TEST(Packet, AllocOfZeroEmptiesThePacket) {
    Packet packet;
    EXPECT_EQ(filled(packet, 10).PtrAlloc(0), 0);
    EXPECT_EQ(packet.GetPtr(), nullptr);
    EXPECT_EQ(packet.GetSize(), 0U);
}

TEST(Packet, FreeEmptiesAndResets) {
    Packet packet;
    filled(packet, 10).SetDataPos(2);
    packet.PtrFree();
    EXPECT_EQ(packet.GetPtr(), nullptr);
    EXPECT_EQ(packet.GetSize(), 0U);
    EXPECT_EQ(packet.GetDataSize(), 0);
    packet.PtrFree();
}

TEST(Packet, FreeLetsGoOfBorrowedBytesUnharmed) {
    const ExactBytes lender{1, 2, 3};
    Packet packet;
    packet.SetPtr(lender.data(), lender.uintSize());
    packet.PtrFree();
    EXPECT_EQ(packet.GetPtr(), nullptr);
    EXPECT_THAT(lender.copy(), ElementsAre(1, 2, 3));
}

TEST(Packet, BorrowsAfterItOwned) {
    const ExactBytes lender{1, 2, 3};
    Packet packet;
    filled(packet, 10);
    packet.SetPtr(lender.data(), lender.uintSize());
    EXPECT_EQ(packet.GetPtr(), lender.data());
    EXPECT_EQ(packet.GetSize(), 3U);
}

TEST(Packet, OwnsAgainAfterFreeAndGrowth) {
    Packet packet;
    filled(packet, 4).PtrFree();
    EXPECT_EQ(packet.PtrResize(6), 0);
    EXPECT_EQ(packet.GetSize(), 6U);
    memset(packet.GetPtr(), 7, 6);
}

TEST(Packet, ShrinkingKeepsTheBytesAndOnlyLowersTheSize) {
    Packet packet;
    filled(packet, 10);
    unsigned char* const before = packet.GetPtr();
    EXPECT_EQ(packet.PtrResize(4), 0);
    EXPECT_EQ(packet.GetSize(), 4U);
    EXPECT_EQ(packet.GetPtr(), before);
    EXPECT_EQ(packet.GetPtr()[9], 9);
}

TEST(Packet, ResizeToZeroKeepsTheBuffer) {
    Packet packet;
    filled(packet, 10);
    unsigned char* const before = packet.GetPtr();
    EXPECT_EQ(packet.PtrResize(0), 0);
    EXPECT_EQ(packet.GetSize(), 0U);
    EXPECT_EQ(packet.GetPtr(), before);
}

TEST(Packet, ResizeToTheSameSizeKeepsTheBuffer) {
    Packet packet;
    filled(packet, 10);
    unsigned char* const before = packet.GetPtr();
    EXPECT_EQ(packet.PtrResize(10), 0);
    EXPECT_EQ(packet.GetPtr(), before);
}

TEST(Packet, GrowingKeepsTheOldSizesBytes) {
    Packet packet;
    filled(packet, 4);
    EXPECT_EQ(packet.PtrResize(2000), 0);
    EXPECT_EQ(packet.GetSize(), 2000U);
    EXPECT_EQ(memcmp(packet.GetPtr(), "\0\1\2\3", 4), 0);
    memset(packet.GetPtr(), 1, 2000);
}

TEST(Packet, GrowingKeepsThePositions) {
    Packet packet;
    filled(packet, 4).SetDataPos(1);
    unsigned char out[2];
    packet.GetByte(out, 2);
    packet.PtrResize(8);
    EXPECT_EQ(packet.GetDataSize(), 7);
    EXPECT_EQ(packet.GetByte(out, 1), 0);
    EXPECT_EQ(out[0], 2);
}

TEST(Packet, GrowingABorrowedBufferMakesAnOwnedCopy) {
    const ExactBytes lender{1, 2, 3};
    Packet packet;
    packet.SetPtr(lender.data(), lender.uintSize());
    packet.PtrResize(5);
    ASSERT_NE(packet.GetPtr(), lender.data());
    EXPECT_EQ(memcmp(packet.GetPtr(), lender.data(), 3), 0);
    packet.GetPtr()[0] = 9;
    EXPECT_THAT(lender.copy(), ElementsAre(1, 2, 3));
}

TEST(Packet, GrowingANullBufferReadsNothingFromIt) {
    Packet packet;
    packet.SetPtr(nullptr, 10);
    EXPECT_EQ(packet.PtrResize(20), 0);
    EXPECT_EQ(packet.GetSize(), 20U);
    EXPECT_NE(packet.GetPtr(), nullptr);
}

TEST(Packet, ACopyIsAViewThatFreesNothing) {
    Packet packet;
    filled(packet, 3).SetDataPos(1);
    packet.m_tag = 77;
    {
        Packet view(packet);
        EXPECT_EQ(view.GetPtr(), packet.GetPtr());
        EXPECT_EQ(view.GetSize(), 3U);
        EXPECT_EQ(view.GetDataSize(), 2);
        EXPECT_EQ(view.m_tag, 77U);
    }
    EXPECT_THAT(bytesOf(packet), ElementsAre(0, 1, 2));
}

TEST(Packet, ACopyTakesTheReadPosition) {
    Packet packet;
    unsigned char out[2];
    filled(packet, 5).GetByte(out, 2);
    Packet view;
    view = packet;
    EXPECT_EQ(view.GetByte(out, 1), 0);
    EXPECT_EQ(out[0], 2);
}

TEST(Packet, NeitherCopyTakesTheExtraValues) {
    Packet packet;
    packet.m_extra[2] = 5;
    const Packet constructed(packet);
    EXPECT_EQ(constructed.m_extra[2], 0U);
    Packet assigned;
    assigned.m_extra[2] = 6;
    assigned = packet;
    EXPECT_EQ(assigned.m_extra[2], 6U);
}

TEST(Packet, AssignmentReleasesBytesOfItsOwn) {
    Packet packet;
    filled(packet, 3);
    Packet other;
    filled(other, 100);
    other = packet; // a leak of the 100 bytes would fail the sanitizer run
    EXPECT_EQ(other.GetPtr(), packet.GetPtr());
}

TEST(Packet, AssignmentToItselfOrFromAViewOfItselfKeepsTheBytes) {
    Packet packet;
    filled(packet, 3);
    Packet& same = packet;
    packet = same;
    EXPECT_THAT(bytesOf(packet), ElementsAre(0, 1, 2));
    const Packet view(packet);
    packet = view;
    EXPECT_THAT(bytesOf(packet), ElementsAre(0, 1, 2));
}

TEST(Packet, GetByteNeverHandsOutTheLastByte) {
    Packet packet;
    filled(packet, 10);
    unsigned char out[10];
    memset(out, 0xEE, sizeof(out));
    EXPECT_EQ(packet.GetByte(out, 10), -1);
    EXPECT_EQ(out[0], 0xEE);
    EXPECT_EQ(packet.GetByte(out, 9), 0);
    EXPECT_EQ(memcmp(out, packet.GetPtr(), 9), 0);
    EXPECT_EQ(packet.GetByte(out, 1), -1);
}

TEST(Packet, GetByteAdvancesAndFailingDoesNot) {
    Packet packet;
    filled(packet, 6);
    unsigned char out[6];
    EXPECT_EQ(packet.GetByte(out, 2), 0);
    EXPECT_EQ(packet.GetByte(out, 4), -1);
    EXPECT_EQ(packet.GetByte(out, 3), 0);
    EXPECT_EQ(out[0], 2);
    EXPECT_EQ(out[2], 4);
}

TEST(Packet, GetByteOfNothingIsZeroOnlyBeforeTheEnd) {
    Packet packet;
    EXPECT_EQ(packet.GetByte(nullptr, 0), -1); // no buffer
    EXPECT_EQ(filled(packet, 1).GetByte(nullptr, 0), 0);
    packet.PtrResize(0);
    EXPECT_EQ(packet.GetByte(nullptr, 0), -1);
}

TEST(Packet, GetByteOfHugeCountsFails) {
    Packet packet;
    unsigned char out[4];
    filled(packet, 10).GetByte(out, 4);
    EXPECT_EQ(packet.GetByte(out, UINT_MAX), -1);
    EXPECT_EQ(packet.GetByte(out, UINT_MAX - 3), -1); // the 32-bit sum would be 0
}

TEST(Packet, UngetByteStepsBack) {
    Packet packet;
    filled(packet, 10);
    unsigned char out[4];
    packet.GetByte(out, 4);
    packet.UngetByte(3);
    EXPECT_EQ(packet.GetByte(out, 1), 0);
    EXPECT_EQ(out[0], 1);
}

TEST(Packet, UngetByteBeforeTheStartFailsReadsUntilReset) {
    Packet packet;
    filled(packet, 10).UngetByte(4);
    unsigned char out[8];
    EXPECT_EQ(packet.GetByte(out, 6), -1); // would begin before the buffer
    EXPECT_EQ(packet.GetByte(out, 0), -1);
    packet.ResetPos();
    EXPECT_EQ(packet.GetByte(out, 6), 0);
    EXPECT_EQ(out[5], 5);
}

TEST(Packet, UngetByteBeforeTheStartCanBeTakenBack) {
    Packet packet;
    filled(packet, 10).UngetByte(4);
    packet.UngetByte(UINT_MAX - 3); // four forward
    unsigned char out[1];
    EXPECT_EQ(packet.GetByte(out, 1), 0);
    EXPECT_EQ(out[0], 0);
}

TEST(Packet, DataPositionIsSetAndMoved) {
    Packet packet;
    filled(packet, 10).SetDataPos(4);
    EXPECT_EQ(packet.GetDataPtr(), packet.GetPtr() + 4);
    EXPECT_EQ(packet.GetDataSize(), 6);
    packet.MoveDataPos(-3);
    EXPECT_EQ(packet.GetDataPtr(), packet.GetPtr() + 1);
    EXPECT_EQ(packet.GetDataSize(), 9);
}

TEST(Packet, DataPositionOutsideIsStoredAndShownByTheSize) {
    Packet packet;
    filled(packet, 10).SetDataPos(12);
    EXPECT_EQ(packet.GetDataSize(), -2);
    packet.SetDataPos(-2);
    EXPECT_EQ(packet.GetDataSize(), 12);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(packet.GetDataPtr()),
              reinterpret_cast<uintptr_t>(packet.GetPtr()) - 2);
}

TEST(Packet, DataPositionWrapsAt32Bits) {
    Packet packet;
    filled(packet, 10).SetDataPos(INT_MAX);
    packet.MoveDataPos(1);
    packet.MoveDataPos(INT_MIN);
    EXPECT_EQ(packet.GetDataPtr(), packet.GetPtr());
}

} // namespace
