#include <tools/hastool/SpliceSections.h>

#include <hastool/media/EventMessages.h>

#include <gtest/gtest.h>

using hastool::BoxBuilder;
using hastool::eventMessages;

namespace {

/// A movie of one track with a clock.
std::string init(uint32_t track, uint32_t timescale, uint32_t version) {
    const size_t times = version == 1 ? 16 : 8;
    const std::string header = BoxBuilder().zeros(times).u32(track).fullBox("tkhd", version);
    const std::string media = BoxBuilder().zeros(times).u32(timescale).fullBox("mdhd", version);
    const std::string trak =
        BoxBuilder().bytes(header + BoxBuilder().bytes(media).box("mdia")).box("trak");
    return BoxBuilder().bytes(trak).box("moov");
}

std::string moof(uint32_t track, uint64_t time, uint32_t version) {
    BoxBuilder decode;
    if (version == 1)
        decode.u64(time);
    else
        decode.u32(static_cast<uint32_t>(time));
    const std::string header = BoxBuilder().u32(track).fullBox("tfhd");
    const std::string traf =
        BoxBuilder().bytes(header + decode.fullBox("tfdt", version)).box("traf");
    return BoxBuilder().bytes(traf).box("moof");
}

std::string absolute(uint64_t time) {
    return BoxBuilder()
        .u32(1000)
        .u64(time)
        .u32(0)
        .u32(4)
        .bytes(std::string("urn:y\0v\0hi", 10))
        .fullBox("emsg", 1);
}

} // namespace

TEST(EventMessages, TimesCountFromTheBeginOfTheSegment) {
    const auto events =
        eventMessages("", test::emsg("urn:x", 3, 1000, 1500, 500, "data") + moof(1, 0, 0), 20);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].origin, "emsg");
    EXPECT_EQ(events[0].scheme, "urn:x");
    EXPECT_EQ(events[0].id, "1/3");
    EXPECT_DOUBLE_EQ(events[0].start, 21.5);
    EXPECT_EQ(events[0].end, 22);
    EXPECT_EQ(events[0].text, "data");
}

TEST(EventMessages, AbsoluteTimesCountOnTheClockOfTheMedia) {
    for (const uint32_t version : {0U, 1U}) {
        const std::string segment = absolute(103000) + moof(2, 100 * 90000, version);
        const auto events = eventMessages(init(2, 90000, version), segment, 20);
        ASSERT_EQ(events.size(), 1U);
        EXPECT_DOUBLE_EQ(events[0].start, 23) << "100 s of the media are 20 s of the presentation";
        EXPECT_EQ(events[0].id, "v/4");
        EXPECT_EQ(events[0].text, "hi");
        EXPECT_FALSE(events[0].end);
    }
}

TEST(EventMessages, AbsoluteTimesWithoutAClockAreThoseOfTheSegment) {
    const std::string segment = absolute(103000) + moof(2, 9000000, 0);
    EXPECT_DOUBLE_EQ(eventMessages("", segment, 20).at(0).start, 20);
    EXPECT_DOUBLE_EQ(eventMessages(init(1, 90000, 0), segment, 20).at(0).start, 20);
    EXPECT_DOUBLE_EQ(eventMessages(init(2, 0, 0), segment, 20).at(0).start, 20);
    EXPECT_DOUBLE_EQ(eventMessages(init(2, 90000, 0), absolute(103000), 20).at(0).start, 20);
}

TEST(EventMessages, ReadsCueMessages) {
    const auto events = eventMessages(
        "",
        test::emsg("urn:scte:scte35:2013:bin", 1, 1, 0, 0xFFFFFFFF, test::spliceInsert(true, 30)),
        10);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].adBreak, hastool::TimedEvent::Break::Begins);
    EXPECT_EQ(events[0].end, 40);
}

TEST(EventMessages, LeavesOutWhatIsCutOrOfAnotherVersion) {
    const std::string whole = test::emsg("urn:x", 3, 1000, 0, 0, "");
    for (size_t size = 8; size < whole.size(); ++size) {
        std::string cut = whole.substr(0, size);
        cut[3] = static_cast<char>(size);
        EXPECT_TRUE(eventMessages("", cut, 0).empty()) << size;
    }
    EXPECT_TRUE(eventMessages("", test::emsg("urn:x", 3, 0, 0, 0, ""), 0).empty()) << "no clock";
    EXPECT_TRUE(eventMessages("", BoxBuilder().zeros(40).fullBox("emsg", 2), 0).empty());
    EXPECT_TRUE(eventMessages("", "no boxes at all", 0).empty());
}

TEST(EventMessages, ReadsNoMoreThanAnySegmentHas) {
    std::string segment;
    for (size_t i = 0; i <= hastool::kMaxSegmentEvents; ++i)
        segment += test::emsg("urn:x", 1, 1, 0, 0, "");
    EXPECT_EQ(eventMessages("", segment, 0).size(), hastool::kMaxSegmentEvents);
}
