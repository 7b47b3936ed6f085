#include <tools/hastool/TsBuilder.h>

#include <hastool/media/PacketFinder.h>
#include <support/ExactBytes.h>

#include <gtest/gtest.h>

using hastool::PacketFinder;
using hastool::TsUnit;
using test::Bytes;
using test::operator+;
using test::bytesOf;
using test::filled;

namespace {

Bytes packets(int count, int first = 0) {
    Bytes stream;
    for (int i = first; i < first + count; ++i)
        stream = stream + bytesOf(filled(0x100 + i, i));
    return stream;
}

Bytes timedPackets(int count) {
    Bytes stream;
    for (int i = 0; i < count; ++i)
        stream =
            stream + Bytes{1, 2, 3, static_cast<unsigned char>(i)} + bytesOf(filled(0x100 + i, i));
    return stream;
}

struct Found {
    std::vector<int> pids;
    std::vector<int> timecodes; ///< their last bytes
    size_t packetSize = 0;
    uint64_t skipped = 0;
    uint64_t losses = 0;
};

Found find(const Bytes& stream, size_t piece = 1000) {
    Found result;
    PacketFinder finder([&result](const TsUnit& unit) {
        result.pids.push_back(unit.pid());
        if (unit.hasTimecode)
            result.timecodes.push_back(unit.timecode[3]);
    });
    for (size_t at = 0; at < stream.size(); at += piece) {
        const auto begin = stream.begin() + static_cast<std::ptrdiff_t>(at);
        const size_t size = std::min(piece, stream.size() - at);
        const auto bytes = test::ExactBytes::of(begin, begin + static_cast<std::ptrdiff_t>(size));
        finder.push(bytes.data(), bytes.size());
    }
    finder.finish();
    result.packetSize = finder.packetSize();
    result.skipped = finder.skippedBytes();
    result.losses = finder.syncLosses();
    EXPECT_EQ(finder.packets(), result.pids.size());
    return result;
}

std::vector<int> pids(int count) {
    std::vector<int> result;
    for (int i = 0; i < count; ++i)
        result.push_back(0x100 + i);
    return result;
}

} // namespace

TEST(PacketFinder, CutsPlainStreamsHoweverTheyCome) {
    for (const size_t piece : std::initializer_list<size_t>{1, 7, 188, 189, 5000}) {
        const Found found = find(packets(12), piece);
        EXPECT_EQ(found.pids, pids(12)) << piece;
        EXPECT_EQ(found.packetSize, 188U);
        EXPECT_EQ(found.skipped, 0U);
        EXPECT_EQ(found.losses, 0U);
    }
}

TEST(PacketFinder, CutsStreamsWithTimeCodes) {
    for (const size_t piece : std::initializer_list<size_t>{1, 100, 192, 5000}) {
        const Found found = find(timedPackets(6), piece);
        EXPECT_EQ(found.pids, pids(6)) << piece;
        EXPECT_EQ(found.timecodes, (std::vector<int>{0, 1, 2, 3, 4, 5}));
        EXPECT_EQ(found.packetSize, 192U);
        EXPECT_EQ(found.skipped, 0U);
    }
}

TEST(PacketFinder, FindsASinglePacket) {
    EXPECT_EQ(find(packets(1)).pids, pids(1));
    EXPECT_EQ(find(timedPackets(1)).pids, pids(1));
    EXPECT_EQ(find(timedPackets(1)).packetSize, 192U);
    EXPECT_EQ(find(packets(2)).pids, pids(2));
}

TEST(PacketFinder, SkipsGarbageBeforeBetweenAndBehind) {
    const Bytes garbage(333, 0x46);
    const Found found = find(garbage + packets(5) + garbage + packets(5, 5) + Bytes(50, 0x47));
    EXPECT_EQ(found.pids, pids(10));
    EXPECT_EQ(found.skipped, 333U + 333U + 50U);
    EXPECT_EQ(found.losses, 1U);
}

TEST(PacketFinder, LeavesAPacketOutWhoseSyncByteIsDamaged) {
    Bytes stream = packets(10);
    stream[4 * 188] = 0x46;
    const Found found = find(stream);
    EXPECT_EQ(found.pids.size(), 9U);
    EXPECT_EQ(found.skipped, 188U);
    EXPECT_EQ(found.losses, 1U);
}

TEST(PacketFinder, LeavesACutPacketOutAndLosesNoneBehindIt) {
    Bytes stream = packets(4);
    stream.resize(3 * 188 + 100);
    const Found found = find(stream + packets(6, 4));
    EXPECT_EQ(found.pids,
              (std::vector<int>{0x100, 0x101, 0x102, 0x104, 0x105, 0x106, 0x107, 0x108, 0x109}));
    EXPECT_EQ(found.skipped, 100U);
}

TEST(PacketFinder, SyncBytesInsideAPacketDoNotMislead) {
    Bytes stream = bytesOf(filled(0x100, 0, 0x47));
    for (int i = 1; i < 10; ++i)
        stream = stream + bytesOf(filled(0x100 + i, i, 0x47));
    EXPECT_EQ(find(stream).pids, pids(10));
}

TEST(PacketFinder, FindsNothingInOtherBytes) {
    for (const Bytes& bytes : {Bytes(), Bytes{0x47}, Bytes(5000, 0), Bytes(187, 0x47)}) {
        const Found found = find(bytes);
        EXPECT_TRUE(found.pids.empty());
        EXPECT_EQ(found.packetSize, 0U);
        EXPECT_EQ(found.skipped, bytes.size());
    }
}

TEST(PacketFinder, LeavesACutLastPacketOut) {
    Bytes stream = packets(5);
    stream.resize(stream.size() - 1);
    EXPECT_EQ(find(stream).pids, pids(4));
    EXPECT_EQ(find(stream).skipped, 187U);
}
