#include "CheckedFolder.h"

#include <hastool/base/ToolError.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace hastool;

std::string manifestOf(const std::string& presentation) {
    if (presentation.compare(0, 3, "hls") == 0)
        return "master.m3u8";
    return presentation == "smooth" ? "Manifest" : "manifest.mpd";
}

class BuiltInPresentation : public testing::TestWithParam<const char*> {};

TEST_P(BuiltInPresentation, IsHadWhole) {
    CheckedFolder folder(GetParam());
    const Evidence evidence = folder.gather(manifestOf(GetParam()));
    EXPECT_FALSE(evidence.isLive);
    ASSERT_TRUE(evidence.duration.has_value());
    EXPECT_NEAR(*evidence.duration, 42, 0.1);
    ASSERT_GE(evidence.renditions.size(), 5u);
    for (const CheckedRendition& rendition : evidence.renditions) {
        EXPECT_EQ(rendition.trouble, "") << rendition.name;
        EXPECT_TRUE(rendition.isWhole()) << rendition.name;
        EXPECT_GT(rendition.bandwidth, 0u) << rendition.name;
        EXPECT_GE(rendition.segments.size(), 21u) << rendition.name;
        for (const CheckedSegment& segment : rendition.segments)
            EXPECT_EQ(segment.decryptTrouble, "") << rendition.name << " " << segment.name;
    }
}

TEST_P(BuiltInPresentation, IsSilent) {
    CheckedFolder folder(GetParam());
    const Findings findings = folder.check(manifestOf(GetParam()));
    EXPECT_EQ(linesOf(findings), "");
}

INSTANTIATE_TEST_SUITE_P(Check, BuiltInPresentation,
                         testing::Values("hls", "hls-aes", "dash", "dash-cenc", "dash-muxed",
                                         "smooth"),
                         [](const auto& it) {
                             std::string name = it.param;
                             name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
                             return name;
                         });

TEST(Gatherer, FetchesNoSegmentsForTheManifestAlone) {
    CheckedFolder folder("hls");
    CheckOptions options;
    options.manifestOnly = true;
    const Evidence evidence = folder.gather("master.m3u8", options);
    for (const CheckedRendition& rendition : evidence.renditions) {
        EXPECT_EQ(rendition.segments.size(), 21u);
        for (const CheckedSegment& segment : rendition.segments)
            EXPECT_FALSE(segment.isFetched);
    }
}

TEST(Gatherer, FetchesASampleOfEachRendition) {
    CheckedFolder folder("hls");
    CheckOptions options;
    options.sample = 4;
    const Evidence evidence = folder.gather("master.m3u8", options);
    for (const CheckedRendition& rendition : evidence.renditions) {
        std::vector<size_t> fetched;
        for (size_t i = 0; i < rendition.segments.size(); ++i) {
            if (rendition.segments[i].isFetched)
                fetched.push_back(i);
        }
        EXPECT_EQ(fetched, (std::vector<size_t>{0, 1, 19, 20}));
    }
}

TEST(Gatherer, RefusesWhatIsNoManifest) {
    CheckedFolder folder;
    folder.file("page") = "<!DOCTYPE html><html></html>";
    folder.file("text") = "hello";
    EXPECT_THROW(folder.gather("page"), ToolError);
    EXPECT_THROW(folder.gather("text"), ToolError);
    EXPECT_THROW(folder.gather("missing"), ToolError);
}

TEST(Gatherer, TellsOfTheCertificateForWhichThereIsNoManifest) {
    CheckedFolder folder;
    folder.setStatus("https://media.test/a.mpd", 0);
    CheckOptions options;
    options.probe = [](const ProbedServer& server) {
        ServerCertificate certificate;
        certificate.host = server.host;
        certificate.namesHost = server.host != "media.test";
        certificate.daysLeft = 100;
        return certificate;
    };
    EXPECT_EQ(folder.codes("https://media.test/a.mpd", options),
              (std::set<std::string>{"http-failed", "tls-host-name"}));
    EXPECT_THROW(folder.gather("https://other.test/a.mpd", options), ToolError);
    EXPECT_THROW(folder.gather("https://media.test/b.mpd", options), ToolError) << "HTTP 404";
}

TEST(Gatherer, FollowsALivePlaylist) {
    CheckedFolder folder("hls");
    folder.onFetch([&](const std::string& path, double time) {
        if (path != "live.m3u8")
            return;
        const int first = static_cast<int>(time / 2);
        std::string text = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n"
                           "#EXT-X-MEDIA-SEQUENCE:" +
                           std::to_string(first) + "\n";
        for (int i = first; i < first + 5; ++i)
            text += "#EXTINF:2,\n0/" + std::to_string(i + 1) + ".ts\n";
        folder.file("live.m3u8") = text;
    });
    CheckOptions options;
    options.liveSeconds = 9;
    const Evidence evidence = folder.gather("live.m3u8", options);
    EXPECT_TRUE(evidence.isLive);
    EXPECT_NEAR(evidence.checkedFor, 9, 0.1);
    ASSERT_EQ(evidence.renditions.size(), 1u);
    const CheckedRendition& rendition = evidence.renditions[0];
    EXPECT_EQ(rendition.playlists.size(), 5u);
    ASSERT_EQ(rendition.segments.size(), 9u);
    EXPECT_FALSE(rendition.segments[1].isFetched) << "before the live edge";
    for (size_t i = 2; i < 9; ++i)
        EXPECT_TRUE(rendition.segments[i].isFetched) << i;
}

} // namespace
