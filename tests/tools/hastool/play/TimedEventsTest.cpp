#include <tools/hastool/VirtualPlay.h>

#include <hastool/play/TimedEvents.h>

#include <gtest/gtest.h>

using hastool::TimedEvent;
using Break = TimedEvent::Break;

namespace {

/// Keeps the events of a journal as lines.
class TimedEventsTest : public testing::Test, public hastool::PlayObserver {
protected:
    static TimedEvent event(const std::string& id, double start, Break adBreak = Break::None,
                            std::optional<double> end = {}) {
        TimedEvent it;
        it.origin = "emsg";
        it.id = id;
        it.start = start;
        it.end = end;
        it.adBreak = adBreak;
        return it;
    }
    std::vector<std::string> take() { return std::exchange(m_lines, {}); }

    void onStatus(const hastool::PlayStatus&) override {}
    void onSegment(const hastool::TraceRow&) override {}
    void onSample(const hastool::PlaySample&) override {}
    void onEvent(double, const std::string& kind, const std::string& what) override {
        m_lines.push_back(kind + ": " + what);
    }
    void onSwitch(double, int, int) override {}
    void onRendition(double, int, const std::string&) override {}
    void onTrouble(const std::string&) override {}

    std::vector<std::string> m_lines;
    hastool::PlayOptions m_options;
    hastool::VirtualClock m_clock;
    hastool::Journal m_journal{m_options, *this, m_clock};
    hastool::TimedEvents m_events{m_journal};
};

using Lines = std::vector<std::string>;

} // namespace

TEST_F(TimedEventsTest, AnEventIsToldOnceWhenItsMediaIsReached) {
    m_events.announce({event("b", 3), event("a", 1)});
    m_events.reach(0, 2, 100);
    EXPECT_EQ(take(), Lines{"cue: emsg a at 101.0 s"});
    m_events.announce({event("a", 1), event("b", 3)});
    m_events.reach(2, 2, 102);
    EXPECT_EQ(take(), Lines{"cue: emsg b at 103.0 s"});
    m_events.reach(4, 2, 104);
    EXPECT_EQ(take(), Lines{});
}

TEST_F(TimedEventsTest, ABreakEndsAtItsEnd) {
    m_events.announce({event("a", 1, Break::Begins, 5)});
    m_events.reach(0, 2, 0);
    EXPECT_EQ(take(),
              (Lines{"cue: emsg a at 1.0 s for 4.0 s", "ad-start: at 1000 ms of the media"}));
    m_events.reach(2, 2, 2);
    EXPECT_EQ(take(), Lines{});
    m_events.reach(4, 2, 4);
    EXPECT_EQ(take(), Lines{"ad-end: at 5000 ms of the media"});
}

TEST_F(TimedEventsTest, TheEndOfABreakMayBecomeKnownLater) {
    m_events.announce({event("a", 1, Break::Begins)});
    m_events.reach(0, 2, 0);
    take();
    m_events.announce({event("a", 1, Break::Ends, 3)});
    m_events.reach(2, 2, 2);
    EXPECT_EQ(take(), Lines{"ad-end: at 3000 ms of the media"});
}

TEST_F(TimedEventsTest, AnotherEventMayEndABreakAndItsOwnEndSaysNothingNew) {
    m_events.announce({event("a", 1, Break::Begins, 10), event("b", 4, Break::Ends)});
    m_events.reach(0, 6, 0);
    EXPECT_EQ(take(), (Lines{"cue: emsg a at 1.0 s for 9.0 s", "ad-start: at 1000 ms of the media",
                             "cue: emsg b at 4.0 s", "ad-end: at 4000 ms of the media"}));
    m_events.reach(6, 6, 6);
    EXPECT_EQ(take(), Lines{});
}

TEST_F(TimedEventsTest, WhatWasOverBeforeThePlayBeganIsNotTold) {
    m_events.announce({event("old", 5), event("over", 5, Break::Begins, 9),
                       event("running", 5, Break::Begins, 30)});
    m_events.reach(10, 2, 0);
    EXPECT_EQ(take(),
              (Lines{"cue: emsg running at 0.0 s for 25.0 s", "ad-start: at 0 ms of the media"}));
}

TEST_F(TimedEventsTest, AnEventThatIsAnnouncedLateIsToldAtItsPlace) {
    m_events.reach(0, 10, 0);
    m_events.announce({event("late", 4)});
    m_events.reach(10, 10, 10);
    EXPECT_EQ(take(), Lines{"cue: emsg late at 4.0 s"});
}

TEST_F(TimedEventsTest, TextFromOutsideIsOneLineThatCanBeRead) {
    TimedEvent it = event("a\n\x1B[31m", 0);
    it.scheme = "urn:x";
    it.text = std::string(1000, '\xFF');
    m_events.announce({it});
    m_events.reach(0, 2, 0);
    const Lines lines = take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].rfind("cue: emsg a\\x0a\\x1b[31m of urn:x at 0.0 s: \\xff", 0), 0U)
        << lines[0];
    EXPECT_LT(lines[0].size(), 1000U);
}

TEST_F(TimedEventsTest, KeepsNoMoreThanAnyPresentationHas) {
    std::vector<TimedEvent> many;
    for (size_t i = 0; i < hastool::TimedEvents::kMaxEvents + 10; ++i)
        many.push_back(event(std::to_string(i), 1));
    m_events.announce(std::move(many));
    m_events.reach(0, 2, 0);
    EXPECT_EQ(take().size(), hastool::TimedEvents::kMaxEvents);
}

TEST(TimedEventsPlay, DateRangesAreToldByTheDatesOfTheSegments) {
    test::VirtualPlay play;
    play.addVideo({1000000}, 10);
    std::string& text = play.texts[test::VirtualPlay::kBase + "v0.m3u8"];
    text.insert(text.find("#EXTINF"),
                "#EXT-X-DATERANGE:ID=\"ad\",START-DATE=\"2024-01-01T00:01:05Z\",DURATION=4,"
                "SCTE35-OUT=0x00\n#EXT-X-DATERANGE:ID=nonsense,\n"
                "#EXT-X-PROGRAM-DATE-TIME:2024-01-01T00:01:00Z\n");
    EXPECT_EQ(play.play(), "");
    Lines lines;
    for (const auto& it : play.events) {
        if (it.kind != "date-time")
            lines.push_back(it.kind + ": " + it.what);
    }
    EXPECT_EQ(lines,
              (Lines{"cue: DATERANGE ad at 5.0 s for 4.0 s: SCTE35-OUT that cannot be read",
                     "ad-start: at 5000 ms of the media", "ad-end: at 9000 ms of the media"}));
}

TEST(TimedEventsPlay, DatesOfLaterSegmentsPlaceRangesToo) {
    test::VirtualPlay play;
    play.addVideo({1000000}, 10);
    std::string& text = play.texts[test::VirtualPlay::kBase + "v0.m3u8"];
    text.insert(text.find("#EXTINF:2,\nv0/3.ts"),
                "#EXT-X-PROGRAM-DATE-TIME:2024-01-01T00:01:06Z\n#EXT-X-DATERANGE:ID=\"a\","
                "CLASS=\"c\",START-DATE=\"2024-01-01T00:01:03Z\"\n");
    EXPECT_EQ(play.play(), "");
    ASSERT_FALSE(play.events.empty());
    EXPECT_EQ(play.events[0].kind + ": " + play.events[0].what, "cue: DATERANGE a of c at 3.0 s");
}

TEST(TimedEventsPlay, ABreakThatTwoTagsMarkBeginsOnce) {
    test::VirtualPlay play;
    play.addVideo({1000000}, 5);
    std::string& text = play.texts[test::VirtualPlay::kBase + "v0.m3u8"];
    text.insert(text.find("#EXTINF:2,\nv0/1.ts"),
                "#EXT-X-CUE-OUT:2\n#EXT-X-PROGRAM-DATE-TIME:2024-01-01T00:01:02Z\n"
                "#EXT-X-DATERANGE:ID=\"a\",START-DATE=\"2024-01-01T00:01:02Z\",DURATION=2,"
                "SCTE35-OUT=0x00\n");
    EXPECT_EQ(play.play(), "");
    int begins = 0;
    int ends = 0;
    for (const auto& it : play.events) {
        begins += it.kind == "ad-start" ? 1 : 0;
        ends += it.kind == "ad-end" ? 1 : 0;
    }
    EXPECT_EQ(begins, 1);
    EXPECT_EQ(ends, 1);
}
