#include <tools/hastool/ErrorOf.h>
#include <tools/hastool/TsBuilder.h>

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
    const auto add = [&](const unsigned char* data, size_t size) {
        result.insert(result.end(), data, data + size);
    };
    hastool::TsRemapper remapper(map, scan(stream), "a.ts", add);
    hastool::PacketFinder packets(
        [&](const TsUnit& unit) { remapper.push(unit); },
        [&](const unsigned char* data, size_t size) { remapper.keep(data, size); });
    packets.push(stream.data(), stream.size());
    packets.finish();
    remapper.finish();
    return result;
}

/// A PMT section of 900 bytes and more, with the PID of its stream at the end.
Bytes longTable(unsigned int streamPid) {
    Bytes descriptors;
    for (int i = 0; i < 4; ++i)
        descriptors = descriptors + Bytes{0x40, 220} + Bytes(220, 1);
    return section(2, 1, test::pmtBody(streamPid, descriptors, test::stream(0x1B, streamPid)));
}
Bytes pat() {
    return test::tablePackets(0, section(0, 1, test::patEntry(1, 0x100)));
}
/// The packets at some places of a stream.
Bytes pick(const Bytes& stream, const std::vector<size_t>& places) {
    Bytes result;
    for (const size_t place : places)
        result.insert(result.end(), stream.begin() + static_cast<std::ptrdiff_t>(188 * place),
                      stream.begin() + static_cast<std::ptrdiff_t>(188 * (place + 1)));
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

TEST(TsRemapper, RewritesATableOverPackets) {
    // Other packets come in between, one of the table's is sent twice, and a second table follows.
    const auto stream = [](unsigned int pid) {
        const Bytes table = test::tablePackets(0x100, longTable(pid));
        const Bytes media = bytesOf(filled(static_cast<int>(pid), 0));
        EXPECT_EQ(table.size(), 188U * 5);
        return pat() + media + pick(table, {0}) + bytesOf(filled(7, 3)) + pick(table, {1, 1, 2}) +
               bytesOf(filled(7, 4)) + pick(table, {3, 4}) +
               test::tablePackets(0x100, longTable(pid), 5);
    };
    const Bytes result = remapped(stream(0x101), {{0x101, 0x201}});
    EXPECT_EQ(result, stream(0x201));
    EXPECT_EQ(scan(result).badSections, 0U);
}

TEST(TsRemapper, RewritesTheRestOfATableInFrontOfTheNext) {
    // The second section begins in the packet in which the first one ends.
    const auto stream = [](unsigned int pid) {
        const Bytes both = longTable(pid) + longTable(pid + 1);
        Bytes packets;
        size_t at = 0;
        for (int counter = 0; at < both.size(); ++counter) {
            Packet packet;
            packet.pid = 0x100;
            packet.counter = counter;
            const size_t next = longTable(pid).size();
            packet.start = at == 0 || (at < next && next < at + 183);
            if (packet.start)
                packet.payload.push_back(static_cast<unsigned char>(at == 0 ? 0 : next - at));
            while (packet.payload.size() < 184)
                packet.payload.push_back(at < both.size() ? both[at++] : 0xFF);
            packets = packets + bytesOf(packet);
        }
        return pat() + packets + bytesOf(filled(static_cast<int>(pid), 0)) +
               bytesOf(filled(static_cast<int>(pid) + 1, 0));
    };
    EXPECT_EQ(remapped(stream(0x101), {{0x101, 0x201}, {0x102, 0x202}}), stream(0x201));
}

TEST(TsRemapper, LeavesATableThatLostItsEnd) {
    const Bytes table = test::tablePackets(0x100, longTable(0x101));
    const Bytes media = bytesOf(filled(0x101, 0));
    const Bytes stream = pat() + media + table + pick(table, {0, 1}) + media;
    const Bytes result = remapped(stream, {{0x101, 0x201}});
    ASSERT_EQ(result.size(), stream.size());
    EXPECT_TRUE(
        std::equal(stream.begin() + 7 * 188, stream.begin() + 9 * 188, result.begin() + 7 * 188));
}

TEST(TsRemapper, RefusesATableThatEndsTooLate) {
    const Bytes table = test::tablePackets(0x100, longTable(0x101));
    const TsReport report = scan(pat() + table + bytesOf(filled(0x101, 0)));
    size_t written = 0;
    hastool::TsRemapper remapper({{0x101, 0x201}}, report, "a.ts",
                                 [&](const unsigned char*, size_t size) { written += size; });
    hastool::PacketFinder packets([&](const TsUnit& unit) { remapper.push(unit); });
    const Bytes begin = pat() + pick(table, {0});
    const auto pushAll = [&] {
        const Bytes other = bytesOf(filled(7, 0)) + bytesOf(filled(7, 1));
        packets.push(begin.data(), begin.size());
        for (size_t i = 0; i < hastool::TsRemapper::kMaxWaiting; ++i)
            packets.push(other.data(), other.size());
    };
    EXPECT_EQ(test::errorOf(pushAll),
              "a.ts: the table on PID 0x0100 goes over too many packets; it cannot be rewritten");
    EXPECT_EQ(written, 188U) << "nothing behind the table's begin";
}

TEST(TsRemapper, KeepsBytesThatAreNoPackets) {
    const auto stream = [](int pid) {
        const Bytes run =
            bytesOf(filled(pid, 0)) + bytesOf(filled(pid, 1)) + bytesOf(filled(pid, 2));
        return Bytes(100, 'a') + run + Bytes(57, 'b') + bytesOf(filled(pid, 3)) +
               bytesOf(filled(pid, 4)) + bytesOf(filled(pid, 5)) + Bytes{0x47} + Bytes(99, 'c');
    };
    EXPECT_EQ(remapped(stream(5), {{5, 7}}), stream(7));
}

TEST(TsRemapper, KeepsTimeCodesAndWhatIsCut) {
    for (const size_t first : {0U, 4U}) { // without the first time code, and with it
        for (const size_t last : {0U, 2U, 4U, 50U, 191U}) {
            const auto stream = [=](int pid) {
                Bytes all;
                for (int i = 0; i < 4; ++i) {
                    const auto value = static_cast<unsigned char>(0xA0 + i);
                    all = all + Bytes(i == 0 ? first : 4, value) + bytesOf(filled(pid, i));
                }
                return all + Bytes(last, 0xEE);
            };
            EXPECT_EQ(remapped(stream(5), {{5, 7}}), stream(7)) << first << " " << last;
        }
    }
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
