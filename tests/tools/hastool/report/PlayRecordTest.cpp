#include <tools/hastool/Play.h>

#include <hastool/report/PlayTee.h>

#include <gtest/gtest.h>

using hastool::PlayRecord;
using hastool::PlaySample;
using hastool::PlayTee;

namespace {

PlaySample held(double time, bool isHeld) {
    PlaySample sample;
    sample.time = time;
    sample.transferHeld = isHeld;
    return sample;
}

} // namespace

TEST(PlayRecord, KeepsWhatItIsTold) {
    const PlayRecord record = test::reportedPlay().record;
    ASSERT_EQ(record.samples().size(), 4U);
    EXPECT_EQ(record.samples()[1].mean, 1500000U);
    ASSERT_EQ(record.segments().size(), 3U);
    EXPECT_EQ(record.segments()[1].index, 7U);
    EXPECT_TRUE(record.segments()[1].isAudio);
    ASSERT_EQ(record.switches().size(), 1U);
    EXPECT_EQ(record.switches()[0].from, 300000);
    EXPECT_EQ(record.switches()[0].to, 900000);
    EXPECT_EQ(record.firstBitrate(), 300000);
    EXPECT_DOUBLE_EQ(record.end(), 3.125);
}

TEST(PlayRecord, ListsSwitchesPicturesAndTroubleAmongTheEvents) {
    PlayRecord record;
    record.onEvent(1, "discontinuity", "at 0 ms");
    record.onSwitch(2, 900000, 300000);
    record.onRendition(3, 300000, "320x180");
    record.onTrouble("gone");
    ASSERT_EQ(record.events().size(), 4U);
    EXPECT_EQ(record.events()[0].kind, "discontinuity");
    EXPECT_EQ(record.events()[1].what, "down from 900 kbit/s to 300 kbit/s");
    EXPECT_EQ(record.events()[2].what, "300 kbit/s is 320x180");
    EXPECT_EQ(record.events()[3].kind, "trouble");
    EXPECT_DOUBLE_EQ(record.events()[3].time, 3);
}

TEST(PlayRecord, TellsFromWhenToWhenPlayAndTransfersStoodStill) {
    const PlayRecord record = test::reportedPlay().record;
    ASSERT_EQ(record.stalls().size(), 1U);
    EXPECT_DOUBLE_EQ(record.stalls()[0].begin, 1);
    EXPECT_DOUBLE_EQ(record.stalls()[0].end, 1.5);
    ASSERT_EQ(record.pauses().size(), 1U);
    EXPECT_DOUBLE_EQ(record.pauses()[0].begin, 1.5);
    EXPECT_DOUBLE_EQ(record.pauses()[0].end, 2.5);
    ASSERT_EQ(record.holds().size(), 1U);
}

TEST(PlayRecord, TellsRangesApartAndExtendsTheOneThatLasts) {
    PlayRecord record;
    const std::vector<bool> states = {false, true, true, false, false, true, true};
    for (size_t i = 0; i < states.size(); ++i)
        record.onSample(held(static_cast<double>(i), states[i]));
    ASSERT_EQ(record.holds().size(), 2U);
    EXPECT_DOUBLE_EQ(record.holds()[0].begin, 1);
    EXPECT_DOUBLE_EQ(record.holds()[0].end, 3);
    EXPECT_DOUBLE_EQ(record.holds()[1].begin, 5);
    EXPECT_DOUBLE_EQ(record.holds()[1].end, 6) << "open still";
}

TEST(PlayRecord, ThinsOutTheSamplesOfALongPlay) {
    PlayRecord record;
    constexpr size_t kCount = 5 * PlayRecord::kMaxSamples;
    for (size_t i = 0; i < kCount; ++i)
        record.onSample(held(static_cast<double>(i), i == 3));
    EXPECT_LT(record.samples().size(), PlayRecord::kMaxSamples);
    EXPECT_GE(record.samples().size(), PlayRecord::kMaxSamples / 2);
    const double step = record.samples()[1].time - record.samples()[0].time;
    for (size_t i = 1; i < record.samples().size(); ++i)
        ASSERT_DOUBLE_EQ(record.samples()[i].time - record.samples()[i - 1].time, step);
    EXPECT_GE(record.samples().back().time, static_cast<double>(kCount) - 1 - step);
    ASSERT_EQ(record.holds().size(), 1U) << "of a sample that was dropped";
}

TEST(PlayRecord, CountsSegmentsAndEventsBeyondItsLimits) {
    PlayRecord record;
    for (size_t i = 0; i < PlayRecord::kMaxSegments + 2; ++i)
        record.onSegment(test::traceRow(i, 0, 0));
    for (size_t i = 0; i < PlayRecord::kMaxEvents + 3; ++i)
        record.onTrouble("again");
    EXPECT_EQ(record.segments().size(), PlayRecord::kMaxSegments);
    EXPECT_EQ(record.segmentsLeftOut(), 2U);
    EXPECT_EQ(record.events().size(), PlayRecord::kMaxEvents);
    EXPECT_EQ(record.eventsLeftOut(), 3U);
}

TEST(PlayTee, TellsEachObserverAllThatItIsTold) {
    PlayRecord first;
    PlayRecord second;
    PlayTee tee({&first, &second});
    tee.onStatus({});
    tee.onSample(held(1, true));
    tee.onSegment(test::traceRow(1, 0, 1));
    tee.onEvent(1, "event", "1 2 3");
    tee.onSwitch(2, 1, 2);
    tee.onRendition(2, 2, "1x1");
    tee.onTrouble("gone");
    for (const PlayRecord* const it : {&first, &second}) {
        EXPECT_EQ(it->samples().size(), 1U);
        EXPECT_EQ(it->segments().size(), 1U);
        EXPECT_EQ(it->switches().size(), 1U);
        EXPECT_EQ(it->events().size(), 4U);
    }
}
