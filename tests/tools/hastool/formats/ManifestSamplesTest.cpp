// Public manifests are read with the meaning that their authors gave them.
#include <hastool/formats/OpenPresentation.h>
#include <tools/hastool/Documents.h>
#include <tools/hastool/ErrorOf.h>

#include <hastool/formats/dash/DashManifest.h>
#include <hastool/formats/dash/DashSelection.h>
#include <hastool/formats/smooth/SmoothInit.h>
#include <hastool/formats/smooth/SmoothManifest.h>
#include <support/TempDir.h>

#include <gtest/gtest.h>

using hastool::DashManifest;
using hastool::SmoothManifest;
using test::errorOf;

namespace {

std::string sample(const std::string& name) {
    return test::readFile(std::string(HAS_SAMPLES_DIR) + "/manifests/" + name);
}

DashManifest dash(const std::string& name) {
    return hastool::parseDashManifest(sample("dash/" + name), "http://h/" + name);
}

std::unique_ptr<hastool::Presentation> open(Documents& documents, const std::string& name) {
    const std::string url = "http://h/p/manifest";
    documents.set(url, sample(name));
    return hastool::openPresentation(url, documents.fetcher(), std::chrono::milliseconds(0));
}

TEST(ManifestSamples, ATimelineGivesASegmentForEveryRepeat) {
    Documents documents;
    const auto presentation = open(documents, "dash/go-dash_segment_timeline.mpd");
    ASSERT_EQ(presentation->tracks().size(), 2U);
    EXPECT_EQ(presentation->tracks()[0].streams.at(0).bitrate, 4172274);
    EXPECT_EQ(presentation->tracks()[0].streams.at(0).label, "1280x720");
    double seconds = 0;
    int segments = 0;
    for (auto next = presentation->next(0, 0); next.kind == hastool::NextPiece::Kind::Piece;
         next = presentation->next(0, 0)) {
        ++segments;
        seconds += next.piece.seconds;
        EXPECT_EQ(next.piece.media.resource.url,
                  "http://localhost:8002/public/video/segment" + std::to_string(segments) + ".m4f");
    }
    EXPECT_EQ(segments, 9);
    EXPECT_NEAR(seconds, 1800799 / 30000.0, 0.001) << "not what the manifest tells of itself";
}

TEST(ManifestSamples, DescriptorsOfTwoSystemsComeWithTheirPsshData) {
    Documents documents;
    const auto presentation = open(documents, "dash/go-dash_hbbtv_profile.mpd");
    ASSERT_EQ(presentation->tracks().size(), 2U);
    EXPECT_EQ(presentation->tracks()[0].streams.size(), 4U);
    const auto piece = presentation->next(0, 3).piece;
    EXPECT_EQ(piece.media.resource.url, "http://h/p/1500/video/1/seg-0.m4f");
    EXPECT_EQ(piece.init.value().resource.url, "http://h/p/1500/video/1/init.mp4");
    ASSERT_TRUE(piece.protection);
    const auto& descriptors = piece.protection->descriptors;
    ASSERT_EQ(descriptors.size(), 3U);
    EXPECT_EQ(descriptors[0].defaultKid, "08e36702-8f33-436c-a5dd-60ffe5571e60");
    EXPECT_EQ(descriptors[2].schemeId, "urn:uuid:9a04f079-9840-4286-ab92-e65be0885f95");
    EXPECT_EQ(descriptors[2].pssh.rfind("BgIAAAEAAQD8ATwAVwBSAE0", 0), 0U)
        << "the box's data, a PlayReady object";
    EXPECT_TRUE(piece.protection->isSeparate);
}

TEST(ManifestSamples, IndexRangesAndSystemsOfSeveralDrms) {
    const DashManifest manifest = dash("shaka-packager_encryption-with-multi-drms.mpd");
    const auto video =
        hastool::selectRepresentations(manifest.periods.at(0), hastool::TrackKind::Main);
    ASSERT_EQ(video.size(), 1U);
    EXPECT_EQ(video[0]->bandwidth, 979373);
    EXPECT_EQ(video[0]->addressing.indexRange.value().first, 1692U);
    EXPECT_EQ(video[0]->addressing.initRange.value().length, 1692U);
    EXPECT_EQ(video[0]->protections.size(), 4U);
    EXPECT_EQ(hastool::selectRepresentations(manifest.periods[0], hastool::TrackKind::Audio).size(),
              1U);
    const DashManifest single = dash("shaka-packager_encryption.mpd");
    EXPECT_FALSE(
        hastool::selectRepresentations(single.periods.at(0), hastool::TrackKind::Main).empty());
}

TEST(ManifestSamples, ATimeOffsetLeavesTheFirstSegmentAtTheBegin) {
    Documents documents;
    const auto presentation = open(documents, "dash/python-mpegdash_with_content_protection.mpd");
    const auto piece = presentation->next(0, 0).piece;
    EXPECT_EQ(piece.media.resource.url, "http://h/p/video_720p_1.mp4");
    EXPECT_DOUBLE_EQ(piece.start, 0);
    EXPECT_NEAR(piece.seconds, 10.08, 0.001);
}

TEST(ManifestSamples, ALiveTimelineOfThePeriodServesAllRepresentations) {
    const DashManifest manifest = dash("media3_sample_mpd_segment_template.mpd");
    EXPECT_TRUE(manifest.isDynamic);
    EXPECT_DOUBLE_EQ(manifest.timeShiftDepth.value(), 7200);
    const auto video =
        hastool::selectRepresentations(manifest.periods.at(0), hastool::TrackKind::Main);
    ASSERT_EQ(video.size(), 5U);
    EXPECT_EQ(video[0]->bandwidth, 124000);
    EXPECT_EQ(video[4]->bandwidth, 2326000);
    ASSERT_TRUE(video[0]->addressing.timeline);
    EXPECT_EQ(video[0]->addressing.timeline->size(), 3U);
    EXPECT_EQ(video[0]->addressing.media, "sq/$Number$");
}

TEST(ManifestSamples, AKnownDurationEndsALivePeriod) {
    const DashManifest manifest = dash("media3_sample_mpd_live_known_duration_ended.mpd");
    EXPECT_TRUE(manifest.isDynamic);
    EXPECT_DOUBLE_EQ(manifest.periods.at(0).duration.value(), 10);
    EXPECT_EQ(manifest.clocks.at(0).value, "2024-01-01T00:01:00Z");
}

TEST(ManifestSamples, ABrokenOneEndsInOneLine) {
    const std::string error = errorOf([] { dash("go-dash_invalid.mpd"); });
    EXPECT_EQ(error.rfind("http://h/go-dash_invalid.mpd: ", 0), 0U) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos);
}

TEST(ManifestSamples, SmoothQualitiesAndChunks) {
    const SmoothManifest manifest =
        hastool::parseSmoothManifest(sample("smooth/rx-player_Manifest_Regular.xml"), "m");
    EXPECT_FALSE(manifest.isLive);
    const auto& video = manifest.streams.at(0);
    EXPECT_EQ(video.type, "video");
    ASSERT_EQ(video.qualities.size(), 8U);
    EXPECT_EQ(video.qualities[0].bitrate, 300000);
    EXPECT_EQ(video.qualities[7].width, 1920);
    EXPECT_EQ(video.chunks.size(), 38U);
    EXPECT_EQ(video.chunks.back().time, 740000000U);
    EXPECT_EQ(hastool::expandSmoothTemplate(video.url, video.qualities[0], 740000000, "m"),
              "QualityLevels300000/Fragmentsvideo=740000000");
    EXPECT_NE(hastool::makeSmoothInit(video, video.qualities[0], 1).find("avcC"),
              std::string::npos);
}

TEST(ManifestSamples, SmoothProtectionAttributesAndTimes) {
    const SmoothManifest manifest =
        hastool::parseSmoothManifest(sample("smooth/media3_sample_ismc_1.ismc"), "m");
    EXPECT_EQ(manifest.protections.at(0).systemId, "9A04F079-9840-4286-AB92-E65BE0885F95");
    EXPECT_EQ(manifest.protections[0].header.rfind("fgMAAAEAAQB0Az", 0), 0U);
    const auto& video = manifest.streams.at(0);
    ASSERT_EQ(video.qualities.size(), 2U);
    EXPECT_EQ(video.qualities[0].customAttributes, "Compatibility=Handheld");
    ASSERT_EQ(video.chunks.size(), 3U);
    EXPECT_EQ(video.chunks[1].time, 19680000U);
    EXPECT_EQ(hastool::expandSmoothTemplate(video.url, video.qualities[1], 0, "m"),
              "QualityLevels(1536000,Compatibility=Desktop)/Fragments(video=0)");
}

} // namespace
