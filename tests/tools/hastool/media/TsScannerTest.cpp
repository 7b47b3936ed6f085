#include <tools/hastool/TsBuilder.h>

#include <hastool/media/TsScanner.h>

#include <gtest/gtest.h>

using hastool::TsReport;
using test::Bytes;
using test::bytesOf;
using test::filled;
using test::Packet;
using test::section;
using test::operator+;

namespace {

TsReport scan(const Bytes& stream) {
    const std::string text = test::textOf(stream);
    return hastool::scanTs(hastool::memorySource(text));
}

Bytes pat(int counter = 0) {
    return test::tablePackets(0, section(0, 7, test::patEntry(0, 0x20) + test::patEntry(1, 0x100)),
                              counter);
}

Bytes pmt(const Bytes& descriptors = {}, int counter = 0) {
    return test::tablePackets(
        0x100,
        section(2, 1,
                test::pmtBody(0x101, descriptors,
                              test::stream(0x1B, 0x101) + test::stream(0x0F, 0x102))),
        counter);
}

Packet clocked(int counter, long long pcr) {
    Packet packet = filled(0x101, counter);
    packet.payload.resize(100);
    packet.pcr = pcr;
    return packet;
}

} // namespace

TEST(TsScanner, JoinsTablesAndPackets) {
    const TsReport report =
        scan(pat() + pmt() + bytesOf(filled(0x101, 0)) + bytesOf(filled(0x101, 1)) +
             bytesOf(filled(0x102, 5)) + bytesOf(filled(0x20, 5)));
    EXPECT_EQ(report.packets, 6U);
    EXPECT_EQ(report.packetSize, 188U);
    EXPECT_EQ(report.streamId, 7);
    ASSERT_EQ(report.programs.size(), 1U);
    EXPECT_TRUE(report.programs.at(1).hasPmt);
    EXPECT_EQ(report.pids.at(0x101).packets, 2U);
    EXPECT_EQ(report.roleOf(0), "PAT");
    EXPECT_EQ(report.roleOf(0x100), "PMT");
    EXPECT_EQ(report.roleOf(0x101), "H.264 video");
    EXPECT_EQ(report.roleOf(0x102), "AAC audio");
    EXPECT_EQ(report.roleOf(0x20), "NIT");
    EXPECT_EQ(report.roleOf(0x500), "");
}

TEST(TsScanner, TakesAPmtThatComesBeforeThePat) {
    EXPECT_TRUE(scan(pmt() + pat()).programs.at(1).hasPmt);
}

TEST(TsScanner, TakesAPmtOverPackets) {
    const Bytes descriptors = Bytes{0x40, 250} + Bytes(250, 1);
    const TsReport report = scan(pat() + pmt(descriptors));
    EXPECT_EQ(report.packets, 3U);
    EXPECT_EQ(report.programs.at(1).pmt.streams.size(), 2U);
}

TEST(TsScanner, TheLatestPmtCounts) {
    const Bytes newer = section(2, 1, test::pmtBody(0x101, {}, test::stream(0x24, 0x101)), 1);
    const TsReport report = scan(pat() + pmt() + test::tablePackets(0x100, newer, 1));
    EXPECT_EQ(report.programs.at(1).pmt.version, 1);
    EXPECT_EQ(report.roleOf(0x101), "H.265 video");
}

TEST(TsScanner, ANewPatReplacesTheOld) {
    const Bytes newer = section(0, 7, test::patEntry(2, 0x200), 1);
    const TsReport report = scan(pat() + test::tablePackets(0, newer, 1));
    EXPECT_EQ(report.programs.count(1), 0U);
    EXPECT_EQ(report.programs.at(2).pmtPid, 0x200);
    EXPECT_FALSE(report.programs.at(2).hasPmt);
}

TEST(TsScanner, MeasuresTheClockAcrossItsWrap) {
    const TsReport report =
        scan(pat() + pmt() + bytesOf(clocked(0, (1LL << 33) - 90000)) + bytesOf(clocked(1, 45000)));
    const hastool::PcrRange* const clock = report.clockOf(report.programs.at(1));
    ASSERT_NE(clock, nullptr);
    EXPECT_EQ(clock->count, 2U);
    EXPECT_EQ(clock->first, (1ULL << 33) - 90000);
    EXPECT_EQ(clock->last, 45000U);
    EXPECT_DOUBLE_EQ(clock->span(), 1.5);
}

TEST(TsScanner, CountsScramblingByPid) {
    Bytes stream = pat();
    for (int i = 0; i < 6; ++i) {
        Packet packet = filled(0x101, i);
        packet.scrambling = i / 2 + 1;
        stream = stream + bytesOf(packet);
    }
    const auto scrambling = scan(stream).pids.at(0x101).scrambling;
    EXPECT_EQ(scrambling, (std::array<uint64_t, 4>{0, 2, 2, 2}));
}

TEST(TsScanner, CountsContinuityErrorsButNotOfNullPackets) {
    Bytes stream = pat();
    for (const int counter : {0, 1, 1, 4})
        stream = stream + bytesOf(filled(0x101, counter)) + bytesOf(filled(0x1FFF, counter * 3));
    const TsReport report = scan(stream);
    EXPECT_EQ(report.pids.at(0x101).continuityErrors, 1U);
    EXPECT_EQ(report.pids.at(0x101).duplicates, 1U);
    EXPECT_EQ(report.pids.at(0x1FFF).continuityErrors, 0U);
}

TEST(TsScanner, DamagedPacketsAreOnlyCounted) {
    Bytes damaged = bytesOf(filled(0x101, 9));
    damaged[1] |= 0x80;
    const TsReport report = scan(pat() + damaged + pmt());
    EXPECT_EQ(report.errorPackets, 1U);
    EXPECT_EQ(report.packets, 3U);
    EXPECT_EQ(report.pids.at(0x101).packets, 1U);
    EXPECT_EQ(report.pids.at(0x101).scrambling[0], 0U);
}

TEST(TsScanner, CountsBadSectionsOfTables) {
    Bytes wrong = pat();
    wrong[10] ^= 1;
    const TsReport report = scan(wrong + pat(1));
    EXPECT_EQ(report.badSections, 1U);
    EXPECT_TRUE(report.hasPat);
}

TEST(TsScanner, FollowsConditionalAccess) {
    const Bytes cat =
        test::tablePackets(1, section(1, 0xFFFF, test::caDescriptor(0x4AD4, 0x300, {5})));
    const Bytes stream = pat() + cat + pmt(test::caDescriptor(0x4AD4, 0x200, {1, 2, 0xAB, 0xCD})) +
                         bytesOf(filled(0x200, 0)) + bytesOf(filled(0x300, 0));
    const TsReport report = scan(stream);
    EXPECT_EQ(report.cat, (std::vector<hastool::CaInfo>{{0x4AD4, 0x300, {5}}}));
    EXPECT_EQ(report.programs.at(1).pmt.ca[0].systemId, 0x4AD4U);
    EXPECT_EQ(report.roleOf(0x200), "ECM");
    EXPECT_EQ(report.roleOf(0x300), "EMM");
    EXPECT_EQ(report.broadband.pmtPid, 0x100U);
    EXPECT_EQ(report.broadband.ecmPid, 0x200U);
    EXPECT_EQ(report.broadband.ecmPackets, 1U);
    EXPECT_EQ(report.broadband.privateData, (Bytes{0xAB, 0xCD}));
}
