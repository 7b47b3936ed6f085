#include "ErrorOf.h"

#include <hastool/engine/DashSegments.h>

#include <gtest/gtest.h>

using hastool::DashAddressing;
using hastool::DashPeriod;
using hastool::DashRun;
using hastool::DashSegment;
using hastool::DashSegmentUrl;
using hastool::DashWindow;
using hastool::SegmentIndex;

namespace {

using test::errorOf;

DashAddressing byDuration(uint64_t duration, uint64_t timescale = 1) {
    DashAddressing result;
    result.kind = DashAddressing::Kind::Template;
    result.duration = duration;
    result.timescale = timescale;
    result.media = "$Number$";
    return result;
}

DashAddressing byTimeline(std::vector<DashRun> runs, uint64_t timescale = 1) {
    DashAddressing result;
    result.kind = DashAddressing::Kind::Template;
    result.timescale = timescale;
    result.timeline = std::make_shared<const std::vector<DashRun>>(std::move(runs));
    return result;
}

DashPeriod period(double start, std::optional<double> duration) {
    DashPeriod result;
    result.start = start;
    result.duration = duration;
    return result;
}

std::vector<DashSegment> list(const DashAddressing& addressing, const DashPeriod& where,
                              const DashWindow& window = {}, const SegmentIndex* index = nullptr) {
    return hastool::listDashSegments(addressing, where, window, index, "m.mpd");
}

std::string numbers(const std::vector<DashSegment>& segments) {
    std::string text;
    for (const DashSegment& segment : segments)
        text += std::to_string(segment.number) + " ";
    return text;
}

TEST(DashSegments, OfOneDurationFillThePeriod) {
    const auto segments = list(byDuration(4), period(100, 10));
    EXPECT_EQ(numbers(segments), "1 2 3 ");
    EXPECT_DOUBLE_EQ(segments[2].start, 108);
    EXPECT_DOUBLE_EQ(segments[2].seconds, 2); // to the end of the period
    EXPECT_EQ(segments[2].time, 8U);
}

TEST(DashSegments, OfADurationThatFitsExactlyHaveNoneLeftOver) {
    EXPECT_EQ(list(byDuration(1001 * 2, 1000), period(0, 20.02)).size(), 10U);
}

TEST(DashSegments, EndWithTheEndNumber) {
    DashAddressing addressing = byDuration(2);
    addressing.startNumber = 5;
    addressing.endNumber = 6;
    EXPECT_EQ(numbers(list(addressing, period(0, 100))), "5 6 ");
}

TEST(DashSegments, OfALiveStreamAreThoseThatAreWholeInTheWindow) {
    DashWindow window;
    window.from = 99996;
    window.until = 100005;
    const auto segments = list(byDuration(4), period(0, std::nullopt), window);
    EXPECT_EQ(numbers(segments), "25000 25001 ");
    EXPECT_DOUBLE_EQ(segments[0].start, 99996);
}

TEST(DashSegments, WithoutAnEndToCountToAreNone) {
    EXPECT_TRUE(list(byDuration(4), period(0, std::nullopt)).empty());
}

TEST(DashSegments, OfALongStretchAreItsLastOnes) {
    const auto segments = list(byDuration(1), period(0, 1e9));
    EXPECT_EQ(segments.size(), hastool::kMaxDashSegments);
    EXPECT_EQ(segments.back().number, 1000000000U);
}

TEST(DashSegments, FollowATimelineWithRepeatsAndGaps) {
    const auto segments =
        list(byTimeline({{10, 20, 1}, {std::nullopt, 5, 0}, {100, 20, 0}}, 10), period(0, 60));
    ASSERT_EQ(segments.size(), 4U);
    EXPECT_EQ(numbers(segments), "1 2 3 4 ");
    EXPECT_EQ(segments[1].time, 30U);
    EXPECT_EQ(segments[2].time, 50U);
    EXPECT_DOUBLE_EQ(segments[2].seconds, 0.5);
    EXPECT_DOUBLE_EQ(segments[3].start, 10);
}

TEST(DashSegments, RepeatUpToTheNextRunOrTheEnd) {
    const auto segments = list(byTimeline({{0, 4, -1}, {10, 4, -1}}), period(0, 20));
    ASSERT_EQ(segments.size(), 6U);
    EXPECT_EQ(segments[2].time, 8U);
    EXPECT_EQ(segments[3].time, 10U);
    EXPECT_EQ(segments[5].time, 18U);
}

TEST(DashSegments, RepeatUpToThePresentInALiveStream) {
    DashWindow window;
    window.until = 11;
    EXPECT_EQ(list(byTimeline({{0, 4, -1}}), period(0, std::nullopt), window).size(), 3U);
}

TEST(DashSegments, OfATimelineAreThereWhateverTheClockSays) {
    DashWindow window;
    window.until = 3;
    EXPECT_EQ(list(byTimeline({{0, 4, 2}}), period(0, std::nullopt), window).size(), 3U);
}

TEST(DashSegments, TakeTheTimeOffsetOff) {
    DashAddressing addressing = byTimeline({{133200, 90000, 1}}, 90000);
    addressing.timeOffset = 133200;
    const auto segments = list(addressing, period(7, 100));
    EXPECT_DOUBLE_EQ(segments.at(0).start, 7);
    EXPECT_EQ(segments.at(0).time, 133200U);
}

TEST(DashSegments, BeforeThePeriodBeginsAreLeftOut) {
    DashAddressing addressing = byTimeline({{0, 4, 4}});
    addressing.timeOffset = 8;
    const auto segments = list(addressing, period(0, 100));
    EXPECT_EQ(numbers(segments), "3 4 5 ");
}

TEST(DashSegments, OfAListHaveItsUrls) {
    DashAddressing addressing = byDuration(2);
    addressing.kind = DashAddressing::Kind::List;
    addressing.list = std::make_shared<const std::vector<DashSegmentUrl>>(
        std::vector<DashSegmentUrl>{{"a", std::nullopt}, {"b", hastool::ByteRange{5, 6}}});
    const auto segments = list(addressing, period(0, 100));
    ASSERT_EQ(segments.size(), 2U);
    EXPECT_EQ(segments[0].media, "a");
    EXPECT_EQ(segments[1].range.value().first, 5U);
}

TEST(DashSegments, OfAnIndexAreRanges) {
    DashAddressing addressing;
    addressing.kind = DashAddressing::Kind::Base;
    SegmentIndex index;
    index.timescale = 10;
    index.entries = {{100, 50, 0, 20}, {150, 60, 20, 15}};
    const auto segments = list(addressing, period(0, 100), {}, &index);
    ASSERT_EQ(segments.size(), 2U);
    EXPECT_DOUBLE_EQ(segments[1].start, 2);
    EXPECT_DOUBLE_EQ(segments[1].seconds, 1.5);
    EXPECT_EQ(segments[1].range.value().first, 150U);
    EXPECT_EQ(segments[1].range.value().length, 60U);
}

TEST(DashSegments, OfNothingButABaseUrlAreOne) {
    const auto segments = list({}, period(3, 9));
    ASSERT_EQ(segments.size(), 1U);
    EXPECT_DOUBLE_EQ(segments[0].start, 3);
    EXPECT_DOUBLE_EQ(segments[0].seconds, 9);
    EXPECT_FALSE(segments[0].range);
}

TEST(DashSegments, WithNumbersThatOverflowAreRefused) {
    DashAddressing addressing = byDuration(2);
    addressing.startNumber = UINT64_MAX;
    EXPECT_EQ(errorOf([&] { list(addressing, period(0, 100)); }),
              "m.mpd: segment numbers that overflow");
    for (const auto& runs :
         {std::vector<DashRun>{{0, UINT64_MAX, 0}}, std::vector<DashRun>{{UINT64_MAX, 1, 0}},
          std::vector<DashRun>{{0, 2, INT64_MAX}}})
        EXPECT_EQ(errorOf([&] { list(byTimeline(runs), period(0, 100)); }),
                  "m.mpd: segment times that overflow");
}

TEST(DashSegments, BeforeTheWindowAreNotWalked) {
    DashWindow window;
    window.from = 4e15;
    const auto segments = list(byTimeline({{0, 1, -1}}), period(0, 4e15 + 3), window);
    EXPECT_LE(segments.size(), 5U);
    EXPECT_EQ(segments.back().time, 4000000000000002U);
}

TEST(DashSegments, OfARunThatIsTooLongAreRefused) {
    EXPECT_EQ(errorOf([] {
                  list(byTimeline({{0, 1, INT64_MAX / 4}}), period(0, 1e12));
              }),
              "m.mpd: more segments than can be handled");
}

TEST(DashSegments, AreRefusedWhereThereIsNoWayToFindThem) {
    DashAddressing addressing;
    addressing.kind = DashAddressing::Kind::Template;
    EXPECT_NE(errorOf([&] { list(addressing, period(0, 100)); }).find("without a duration"),
              std::string::npos);
    addressing.kind = DashAddressing::Kind::List;
    addressing.duration = 2;
    EXPECT_NE(errorOf([&] { list(addressing, period(0, 100)); }).find("without a SegmentURL"),
              std::string::npos);
}

} // namespace
