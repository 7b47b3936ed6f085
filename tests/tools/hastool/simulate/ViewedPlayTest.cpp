#include <hastool/simulate/ViewedPlay.h>

#include <cmath>

#include <gtest/gtest.h>

namespace {

using hastool::Movie;
using hastool::ViewedPlay;

constexpr double kSecond = 1e6;

/// Three streams of 1, 2 and 4 Mbit/s.
Movie movieOf(std::chrono::seconds duration, size_t segments) {
    Movie movie;
    movie.bitrates = {1'000'000, 2'000'000, 4'000'000};
    const auto bytes = static_cast<uint64_t>(duration.count()) * 125'000;
    movie.segments.assign(segments, {duration, {bytes, bytes * 2, bytes * 4}});
    return movie;
}

} // namespace

TEST(ViewedPlay, BeginsWithTwoSeconds) {
    const Movie movie = movieOf(std::chrono::seconds(1), 5);
    ViewedPlay play(movie);
    play.pass(kSecond);
    play.add(0, 0);
    EXPECT_FALSE(play.isPlaying());
    play.pass(kSecond);
    EXPECT_DOUBLE_EQ(play.level(), kSecond);
    play.add(1, 0);
    EXPECT_TRUE(play.isPlaying());
    play.playOut();
    EXPECT_DOUBLE_EQ(play.figures().startup, 2);
    EXPECT_DOUBLE_EQ(play.figures().stallTime, 0);
}

TEST(ViewedPlay, BeginsWithLessWhereThereIsNoMore) {
    const Movie movie = movieOf(std::chrono::seconds(1), 1);
    ViewedPlay play(movie);
    play.add(0, 0);
    EXPECT_TRUE(play.isPlaying());
}

TEST(ViewedPlay, StandsStillWhenTheBufferIsEmpty) {
    const Movie movie = movieOf(std::chrono::seconds(4), 2);
    ViewedPlay play(movie);
    play.add(0, 0);
    play.pass(6 * kSecond);
    EXPECT_FALSE(play.isPlaying());
    EXPECT_DOUBLE_EQ(play.stallTime(), 2 * kSecond);
    play.add(1, 0);
    play.playOut();
    const auto figures = play.figures();
    EXPECT_EQ(figures.stalls, 1);
    EXPECT_DOUBLE_EQ(figures.time, 10);
    EXPECT_DOUBLE_EQ(figures.stallRatio, 0.2);
    EXPECT_DOUBLE_EQ(figures.score, figures.utility - 1);
}

TEST(ViewedPlay, MeansAreOverTheWholeTime) {
    const Movie movie = movieOf(std::chrono::seconds(4), 2);
    ViewedPlay play(movie);
    play.pass(2 * kSecond); // before the begin, which is no stall
    play.add(0, 0);
    play.add(1, 2);
    play.playOut();
    const auto figures = play.figures();
    EXPECT_DOUBLE_EQ(figures.time, 10);
    EXPECT_DOUBLE_EQ(figures.startup, 2);
    EXPECT_DOUBLE_EQ(figures.meanBitrate, (1e6 * 4 + 4e6 * 4) / 10);
    EXPECT_DOUBLE_EQ(figures.utility, std::log(4) * 4 / 10);
    EXPECT_DOUBLE_EQ(figures.score, figures.utility);
    EXPECT_EQ(figures.switches, 1);
    EXPECT_DOUBLE_EQ(figures.change, 3e6 * 4 / 10);
}

TEST(ViewedPlay, ASegmentLeavesTheBufferWhenItWasPlayed) {
    const Movie movie = movieOf(std::chrono::seconds(4), 2);
    ViewedPlay play(movie);
    play.add(0, 1);
    play.add(1, 0);
    EXPECT_EQ(play.bytes(), 1'500'000U);
    play.pass(4.5 * kSecond);
    EXPECT_EQ(play.bytes(), 500'000U);
    EXPECT_DOUBLE_EQ(play.level(), 3.5 * kSecond);
}

TEST(ViewedPlay, WithoutMediaThereAreNoFigures) {
    const Movie movie = movieOf(std::chrono::seconds(4), 2);
    EXPECT_DOUBLE_EQ(ViewedPlay(movie).figures().score, 0);
}
