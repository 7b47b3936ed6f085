#include "MediaFaults.h"
#include "Seed.h"

#include <support/Mp4Boxes.h>
#include <tools/hastool/ProgramBuilder.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
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

/// The largest number that stands behind a text: encoders do not make quite the same bitrates
/// everywhere.
int largestBehind(const std::string& text, const std::string& key) {
    int largest = 0;
    for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + 1))
        largest = std::max(largest, std::atoi(text.c_str() + at + key.size()));
    return largest;
}

/// Declares another bitrate for the highest rendition. @param more  attributes behind it
void declareHighest(CheckedFolder& folder, const char* manifest, const std::string& key,
                    double factor, const std::string& more = {}) {
    const int bitrate = largestBehind(folder.file(manifest), key);
    folder.replace(manifest, key + std::to_string(bitrate),
                   key + std::to_string(std::lround(bitrate * factor)) + more);
}

Seed highestSeed(const char* code, double factor, const std::string& more = {},
                 Severity least = Severity::Warning) {
    return {
        code, builtIn("hls"), kMaster,
        [=](CheckedFolder& folder) { declareHighest(folder, kMaster, "BANDWIDTH=", factor, more); },
        least};
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
    highestSeed("hls-peak-bandwidth", 0.86),
    highestSeed("hls-loose-bandwidth", 4, "", Severity::Note),
    highestSeed("hls-average-exceeded", 1, ",AVERAGE-BANDWIDTH=900000"),
    Seed{"dash-bandwidth", builtIn("dash"), kManifest,
         [](CheckedFolder& folder) { declareHighest(folder, kManifest, "bandwidth=\"", 0.7); }},
    Seed{"smooth-bitrate-exceeded", builtIn("smooth"), "Manifest",
         [](CheckedFolder& folder) {
             const int bitrate = largestBehind(folder.file("Manifest"), "Bitrate=\"");
             const std::string old = "QualityLevels(" + std::to_string(bitrate) + ")/";
             for (const std::string& path : folder.paths(old))
                 folder.file("QualityLevels(800000)/" + path.substr(old.size())) =
                     folder.file(path);
             folder.replace("Manifest", "Bitrate=\"" + std::to_string(bitrate), "Bitrate=\"800000");
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
    const auto codesWith = [](double factor) {
        CheckedFolder folder("hls");
        declareHighest(folder, kMaster, "BANDWIDTH=", factor);
        return folder.codes(kMaster);
    };
    EXPECT_EQ(codesWith(1 / 1.0999), std::set<std::string>());
    EXPECT_EQ(codesWith(1 / 1.1001), std::set<std::string>{"hls-peak-bandwidth"});
}

TEST(RateRules, ConcludeNothingFromASample) {
    CheckedFolder folder("hls");
    declareHighest(folder, kMaster, "BANDWIDTH=", 1, ",AVERAGE-BANDWIDTH=900000");
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
