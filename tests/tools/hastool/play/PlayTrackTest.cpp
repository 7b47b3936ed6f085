#include <hastool/play/PlayTrack.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

using hastool::PlayTrack;
using hastool::TrackInfo;

namespace {

TrackInfo info(bool isAudio) {
    TrackInfo result;
    result.isAudio = isAudio;
    result.streams = {{100, ""}, {200, ""}, {300, ""}};
    return result;
}

TEST(PlayTrack, BeginsWithTheBestStreamUpToABitrate) {
    PlayTrack track(0, info(false), nullptr);
    EXPECT_EQ(track.bitrate(), 100);
    track.startAt(250);
    EXPECT_EQ(track.bitrate(), 200);
    EXPECT_EQ(track.lastGoodStream, 1U);
    track.stream = 0;
    track.startAt(50);
    EXPECT_EQ(track.bitrate(), 100);
}

TEST(PlayTrack, KeepsToTheRangesOfBitrates) {
    PlayTrack track(0, info(false), nullptr);
    EXPECT_TRUE(track.allow({}));
    EXPECT_EQ(track.ladder, (std::vector<size_t>{0, 1, 2}));
    EXPECT_TRUE(track.allow({{150, 200}, {300, 999}}));
    EXPECT_EQ(track.ladder, (std::vector<size_t>{1, 2}));
    track.startAt(0);
    EXPECT_EQ(track.bitrate(), 200);
    track.startAt(1000);
    EXPECT_EQ(track.bitrate(), 300);
    EXPECT_FALSE(track.allow({{201, 299}}));
}

TEST(PlayTrack, UnknownBitrateIsAllowedAndMeasured) {
    TrackInfo unknown;
    unknown.streams = {{0, ""}};
    PlayTrack track(0, unknown, nullptr);
    EXPECT_TRUE(track.allow({{1, 2}}));
    EXPECT_EQ(track.bitrate(), 0);
    track.bytes = 50000;
    track.mediaSeconds = 4;
    EXPECT_EQ(track.bitrate(), 100000);
    track.bytes = UINT64_MAX / 16;
    EXPECT_EQ(track.bitrate(), std::numeric_limits<int>::max());
}

TEST(PlayTrack, FallsBackToTheNearestStreamUntilSomethingHasCome) {
    PlayTrack track(0, info(false), nullptr);
    track.startAt(250);
    track.isBroken[1] = true;
    EXPECT_EQ(track.fallback(), 0U);
    track.isBroken[0] = true;
    EXPECT_EQ(track.fallback(), 2U);
    track.isBroken[2] = true;
    EXPECT_EQ(track.fallback(), std::nullopt);
}

TEST(PlayTrack, FallsBackToWhereItCameFrom) {
    PlayTrack track(0, info(false), nullptr);
    track.hasGoodStream = true;
    track.lastGoodStream = 2;
    EXPECT_EQ(track.fallback(), 2U);
    track.stream = 2;
    EXPECT_EQ(track.fallback(), std::nullopt);
}

TEST(PlayTrack, NamesTheAudioBesideTheMainOutput) {
    EXPECT_EQ(hastool::trackOutput("d.x/film.mp4", info(false)), "d.x/film.mp4");
    EXPECT_EQ(hastool::trackOutput("d.x/film.mp4", info(true)), "d.x/film.audio.mp4");
    EXPECT_EQ(hastool::trackOutput("d.x/film", info(true)), "d.x/film.audio");
    EXPECT_EQ(hastool::trackOutput(".film", info(true)), ".film.audio");
    EXPECT_EQ(hastool::trackOutput("", info(true)), "");
}

} // namespace
