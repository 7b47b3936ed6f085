#include "ErrorOf.h"
#include "TsBuilder.h"

#include <hastool/media/PacketFinder.h>
#include <hastool/media/TsRemapper.h>
#include <hastool/media/TsScanner.h>

#include <gtest/gtest.h>

using hastool::PidMap;
using hastool::TsReport;
using hastool::TsUnit;
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

Bytes remapped(const Bytes& stream, const PidMap& map) {
    Bytes result;
    hastool::TsRemapper remapper(map, scan(stream), "a.ts");
    hastool::PacketFinder packets([&](TsUnit unit) {
        remapper.rewrite(unit);
        result.insert(result.end(), unit.packet.begin(), unit.packet.end());
    });
    packets.push(stream.data(), stream.size());
    packets.finish();
    return result;
}

std::vector<int> counters(const Bytes& stream) {
    std::vector<int> result;
    for (size_t at = 3; at < stream.size(); at += 188)
        result.push_back(stream[at] & 0x0F);
    return result;
}

Bytes tables(const Bytes& descriptors = {}) {
    return test::tablePackets(0, section(0, 1, test::patEntry(1, 0x100))) +
           test::tablePackets(1, section(1, 0xFFFF, test::caDescriptor(1, 0x103))) +
           test::tablePackets(
               0x100,
               section(2, 1,
                       test::pmtBody(0x101, test::caDescriptor(2, 0x102) + descriptors,
                                     test::stream(0x1B, 0x101, test::caDescriptor(3, 0x102)))));
}

} // namespace

TEST(TsRemapper, ChangesPidsInPacketsAndTables) {
    const Bytes stream = tables() + bytesOf(filled(0x101, 0)) + bytesOf(filled(0x102, 0)) +
                         bytesOf(filled(0x103, 0));
    const TsReport report = scan(
        remapped(stream, {{0x100, 0x1100}, {0x101, 0x1101}, {0x102, 0x1102}, {0x103, 0x1103}}));
    EXPECT_EQ(report.badSections, 0U);
    EXPECT_EQ(report.programs.at(1).pmtPid, 0x1100);
    ASSERT_TRUE(report.programs.at(1).hasPmt);
    EXPECT_EQ(report.programs.at(1).pmt.pcrPid, 0x1101);
    EXPECT_EQ(report.programs.at(1).pmt.ca[0].pid, 0x1102);
    EXPECT_EQ(report.programs.at(1).pmt.streams[0].pid, 0x1101);
    EXPECT_EQ(report.programs.at(1).pmt.streams[0].ca[0].pid, 0x1102);
    EXPECT_EQ(report.cat[0].pid, 0x1103);
    for (const int pid : {0x1100, 0x1101, 0x1102, 0x1103})
        EXPECT_EQ(report.pids.at(pid).packets, 1U) << pid;
}

TEST(TsRemapper, PidsMayChangePlaces) {
    const Bytes stream = bytesOf(filled(5, 0, 0x55)) + bytesOf(filled(6, 0, 0x66));
    EXPECT_EQ(remapped(stream, {{5, 6}, {6, 5}}),
              bytesOf(filled(6, 0, 0x55)) + bytesOf(filled(5, 0, 0x66)));
}

TEST(TsRemapper, LeavesOtherPacketsAsTheyAre) {
    Bytes stream = bytesOf(filled(5, 0)) + bytesOf(filled(6, 3)) + bytesOf(filled(6, 9));
    const Bytes result = remapped(stream, {{5, 7}});
    EXPECT_TRUE(std::equal(stream.begin() + 188, stream.end(), result.begin() + 188));
}

TEST(TsRemapper, CountersGoOnWithoutAGapFromTheFirst) {
    EXPECT_EQ(
        counters(remapped(bytesOf(filled(5, 14)) + bytesOf(filled(5, 3)) + bytesOf(filled(5, 4)),
                          {{5, 7}})),
        (std::vector<int>{14, 15, 0}));
}

TEST(TsRemapper, PacketsThatDoNotCountKeepTheNumberBefore) {
    Packet bare;
    bare.pid = 5;
    bare.hasPayload = false;
    bare.counter = 2;
    const Bytes stream = bytesOf(filled(5, 2)) + bytesOf(bare) + bytesOf(filled(5, 3)) +
                         bytesOf(filled(5, 3)) + bytesOf(filled(5, 9));
    EXPECT_EQ(counters(remapped(stream, {{5, 7}})), (std::vector<int>{2, 2, 3, 3, 4}));
    EXPECT_EQ(counters(remapped(bytesOf(bare) + bytesOf(filled(5, 3)), {{5, 7}})),
              (std::vector<int>{2, 3}));
}

TEST(TsRemapper, ASectionWithAWrongChecksumStays) {
    Bytes stream = tables() + bytesOf(filled(0x101, 0));
    stream[2 * 188 + 8] ^= 1;
    const Bytes result = remapped(stream, {{0x101, 0x201}});
    EXPECT_TRUE(std::equal(stream.begin(), stream.begin() + 3 * 188, result.begin()));
}

TEST(TsRemapper, RefusesATableOverPackets) {
    const Bytes stream = tables(Bytes{0x40, 250} + Bytes(250, 1)) + bytesOf(filled(0x101, 0));
    EXPECT_EQ(test::errorOf([&] {
                  remapped(stream, {{0x101, 0x201}});
              }),
              "a.ts: the table on PID 0x0100 goes over several packets; it cannot be rewritten");
}

TEST(TsRemapper, RefusesMorePidsThanThereIsRoomFor) {
    Bytes stream;
    PidMap map;
    for (int i = 0; i < 120; ++i) {
        stream = stream + bytesOf(filled(0x100 + i, 0));
        map[0x100 + i] = 0x200 + i;
    }
    EXPECT_EQ(test::errorOf([&] { remapped(stream, map); }), "a.ts: too many PIDs to rewrite");
}
