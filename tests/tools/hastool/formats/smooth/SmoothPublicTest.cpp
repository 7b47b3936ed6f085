// Every public Smooth Streaming manifest is walked to its end.
#include <hastool/formats/OpenPresentation.h>
#include <tools/hastool/ManifestWalk.h>

#include <hastool/formats/smooth/SmoothManifest.h>
#include <support/Samples.h>
#include <support/TempDir.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>

namespace {

constexpr char kUrl[] = "http://origin.test/a/b/manifest";

/// Every chunk comes once, in order.
void checkStream(const std::string& name, const hastool::SmoothStream& stream,
                 const ManifestWalk& walked) {
    EXPECT_TRUE(walked.ended) << name << " " << walked.error;
    ASSERT_EQ(walked.pieces.size(), stream.chunks.size()) << name;
    std::set<std::string> urls;
    for (size_t i = 0; i < walked.pieces.size(); ++i) {
        EXPECT_EQ(walked.pieces[i].index, i) << name;
        EXPECT_TRUE(urls.insert(walked.pieces[i].media.resource.url).second) << name;
        const double start =
            static_cast<double>(stream.chunks[i].time) / static_cast<double>(stream.timescale);
        EXPECT_DOUBLE_EQ(walked.pieces[i].start, start) << name;
    }
}

/// @return how many streams were walked
size_t walkAll(const std::string& name, const std::string& text) {
    const auto manifest = hastool::parseSmoothManifest(text, kUrl);
    const auto fetch = [&](const hastool::Resource& resource) {
        return hastool::Document{text, resource.url};
    };
    size_t count = 0;
    for (size_t track = 0; track < 2; ++track) {
        for (size_t stream = 0;; ++stream) {
            WalkClock clock;
            const auto presentation =
                hastool::openPresentation(kUrl, fetch, std::chrono::seconds(5), clock.source());
            const auto& tracks = presentation->tracks();
            if (track >= tracks.size() || stream >= tracks[track].streams.size())
                break;
            const char* const type = tracks[track].isAudio ? "audio" : "video";
            const auto source = std::find_if(manifest.streams.begin(), manifest.streams.end(),
                                             [&](const auto& it) { return it.type == type; });
            checkStream(name, *source, walk(*presentation, track, stream, clock, 30));
            ++count;
        }
    }
    return count;
}

TEST(SmoothPublic, EveryTrackOfEveryStreamIsWalkedToItsEnd) {
    size_t files = 0;
    size_t streams = 0;
    for (const char* const folder : {"public/smooth", "smooth"}) {
        for (const auto& entry : std::filesystem::directory_iterator(
                 std::string(HAS_SAMPLES_DIR "/manifests/") + folder)) {
            streams += walkAll(entry.path().filename().string(), test::readFile(entry.path()));
            ++files;
        }
    }
    EXPECT_EQ(files, 3U);
    EXPECT_GE(streams, 13U);
}

} // namespace
