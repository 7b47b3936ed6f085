#include <hastool/play/PlaybackBuffer.h>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using hastool::PlaybackBuffer;

TEST(PlaybackBuffer, BeginsWhenThereIsEnough) {
    PlaybackBuffer buffer(2000ms);
    buffer.drain(300ms);
    buffer.add(1500ms, 100);
    buffer.drain(200ms);
    EXPECT_FALSE(buffer.isPlaying());
    EXPECT_EQ(buffer.startupTime(), 500ms);
    EXPECT_EQ(buffer.level(), 1500ms);
    buffer.add(1500ms, 100);
    EXPECT_TRUE(buffer.isPlaying());
    buffer.drain(1000ms);
    EXPECT_EQ(buffer.level(), 2000ms);
    EXPECT_EQ(buffer.position(), 1000ms);
    EXPECT_EQ(buffer.stalls(), 0);
}

TEST(PlaybackBuffer, StallsWhenEmptyAndGoesOnWhenThereIsEnough) {
    PlaybackBuffer buffer(2000ms);
    buffer.add(2000ms, 1);
    buffer.drain(2500ms);
    EXPECT_EQ(buffer.stalls(), 1);
    EXPECT_EQ(buffer.stallTime(), 500ms);
    buffer.drain(100ms);
    buffer.add(1000ms, 1);
    buffer.drain(100ms);
    EXPECT_EQ(buffer.stalls(), 1);
    EXPECT_EQ(buffer.stallTime(), 700ms);
    EXPECT_EQ(buffer.position(), 2000ms);
    buffer.add(1000ms, 1);
    buffer.drain(500ms);
    EXPECT_EQ(buffer.position(), 2500ms);
    EXPECT_EQ(buffer.startupTime(), 0ms);
}

TEST(PlaybackBuffer, PlaysTheRestWhenNothingMoreComes) {
    PlaybackBuffer buffer(2000ms);
    buffer.add(500ms, 1);
    buffer.drain(100ms);
    buffer.finish();
    EXPECT_FALSE(buffer.isDone());
    buffer.drain(800ms);
    EXPECT_TRUE(buffer.isDone());
    EXPECT_EQ(buffer.position(), 500ms);
    EXPECT_EQ(buffer.stalls(), 0);
    EXPECT_EQ(buffer.startupTime(), 100ms);
}

TEST(PlaybackBuffer, CountsBytesInProportion) {
    PlaybackBuffer buffer(1000ms);
    buffer.add(1000ms, 1000);
    buffer.add(2000ms, 4000);
    EXPECT_EQ(buffer.bytes(), 5000U);
    buffer.drain(500ms);
    EXPECT_EQ(buffer.bytes(), 4500U);
    buffer.drain(1500ms);
    EXPECT_EQ(buffer.bytes(), 2000U);
}

TEST(PlaybackBuffer, DrainsToALevelInNoTime) {
    PlaybackBuffer buffer(1000ms);
    buffer.drainTo(0ms);
    buffer.add(4000ms, 1);
    buffer.drainTo(3000ms);
    EXPECT_EQ(buffer.level(), 3000ms);
    EXPECT_EQ(buffer.position(), 1000ms);
    buffer.drainTo(3500ms);
    EXPECT_EQ(buffer.level(), 3000ms);
}

TEST(PlaybackBuffer, TakesNoMediaWithoutDuration) {
    PlaybackBuffer buffer(1000ms);
    buffer.add(0ms, 100);
    buffer.add(-5ms, 100);
    EXPECT_EQ(buffer.bytes(), 0U);
    buffer.finish();
    EXPECT_TRUE(buffer.isDone());
}
