// A live MPD against its earlier states: what may change, and what may not.
#include "ManifestEvidence.h"

#include <gtest/gtest.h>

using hastool::CheckedFormat;
using hastool::Evidence;
using hastool::Findings;

namespace {

constexpr char kUrl[] = "http://origin.test/a/live.mpd";

/// A state of a live manifest, with segments of two seconds.
struct State {
    std::string type = "dynamic";
    std::string start = "2024-01-01T00:00:00Z";
    int published = 20; ///< second
    std::string period = "<Period id=\"p0\" start=\"PT0S\">";
    int number = 6;
    std::string timeline = "<S t=\"10000\" d=\"2000\" r=\"4\"/>";
    std::string more; ///< attributes of the MPD
    std::string media = "$Number$.m4s";

    std::string text() const {
        const std::string second = std::to_string(100 + published).substr(1);
        return "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"" + type +
               "\" profiles=\"urn:mpeg:dash:profile:isoff-live:2011\" minBufferTime=\"PT2S\" "
               "availabilityStartTime=\"" +
               start + "\" publishTime=\"2024-01-01T00:00:" + second +
               "Z\" minimumUpdatePeriod=\"PT2S\" timeShiftBufferDepth=\"PT8S\" "
               "suggestedPresentationDelay=\"PT6S\" " +
               more + ">" + period +
               "<AdaptationSet mimeType=\"video/mp4\" segmentAlignment=\"true\" "
               "startWithSAP=\"1\"><SegmentTemplate timescale=\"1000\" startNumber=\"" +
               std::to_string(number) + "\" media=\"" + media +
               "\" initialization=\"i.mp4\"><SegmentTimeline>" + timeline +
               "</SegmentTimeline></SegmentTemplate><Representation id=\"v1\" "
               "bandwidth=\"500000\" codecs=\"avc1.4D401F\" width=\"640\" height=\"360\"/>"
               "</AdaptationSet></Period><UTCTiming schemeIdUri=\"urn:mpeg:dash:utc:direct:2014\" "
               "value=\"2024-01-01T00:00:20Z\"/></MPD>";
    }
};

/// The state after another segment has come and one has gone.
State next(State state = State()) {
    state.published += 2;
    state.number += 1;
    state.timeline = "<S t=\"12000\" d=\"2000\" r=\"4\"/>";
    return state;
}

Findings judged(const std::vector<State>& states, double apart = 2) {
    Evidence evidence;
    evidence.format = CheckedFormat::Dash;
    evidence.isLive = true;
    evidence.url = kUrl;
    double time = 0;
    for (const State& it : states) {
        evidence.documents.push_back(
            test::checkedDocument(it.text(), kUrl, CheckedFormat::Dash, time));
        time += apart;
    }
    evidence.renditions.emplace_back(); // there is something to play
    evidence.renditions.back().segments.emplace_back();
    return hastool::judge(evidence);
}

std::set<std::string> codes(const std::vector<State>& states, double apart = 2) {
    return test::codesOf(judged(states, apart), true);
}

using Codes = std::set<std::string>;

TEST(DashLiveRules, AreSilentWhileItMovesOn) {
    EXPECT_EQ(codes({State(), next()}), Codes());
    EXPECT_EQ(codes({State(), State(), next()}), Codes()) << "nothing has come yet";
    State growing = next();
    growing.number = 6;
    growing.timeline = "<S t=\"10000\" d=\"2000\" r=\"5\"/>";
    EXPECT_EQ(codes({State(), growing}), Codes()) << "nothing has gone yet";
    State ended = next();
    ended.type = "static";
    ended.more = "mediaPresentationDuration=\"PT22S\"";
    ended.number = 1;
    ended.timeline = "<S t=\"0\" d=\"2000\" r=\"10\"/>";
    EXPECT_EQ(codes({State(), next(), ended}), Codes()) << "all of it is there again";
}

TEST(DashLiveRules, TellOfAnOlderState) {
    State older;
    older.published = 19;
    EXPECT_EQ(codes({State(), older}), Codes({"dash-live-publish-time"}));
}

TEST(DashLiveRules, TellOfAnotherStartTime) {
    State other = next();
    other.start = "2024-01-01T00:00:01Z";
    EXPECT_EQ(codes({State(), other}), Codes({"dash-live-start-changed"}));
    other.start = "2024-01-01T01:00:00+01:00";
    EXPECT_EQ(codes({State(), other}), Codes()) << "the same, written in another way";
}

TEST(DashLiveRules, TellOfOneThatBeginsAgain) {
    State ended;
    ended.type = "static";
    ended.more = "mediaPresentationDuration=\"PT20S\"";
    EXPECT_EQ(codes({ended, next()}), Codes({"dash-live-type"}));
}

TEST(DashLiveRules, TellOfAnEndWithoutADuration) {
    State ended = next();
    ended.type = "static";
    EXPECT_EQ(codes({State(), ended}), Codes({"dash-live-end"}));
}

TEST(DashLiveRules, TellOfAPeriodThatMoved) {
    State moved = next();
    moved.period = "<Period id=\"p0\" start=\"PT2S\">";
    EXPECT_EQ(codes({State(), moved}), Codes({"dash-live-period-changed"}));
    moved.period = "<Period id=\"p1\" start=\"PT0S\">";
    EXPECT_EQ(codes({State(), moved}), Codes({"dash-live-period-changed"}));
}

TEST(DashLiveRules, TellOfSegmentsThatChanged) {
    State changed = next();
    changed.timeline = "<S t=\"12000\" d=\"2000\" r=\"2\"/><S d=\"1500\"/><S d=\"2500\"/>";
    const Findings findings = judged({State(), changed});
    EXPECT_EQ(test::codesOf(findings, true), Codes({"dash-live-timeline-changed"}));
    EXPECT_EQ(findings.all().front().text,
              "a segment from 18 s for 1.5 s, it had been from 18 s for 2 s");
    EXPECT_EQ(findings.all().front().place.rendition, "v1");
}

TEST(DashLiveRules, AllowRoundingUnlessTimesAreNames) {
    State rounded = next();
    rounded.timeline = "<S t=\"12005\" d=\"2000\" r=\"4\"/>";
    EXPECT_EQ(codes({State(), rounded}), Codes());
    State first;
    first.media = rounded.media = "$Time$.m4s";
    EXPECT_EQ(codes({first, rounded}), Codes({"dash-live-timeline-changed"}));
}

TEST(DashLiveRules, TellOfSegmentsWithOtherNumbers) {
    State other = next();
    other.number = 6;
    const Findings findings = judged({State(), other});
    EXPECT_EQ(test::codesOf(findings, true), Codes({"dash-live-numbers"}));
    EXPECT_EQ(findings.all().front().text, "the segment at 12 s is 6, it had been 7");
}

TEST(DashLiveRules, TellOfSegmentsThatVanished) {
    State gone = next();
    gone.number = 10;
    gone.timeline = "<S t=\"18000\" d=\"2000\" r=\"1\"/>";
    EXPECT_EQ(codes({State(), gone}), Codes()) << "it was written between two segments";
    gone.number = 11;
    gone.timeline = "<S t=\"20000\" d=\"2000\"/>";
    EXPECT_EQ(codes({State(), gone}), Codes({"dash-live-vanished"}));
}

TEST(DashLiveRules, TellOfATimelineThatStandsStill) {
    State later;
    later.published = 22;
    EXPECT_EQ(codes({State(), later}, 8), Codes()) << "three segments and an update";
    EXPECT_EQ(codes({State(), later}, 8.1), Codes({"dash-live-stalled"}));
    State ended = later;
    ended.more = "mediaPresentationDuration=\"PT20S\"";
    EXPECT_EQ(codes({State(), ended}, 60), Codes()) << "there is no more to come";
}

} // namespace
