#include "MediaFaults.h"
#include "Seed.h"

#include <tools/hastool/FragmentBuilder.h>

#include <algorithm>
#include <iterator>

namespace {

using hastool::Severity;
using test::builtIn;
using test::fieldOf;
using test::Seed;
using test::setField;

constexpr char kManifest[] = "manifest.mpd";
constexpr char kFile[] = "chunk-stream2-00005.m4s";
constexpr char kInit[] = "init-stream2.m4s";

Seed dashSeed(const char* code, std::function<void(std::string&)> put, const char* path = kFile) {
    return {code, builtIn("dash"), kManifest,
            [put = std::move(put), path](CheckedFolder& folder) { put(folder.file(path)); }};
}

/// Moves all segments of a representation, with their indexes. @param ticks  of 1/12,800 s
void moveAll(CheckedFolder& folder, uint64_t ticks) {
    for (const std::string& path : folder.paths("chunk-stream2-", ".m4s")) {
        std::string& bytes = folder.file(path);
        setField(bytes, "tfdt", 4, 8, fieldOf(bytes, "tfdt", 4, 8) + ticks);
        setField(bytes, "sidx", 12, 8, fieldOf(bytes, "sidx", 12, 8) + ticks);
    }
}

class FragmentRule : public test::SeededFault {};

TEST_P(FragmentRule, AloneSeesItsFault) {
    expectOnlyItsRule();
}

const Seed kInits[] = {

    Seed{"mp4-init-missing", test::builtFragments, "v.m3u8",
         [](CheckedFolder& folder) { folder.replace("v.m3u8", "#EXT-X-MAP:URI=\"i.mp4\"\n", ""); }},
    dashSeed(
        "mp4-init-unreadable", [](std::string& it) { it = "no boxes"; }, kInit),
    dashSeed(
        "mp4-init-not-fragmented", [](std::string& it) { test::hideBoxes(it, "trex"); }, kInit),
    dashSeed(
        "mp4-init-not-fragmented", [](std::string& it) { test::hideBoxes(it, "mvex"); }, kInit),
    dashSeed("mp4-track-unknown", [](std::string& it) { setField(it, "tfhd", 4, 4, 7); }),
};

INSTANTIATE_TEST_SUITE_P(Inits, FragmentRule, testing::ValuesIn(kInits), test::nameOfSeed);

const Seed kBoxes[] = {

    dashSeed("mp4-broken", [](std::string& it) { it.resize(it.size() - 100); }),
    dashSeed("mp4-broken", [](std::string& it) { test::hideBoxes(it, "mfhd"); }),
    dashSeed("mp4-fragment-missing",
             [](std::string& it) { it = test::mp4Box("styp", "msdh") + test::mp4Box("mdat", it); }),
    dashSeed(
        "mp4-samples-outside",
        [](std::string& it) { setField(it, "trun", 8, 4, fieldOf(it, "trun", 8, 4) + 1000000); }),
    dashSeed("mp4-decode-time-missing", [](std::string& it) { test::hideBoxes(it, "tfdt"); }),
    Seed{"mp4-fragment-gap", test::builtFragments, "v.m3u8",
         [](CheckedFolder& folder) {
             test::FragmentPlan plan;
             plan.time = 4000;
             plan.sequence = 3;
             std::string& bytes = folder.file("1.m4s");
             bytes = test::fragment(plan);
             plan.time = 6100;
             plan.sequence = 4;
             bytes += test::fragment(plan);
         }},
    Seed{"mp4-sequence", test::builtFragments, "v.m3u8",
         [](CheckedFolder& folder) { setField(folder.file("1.m4s"), "mfhd", 4, 4, 4); }},
    Seed{"mp4-sequence-back", builtIn("dash"), kManifest,
         [](CheckedFolder& folder) { setField(folder.file(kFile), "mfhd", 4, 4, 3); },
         Severity::Note},
    dashSeed("mp4-index",
             [](std::string& it) { setField(it, "sidx", 32, 4, fieldOf(it, "sidx", 32, 4) - 1); }),
    dashSeed("mp4-index-duration", [](std::string& it) { setField(it, "sidx", 36, 4, 12800); }),
};

INSTANTIATE_TEST_SUITE_P(Boxes, FragmentRule, testing::ValuesIn(kBoxes), test::nameOfSeed);

const Seed kPlaces[] = {
    Seed{"mp4-decode-time", builtIn("dash"), kManifest,
         [](CheckedFolder& folder) { moveAll(folder, 128000); }},
    Seed{"mp4-timeline-accuracy", builtIn("dash"), kManifest,
         [](CheckedFolder& folder) { moveAll(folder, 3840); }},
    dashSeed(
        "mp4-index-time",
        [](std::string& it) { setField(it, "sidx", 12, 8, fieldOf(it, "sidx", 12, 8) + 12800); }),
    Seed{"smooth-chunk-time", builtIn("smooth"), "Manifest",
         [](CheckedFolder& folder) {
             const std::string type("\x6D\x1D\x9B\x05\x42\xD5\x44\xE6", 8);
             std::string& bytes =
                 folder.file(folder.paths("QualityLevels(", "/Fragments(video=20000000)").front());
             const size_t at = bytes.find(type);
             ASSERT_NE(at, std::string::npos);
             bytes.replace(at + 20, 8, test::be(30000000, 8));
         }},
};

INSTANTIATE_TEST_SUITE_P(Places, FragmentRule, testing::ValuesIn(kPlaces), test::nameOfSeed);

TEST(FragmentRules, AllowRoundedTimes) {
    CheckedFolder near("dash");
    moveAll(near, 1200); // 94 ms: two and a half frames are 100
    EXPECT_EQ(near.codes(kManifest), std::set<std::string>());
    CheckedFolder far("dash");
    moveAll(far, 1400);
    EXPECT_EQ(far.codes(kManifest), std::set<std::string>{"mp4-timeline-accuracy"});
}

} // namespace
