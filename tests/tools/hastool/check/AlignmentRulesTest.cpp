#include "MediaFaults.h"
#include "Seed.h"

namespace {

using test::builtIn;
using test::Seed;

constexpr char kMaster[] = "master.m3u8";
constexpr char kList[] = "2/index.m3u8";

Seed listSeed(const char* code, const char* from, const char* to) {
    return {code, builtIn("hls"), kMaster,
            [=](CheckedFolder& folder) { folder.replace(kList, from, to); }};
}

/// Makes the last two segments one.
void joinLastSegments(CheckedFolder& folder) {
    for (const std::string& path : folder.paths("", "/index.m3u8"))
        folder.replace(path, "TARGETDURATION:2", "TARGETDURATION:4");
    folder.file("2/20.ts") += folder.file("2/21.ts");
    folder.replace(kList, "#EXTINF:2.000000,\n20.ts\n#EXTINF:2.000000,\n21.ts\n",
                   "#EXTINF:4.000000,\n20.ts\n");
}

/// Declares so many segments a little shorter than they are.
void shorten(CheckedFolder& folder, int count) {
    for (int i = 3; i < 3 + count; ++i) {
        const std::string name = "\n" + std::to_string(i) + ".ts";
        folder.replace(kList, "#EXTINF:2.000000," + name, "#EXTINF:1.880000," + name);
    }
}

class AlignmentRule : public test::SeededFault {};

TEST_P(AlignmentRule, AloneSeesItsFault) {
    expectOnlyItsRule();
}

const Seed kRenditions[] = {
    Seed{"align-segment-count", builtIn("hls"), kMaster, joinLastSegments},
    Seed{"align-segments", builtIn("hls"), kMaster,
         [](CheckedFolder& folder) { shorten(folder, 5); }},
    listSeed("align-discontinuities", "#EXTINF:2.000000,\n10.ts",
             "#EXT-X-DISCONTINUITY\n#EXTINF:2.000000,\n10.ts"),
    Seed{"align-timestamps", builtIn("hls"), kMaster,
         [](CheckedFolder& folder) {
             for (const std::string& path : folder.paths("2/", ".ts"))
                 test::moveStream(folder.file(path), 1);
         }},
    Seed{"align-lengths", builtIn("hls"), kList,
         [](CheckedFolder& folder) {
             // The audio of the last segment, but for its first packets.
             int kept = 0;
             test::eachPacket(folder.file("2/21.ts"), [&](test::PacketAt packet) {
                 return packet.pid() != test::kAudioPid || ++kept < 20;
             });
         }},
};

INSTANTIATE_TEST_SUITE_P(Renditions, AlignmentRule, testing::ValuesIn(kRenditions),
                         test::nameOfSeed);

TEST(AlignmentRules, AllowDeclaredTimesToDifferALittle) {
    CheckedFolder folder("hls");
    shorten(folder, 4);
    EXPECT_EQ(linesOf(folder.check(kMaster)), "");
}

/// A rendition of which the last segment of two seconds begins at a time.
hastool::CheckedRendition renditionWith(hastool::CheckedRendition::Kind kind, double lastStart) {
    hastool::CheckedRendition rendition;
    rendition.name = kind == hastool::CheckedRendition::Kind::Audio ? "audio" : "video";
    rendition.kind = kind;
    rendition.segments.resize(1);
    rendition.segments[0].start = lastStart;
    rendition.segments[0].seconds = 2;
    return rendition;
}

TEST(AlignmentRules, CompareAudioInPlaylistsOfItsOwn) {
    using Kind = hastool::CheckedRendition::Kind;
    const auto codesWith = [](double audioStart) {
        hastool::Evidence evidence;
        evidence.renditions = {renditionWith(Kind::Video, 40),
                               renditionWith(Kind::Audio, audioStart)};
        return codesOf(hastool::judge(evidence));
    };
    EXPECT_EQ(codesWith(37.6), std::set<std::string>());
    EXPECT_EQ(codesWith(42.4), std::set<std::string>());
    EXPECT_EQ(codesWith(37.4), std::set<std::string>{"align-lengths"});
    EXPECT_EQ(codesWith(42.6), std::set<std::string>{"align-lengths"});
}

} // namespace
