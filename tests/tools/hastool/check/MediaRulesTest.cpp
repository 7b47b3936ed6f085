#include "MediaFaults.h"
#include "Seed.h"

#include <support/Mp4Boxes.h>
#include <tools/hastool/ProgramBuilder.h>

#include <random>

namespace {

using hastool::Severity;
using test::builtIn;
using test::Seed;

constexpr char kList[] = "2/index.m3u8";
constexpr char kMaster[] = "master.m3u8";
constexpr char kManifest[] = "manifest.mpd";

std::string randomBytes(size_t size) {
    std::mt19937 source(3);
    std::string bytes;
    while (bytes.size() < size)
        bytes += static_cast<char>(source() & 0xFF);
    return bytes;
}

Seed segmentSeed(const char* code, std::function<void(std::string&)> put) {
    return {code, builtIn("hls"), kList,
            [put = std::move(put)](CheckedFolder& folder) { put(folder.file("2/5.ts")); }};
}

/// Moves the segments from the tenth on.
Seed shiftSeed(const char* code, double seconds) {
    return {code, builtIn("hls"), kList, [seconds](CheckedFolder& folder) {
                for (int i = 10; i <= 21; ++i)
                    test::moveStream(folder.file("2/" + std::to_string(i) + ".ts"), seconds);
            }};
}

/// Replaces a text in the manifest.
Seed textSeed(const char* code, const char* presentation, const char* manifest, const char* from,
              const char* to, Severity least = Severity::Warning) {
    return {code, builtIn(presentation), manifest,
            [=](CheckedFolder& folder) { folder.replace(manifest, from, to); }, least};
}

Seed allSeed(const char* code, const char* presentation, const char* manifest, const char* from,
             const char* to) {
    return {code, builtIn(presentation), manifest,
            [=](CheckedFolder& folder) { folder.replaceAll(manifest, from, to); }};
}

/// Lets the last segments have a fifth of their samples: the last runs are those of video and
/// audio.
void cutLastSegments(CheckedFolder& folder) {
    for (const std::string& path : folder.paths("v", ".mp4")) {
        std::string& bytes = folder.file(path);
        const size_t audio = bytes.rfind("trun");
        const size_t video = bytes.rfind("trun", audio - 1);
        bytes.replace(audio + 8, 4, test::be(19));
        bytes.replace(video + 8, 4, test::be(10));
    }
}

class MediaRule : public test::SeededFault {};

TEST_P(MediaRule, AloneSeesItsFault) {
    expectOnlyItsRule();
}

const Seed kSegments[] = {
    segmentSeed("media-unreadable", [](std::string& it) { it.clear(); }),
    segmentSeed("media-unreadable", [](std::string& it) { it = "what is this?"; }),
    segmentSeed("media-looks-encrypted", [](std::string& it) { it = "\x01" + randomBytes(50000); }),
    Seed{"media-format-change", builtIn("hls"), kList,
         [](CheckedFolder& folder) {
             folder.file("2/5.ts") = test::textOf(test::adtsFrames(94));
             folder.setHeader("2/5.ts", "Content-Type", "audio/aac");
         }},
    shiftSeed("media-timestamp-jump", 10),
    shiftSeed("media-timestamp-jump", -3),
    shiftSeed("media-segment-gap", 0.5),
    shiftSeed("media-segment-gap", -0.2),
};

INSTANTIATE_TEST_SUITE_P(Segments, MediaRule, testing::ValuesIn(kSegments), test::nameOfSeed);

const Seed kRates[] = {
    textSeed("hls-peak-bandwidth", "hls", kMaster, "BANDWIDTH=1273888", "BANDWIDTH=1100000"),
    textSeed("hls-loose-bandwidth", "hls", kMaster, "BANDWIDTH=1273888", "BANDWIDTH=5000000",
             Severity::Note),
    textSeed("hls-average-exceeded", "hls", kMaster, "BANDWIDTH=1273888",
             "BANDWIDTH=1273888,AVERAGE-BANDWIDTH=900000"),
    textSeed("dash-bandwidth", "dash", kManifest, "bandwidth=\"1140000\"", "bandwidth=\"800000\""),
    Seed{"smooth-bitrate-exceeded", builtIn("smooth"), "Manifest",
         [](CheckedFolder& folder) {
             const std::string old = "QualityLevels(1140000)/";
             for (const std::string& path : folder.paths(old))
                 folder.file("QualityLevels(800000)/" + path.substr(old.size())) =
                     folder.file(path);
             folder.replace("Manifest", "Bitrate=\"1140000\"", "Bitrate=\"800000\"");
         }},
};

INSTANTIATE_TEST_SUITE_P(Rates, MediaRule, testing::ValuesIn(kRates), test::nameOfSeed);

const Seed kDurations[] = {
    textSeed("media-duration", "hls", kList, "#EXTINF:2.000000,\n5.ts", "#EXTINF:1.200000,\n5.ts"),
    allSeed("media-duration-drift", "hls", kList, "#EXTINF:2.000000", "#EXTINF:1.900000"),
    Seed{"media-presentation-length", builtIn("dash-muxed"), kManifest, cutLastSegments},
};

INSTANTIATE_TEST_SUITE_P(Durations, MediaRule, testing::ValuesIn(kDurations), test::nameOfSeed);

const Seed kVideo[] = {

    Seed{"video-key-frame", builtIn("dash"), kManifest,
         [](CheckedFolder& folder) {
             test::spoilKeyFrames(folder.file("chunk-stream2-00005.m4s"));
         }},
    Seed{"video-key-frame", builtIn("hls"), kMaster,
         [](CheckedFolder& folder) {
             folder.replace(kMaster, "#EXT-X-VERSION:3\n",
                            "#EXT-X-VERSION:3\n#EXT-X-INDEPENDENT-SEGMENTS\n");
             test::spoilKeyFrames(folder.file("2/5.ts"));
         }},
    segmentSeed("video-key-frame-late", [](std::string& it) { test::spoilKeyFrames(it); }),
    Seed{"video-sync-flag", builtIn("dash"), kManifest,
         [](CheckedFolder& folder) {
             test::setField(folder.file("chunk-stream2-00005.m4s"), "trun", 12, 4, 0x1010000);
         }},
    textSeed("media-codec", "hls", kMaster, "640x360,CODECS=\"avc1.4D401F",
             "640x360,CODECS=\"avc1.64001F"),
    textSeed("media-codec", "hls", kMaster, "640x360,CODECS=\"avc1.4D401F",
             "640x360,CODECS=\"avc1.4D401E"),
    textSeed("media-codec", "dash", kManifest, "mp4a.40.2", "ac-3"),
    textSeed("media-codec-undeclared", "hls", kMaster, "640x360,CODECS=\"avc1.4D401F,mp4a.40.2\"",
             "640x360,CODECS=\"avc1.4D401F\""),
    textSeed("video-resolution", "hls", kMaster, "RESOLUTION=640x360", "RESOLUTION=1280x720"),
    textSeed("video-frame-rate", "hls", kMaster, "RESOLUTION=640x360",
             "RESOLUTION=640x360,FRAME-RATE=50.000"),
    allSeed("video-frame-rate", "dash", kManifest, "frameRate=\"25/1\"", "frameRate=\"12/1\""),
};

INSTANTIATE_TEST_SUITE_P(Video, MediaRule, testing::ValuesIn(kVideo), test::nameOfSeed);

TEST(RateRules, AllowATenthMore) {
    const auto codesWith = [](const std::string& bandwidth) {
        CheckedFolder folder("hls");
        folder.replace(kMaster, "BANDWIDTH=1273888", "BANDWIDTH=" + bandwidth);
        return folder.codes(kMaster);
    };
    EXPECT_EQ(codesWith("1158100"), std::set<std::string>());
    EXPECT_EQ(codesWith("1158000"), std::set<std::string>{"hls-peak-bandwidth"});
}

TEST(RateRules, ConcludeNothingFromASample) {
    CheckedFolder folder("hls");
    folder.replace(kMaster, "BANDWIDTH=1273888", "BANDWIDTH=1273888,AVERAGE-BANDWIDTH=900000");
    hastool::CheckOptions options;
    options.sample = 4;
    EXPECT_EQ(folder.codes(kMaster, options), std::set<std::string>());
}

TEST(MediaRules, ConcludeNothingAcrossAGap) {
    CheckedFolder folder("hls");
    for (int i = 10; i <= 21; ++i)
        test::moveStream(folder.file("2/" + std::to_string(i) + ".ts"), 10);
    folder.setStatus("2/9.ts", 404); // the jump is between segments that do not adjoin
    for (const std::string& code : folder.codes(kList))
        EXPECT_NE(code, "media-timestamp-jump");
}

TEST(MediaRules, AllowAnAnnouncedBreak) {
    CheckedFolder folder("hls");
    for (int i = 10; i <= 21; ++i)
        test::moveStream(folder.file("2/" + std::to_string(i) + ".ts"), 10);
    folder.replace(kList, "#EXTINF:2.000000,\n10.ts",
                   "#EXT-X-DISCONTINUITY\n#EXTINF:2.000000,\n10.ts");
    EXPECT_EQ(linesOf(folder.check(kList)), "");
}

} // namespace
