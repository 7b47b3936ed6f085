#include <hastool/engine/PlayTrack.h>

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

TEST(PlayTrack, NamesTheAudioBesideTheMainOutput) {
    EXPECT_EQ(hastool::trackOutput("d.x/film.mp4", info(false)), "d.x/film.mp4");
    EXPECT_EQ(hastool::trackOutput("d.x/film.mp4", info(true)), "d.x/film.audio.mp4");
    EXPECT_EQ(hastool::trackOutput("d.x/film", info(true)), "d.x/film.audio");
    EXPECT_EQ(hastool::trackOutput(".film", info(true)), ".film.audio");
    EXPECT_EQ(hastool::trackOutput("", info(true)), "");
}

} // namespace
