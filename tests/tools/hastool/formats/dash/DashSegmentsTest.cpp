#include <tools/hastool/ErrorOf.h>

#include <hastool/formats/dash/DashSegments.h>

#include <gtest/gtest.h>

using hastool::DashAddressing;
using hastool::DashPeriod;
using hastool::DashRun;
using hastool::DashSegment;
using hastool::DashSegmentList;
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

constexpr size_t kMost = 1000;

/// One by one, as they are read.
std::vector<DashSegment> list(const DashAddressing& addressing, const DashPeriod& where,
                              const DashWindow& window = {}, const SegmentIndex* index = nullptr) {
    const DashSegmentList list(addressing, where, index, "m.mpd");
    std::vector<DashSegment> result;
    for (auto it = list.at(-1e18, window); it; it = list.behind(*it, window)) {
        result.push_back(*it);
        if (result.size() == kMost)
            break;
    }
    return result;
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

TEST(DashSegments, WithoutAnEndGoOn) {
    const DashAddressing addressing = byDuration(4);
    const auto segments = list(addressing, period(0, std::nullopt));
    EXPECT_EQ(segments.size(), kMost);
    const DashSegmentList all(addressing, period(0, std::nullopt), nullptr, "m.mpd");
    EXPECT_EQ(all.at(4e9, {}).value().time, 4000000000U);
}

TEST(DashSegments, OfALongStretchAreFoundWhereTheyAre) {
    const DashAddressing addressing = byDuration(1);
    const DashSegmentList all(addressing, period(0, 1e9), nullptr, "m.mpd");
    EXPECT_EQ(all.last({}).value().number, 1000000000U);
    EXPECT_EQ(all.at(999999990, {}).value().number, 999999991U);
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
    EXPECT_EQ(list(byTimeline({{0, 4, -1}}), period(0, std::nullopt), window).size(), 2U)
        << "the third is being made until 12";
    window.until = 12;
    EXPECT_EQ(list(byTimeline({{0, 4, -1}}), period(0, std::nullopt), window).size(), 3U);
}

TEST(DashSegments, OfAHugeRunAreNotListed) {
    const DashAddressing addressing = byTimeline({{0, 4, 0}, {std::nullopt, 2, int64_t(1) << 60}});
    const DashSegmentList all(addressing, period(0, std::nullopt), nullptr, "m.mpd");
    EXPECT_EQ(all.at(0, {}).value().time, 0U);
    EXPECT_EQ(all.at(1000001, {}).value().time, 1000000U);
    EXPECT_EQ(all.last({}).value().number, (uint64_t(1) << 60) + 2);
}

TEST(DashSegments, OutOfOrderAreLeftOut) {
    const auto segments = list(byTimeline({{0, 4, 2}, {4, 4, 0}, {6, 2, 4}}), period(0, 100));
    EXPECT_EQ(numbers(segments), "1 2 3 7 8 9 ");
    EXPECT_EQ(segments[3].time, 10U);
}

TEST(DashSegments, AreFoundAgainInALaterStateOfATimeline) {
    const DashAddressing earlier = byTimeline({{100, 4, 9}});
    const DashAddressing later = byTimeline({{120, 4, 9}});
    const DashPeriod open = period(0, std::nullopt);
    const DashSegmentList before(earlier, open, nullptr, "m.mpd");
    const DashSegmentList after(later, open, nullptr, "m.mpd");
    const auto last = before.at(124, {});
    EXPECT_EQ(last.value().number, 7U);
    const auto next = after.behind(*last, {});
    EXPECT_EQ(next.value().time, 128U);
    EXPECT_EQ(next.value().number, 3U);
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

TEST(DashSegments, OfATemplateWithoutTimesAreOne) {
    DashAddressing addressing;
    addressing.kind = DashAddressing::Kind::Template;
    addressing.media = "all-$Number$.mp4";
    const auto segments = list(addressing, period(3, 9));
    ASSERT_EQ(segments.size(), 1U) << "more of them would need a duration (23009-1, 5.3.9.2.2)";
    EXPECT_EQ(segments[0].number, 1U);
    EXPECT_DOUBLE_EQ(segments[0].seconds, 9);
}

TEST(DashSegments, AreRefusedWhereThereIsNoWayToFindThem) {
    DashAddressing addressing;
    addressing.kind = DashAddressing::Kind::List;
    addressing.duration = 2;
    EXPECT_NE(errorOf([&] { list(addressing, period(0, 100)); }).find("without a SegmentURL"),
              std::string::npos);
}

} // namespace
