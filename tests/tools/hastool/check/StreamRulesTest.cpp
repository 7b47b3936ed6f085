#include "MediaFaults.h"
#include "Seed.h"

#include <tools/hastool/ProgramBuilder.h>

namespace {

using test::builtIn;
using test::PacketAt;
using test::Seed;

constexpr char kList[] = "2/index.m3u8"; // alone, so that no other rendition is looked at beside it
constexpr char kFile[] = "2/5.ts";

Seed hlsSeed(const char* code, std::function<void(std::string&)> put) {
    return {code, builtIn("hls"), kList,
            [put = std::move(put)](CheckedFolder& folder) { put(folder.file(kFile)); }};
}

void dropPid(std::string& segment, int pid) {
    test::eachPacket(segment, [pid](PacketAt packet) { return packet.pid() != pid; });
}

/// Puts the packets of a section in the place of the first packet of its PID.
void replaceTable(std::string& segment, int pid, const test::Bytes& section, bool isAdded = false) {
    std::string changed;
    bool isDone = false;
    for (size_t at = 0; at < segment.size(); at += test::kPacketBytes) {
        const bool isIt = !isDone && PacketAt(segment.data() + at).pid() == pid;
        const int counter = segment[at + 3] & 0x0F;
        if (!isIt || isAdded)
            changed += segment.substr(at, test::kPacketBytes);
        if (isIt)
            changed += test::textOf(test::tablePackets(pid, section, counter + (isAdded ? 1 : 0)));
        isDone = isDone || isIt;
    }
    segment = changed;
}

test::Bytes pmt(unsigned int audioType) {
    using test::operator+;
    return test::section(
        2, 1, test::pmtBody(0x100, {}, test::stream(0x1B, 0x100) + test::stream(audioType, 0x101)));
}

class StreamRule : public test::SeededFault {};

TEST_P(StreamRule, AloneSeesItsFault) {
    expectOnlyItsRule();
}

const Seed kTables[] = {

    hlsSeed("ts-tables-missing", [](std::string& it) { dropPid(it, 0); }),
    hlsSeed("ts-tables-missing", [](std::string& it) { dropPid(it, 0x1000); }),
    hlsSeed("ts-tables-late",
            [](std::string& it) {
                size_t at = 0;
                while (PacketAt(it.data() + at).pid() != test::kAudioPid)
                    at += test::kPacketBytes;
                const std::string first = it.substr(at, test::kPacketBytes); // of audio
                it.erase(at, test::kPacketBytes);
                it.insert(0, first);
            }),
    hlsSeed("ts-several-programs",
            [](std::string& it) {
                using test::operator+;
                replaceTable(
                    it, 0,
                    test::section(0, 1, test::patEntry(1, 0x1000) + test::patEntry(2, 0x1001)));
            }),
    hlsSeed("ts-tables-change", [](std::string& it) { replaceTable(it, 0x1000, pmt(0x81), true); }),
    hlsSeed("ts-bad-tables",
            [](std::string& it) {
                test::Bytes bad = pmt(0x0F);
                bad.back() = static_cast<unsigned char>(bad.back() ^ 1);
                replaceTable(it, 0x1000, bad, true);
            }),
    Seed{"ts-streams-change", builtIn("hls"), kList,
         [](CheckedFolder& folder) {
             for (int i = 10; i <= 21; ++i)
                 replaceTable(folder.file("2/" + std::to_string(i) + ".ts"), 0x1000, pmt(0x11));
         }},
};

INSTANTIATE_TEST_SUITE_P(Tables, StreamRule, testing::ValuesIn(kTables), test::nameOfSeed);

const Seed kPackets[] = {
    hlsSeed("ts-continuity", [](std::string& it) { test::dropPacket(it, test::kVideoPid, 20); }),
    hlsSeed("ts-continuity-between",
            [](std::string& it) {
                size_t last = 0;
                for (size_t at = 0; at < it.size(); at += test::kPacketBytes)
                    last = PacketAt(it.data() + at).pid() == test::kVideoPid ? at : last;
                it.erase(last, test::kPacketBytes);
            }),
    hlsSeed("ts-scrambled",
            [](std::string& it) {
                bool isDone = false;
                test::eachPacket(it, [&](PacketAt packet) {
                    if (!isDone && packet.pid() == test::kVideoPid && !packet.isStart()) {
                        packet.scramble();
                        isDone = true;
                    }
                    return true;
                });
            }),
    hlsSeed("ts-damaged-packets",
            [](std::string& it) {
                size_t seen = 0;
                test::eachPacket(it, [&](PacketAt packet) {
                    if (packet.pid() == test::kVideoPid && !packet.isStart() && seen++ == 30)
                        packet.damage();
                    return true;
                });
            }),
    hlsSeed("ts-stray-bytes", [](std::string& it) { it += "0123456789"; }),
};

INSTANTIATE_TEST_SUITE_P(Packets, StreamRule, testing::ValuesIn(kPackets), test::nameOfSeed);

const Seed kTimes[] = {
    hlsSeed("ts-clock-missing",
            [](std::string& it) {
                test::eachPacket(it, [](PacketAt packet) {
                    if (packet.hasClock())
                        packet.takeClockAway();
                    return true;
                });
            }),
    hlsSeed("ts-clock-interval",
            [](std::string& it) {
                size_t seen = 0;
                test::eachPacket(it, [&](PacketAt packet) {
                    if (packet.hasClock() && ++seen > 10 && seen < 20)
                        packet.takeClockAway();
                    return true;
                });
            }),
    hlsSeed("ts-clock-order",
            [](std::string& it) {
                size_t seen = 0;
                test::eachPacket(it, [&](PacketAt packet) {
                    if (packet.hasClock() && ++seen == 10)
                        packet.moveClock(-0.5);
                    return true;
                });
            }),
    hlsSeed("ts-decode-order",
            [](std::string& it) {
                size_t seen = 0;
                test::eachPacket(it, [&](PacketAt packet) {
                    if (packet.pid() == test::kVideoPid && packet.isStart() && ++seen == 10)
                        packet.moveTimes(-0.1);
                    return true;
                });
            }),
    Seed{"ts-shown-before-decoded", test::builtStream, "v.m3u8",
         [](CheckedFolder& folder) {
             test::ProgramBuilder program;
             program.tables();
             for (int i = 0; i < 10; ++i) {
                 const int64_t time = 270000 + i * 18000;
                 program.video(time - (i == 5 ? 9000 : 0), time,
                               i == 0 ? test::keyPicture() : test::plainSlice(), time - 9000);
                 program.audio(270000 + i * 9 * 1920, i < 9 ? 9 : 13);
             }
             folder.file("1.ts") = program.text();
         }},
};

INSTANTIATE_TEST_SUITE_P(Times, StreamRule, testing::ValuesIn(kTimes), test::nameOfSeed);

TEST(StreamRules, LetCountersBeginAnew) {
    CheckedFolder folder = test::builtStream(); // whose segments all begin with 0
    EXPECT_EQ(linesOf(folder.check("v.m3u8")), "");
}

TEST(StreamRules, AllowClocksATenthOfASecondApart) {
    const auto codesWith = [](size_t taken) {
        CheckedFolder folder("hls");
        size_t seen = 0;
        test::eachPacket(folder.file(kFile), [&](PacketAt packet) {
            if (packet.hasClock() && ++seen > 10 && seen <= 10 + taken)
                packet.takeClockAway();
            return true;
        });
        return folder.codes(kList);
    };
    EXPECT_EQ(codesWith(1), std::set<std::string>()); // 80 ms
    EXPECT_EQ(codesWith(2), std::set<std::string>{"ts-clock-interval"});
}

} // namespace
