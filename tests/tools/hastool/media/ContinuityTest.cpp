#include <tools/hastool/TsBuilder.h>

#include <hastool/media/Continuity.h>

#include <gtest/gtest.h>

using hastool::Continuity;
using test::filled;
using test::Packet;
using test::unitOf;
using Verdict = Continuity::Verdict;

namespace {

Packet withoutPayload(int counter) {
    Packet packet;
    packet.counter = counter;
    packet.hasPayload = false;
    return packet;
}

} // namespace

TEST(Continuity, CountsModuloSixteenFromAnyNumber) {
    Continuity continuity;
    for (int counter = 9; counter < 60; ++counter)
        EXPECT_EQ(continuity.push(unitOf(filled(5, counter))), Verdict::Follows);
    EXPECT_EQ(continuity.errors(), 0U);
}

TEST(Continuity, AGapIsOneErrorAndGoesOnFromThere) {
    Continuity continuity;
    continuity.push(unitOf(filled(5, 1)));
    EXPECT_EQ(continuity.push(unitOf(filled(5, 4))), Verdict::Error);
    EXPECT_EQ(continuity.push(unitOf(filled(5, 5))), Verdict::Follows);
    EXPECT_EQ(continuity.errors(), 1U);
}

TEST(Continuity, APacketMayBeSentTwiceAndNoMore) {
    Continuity continuity;
    continuity.push(unitOf(filled(5, 1)));
    EXPECT_EQ(continuity.push(unitOf(filled(5, 1))), Verdict::Duplicate);
    EXPECT_EQ(continuity.push(unitOf(filled(5, 1))), Verdict::Error);
    EXPECT_EQ(continuity.duplicates(), 1U);
    EXPECT_EQ(continuity.errors(), 1U);
}

TEST(Continuity, ARepetitionGoesOnLikeTheOriginal) {
    Continuity continuity;
    continuity.push(unitOf(filled(5, 1)));
    continuity.push(unitOf(filled(5, 1)));
    EXPECT_EQ(continuity.push(unitOf(filled(5, 2))), Verdict::Follows);
}

TEST(Continuity, TheSameNumberWithOtherBytesIsAnError) {
    Continuity continuity;
    continuity.push(unitOf(filled(5, 1, 0x11)));
    EXPECT_EQ(continuity.push(unitOf(filled(5, 1, 0x12))), Verdict::Error);
}

TEST(Continuity, ARepetitionMayHaveAnotherClockReference) {
    Continuity continuity;
    Packet packet;
    packet.payload.assign(100, 0x22);
    packet.pcr = 1000;
    continuity.push(unitOf(packet));
    packet.pcr = 2000;
    EXPECT_EQ(continuity.push(unitOf(packet)), Verdict::Duplicate);
}

TEST(Continuity, PacketsWithoutPayloadDoNotCount) {
    Continuity continuity;
    continuity.push(unitOf(filled(5, 7)));
    EXPECT_EQ(continuity.push(unitOf(withoutPayload(7))), Verdict::Follows);
    EXPECT_EQ(continuity.push(unitOf(withoutPayload(7))), Verdict::Follows);
    EXPECT_EQ(continuity.push(unitOf(filled(5, 8))), Verdict::Follows);
    EXPECT_EQ(continuity.push(unitOf(withoutPayload(9))), Verdict::Error);
}

TEST(Continuity, AnAnnouncedDiscontinuityIsNoError) {
    Continuity continuity;
    continuity.push(unitOf(filled(5, 7)));
    Packet packet;
    packet.counter = 2;
    packet.payload.assign(50, 0);
    packet.discontinuity = true;
    EXPECT_EQ(continuity.push(unitOf(packet)), Verdict::Announced);
    EXPECT_EQ(continuity.push(unitOf(filled(5, 3))), Verdict::Follows);
    EXPECT_EQ(continuity.errors(), 0U);
}
