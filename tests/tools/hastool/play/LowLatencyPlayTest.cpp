// Plays at low latency in virtual time.
#include <tools/hastool/LiveFolder.h>
#include <tools/hastool/VirtualPlay.h>

#include <hastool/base/IsoTime.h>
#include <hastool/media/FragmentChunks.h>
#include <hastool/media/InitTracks.h>

#include <gmock/gmock.h>

using test::VirtualPlay;
using ::testing::HasSubstr;

namespace {

constexpr double kAge = 100; // seconds for which the presentation runs when the play begins
constexpr int kSegment = 2;  // seconds

/// A live DASH presentation whose segments of 4 chunks can be asked for half a second after their
/// begin, and then come at the pace at which they are made.
struct LivePlay {
    LivePlay() {
        play.options.url = VirtualPlay::kBase + "m.mpd";
        begin = static_cast<double>(play.clock.milliseconds()) / 1000 - kAge;
        play.texts[play.options.url] =
            "<MPD type=\"dynamic\" availabilityStartTime=\"" + hastool::isoDateTime(begin) +
            "\"><ServiceDescription><Latency target=\"2500\"/></ServiceDescription>"
            "<Period start=\"PT0S\"><AdaptationSet contentType=\"video\"><SegmentTemplate "
            "media=\"$Number$\" initialization=\"i\" duration=\"2\" startNumber=\"0\" "
            "availabilityTimeOffset=\"1.5\" availabilityTimeComplete=\"false\"/><Representation "
            "id=\"v\" bandwidth=\"100\"/></AdaptationSet></Period></MPD>";
        play.options.duration = 10;
        play.special = [this](const std::string& name) { return answer(name); };
    }
    /// Seconds since the presentation began.
    double now() const { return static_cast<double>(play.clock.milliseconds()) / 1000 - begin; }
    static std::string segment(int number) {
        std::string text;
        for (const auto& it :
             hastool::cutFragments(test::liveSegment('a', static_cast<uint64_t>(number) * 2000),
                                   hastool::readInitTracks(test::liveInit()), 0.5))
            text += it.bytes;
        return text;
    }
    std::optional<VirtualPlay::Answer> answer(const std::string& name) {
        VirtualPlay::Answer answer;
        if (name == "m.mpd")
            return std::nullopt;
        if (name == "i") {
            answer.bytes = test::liveInit();
            return answer;
        }
        const int number = std::stoi(name);
        const double left = (number + 1) * kSegment - now();
        isEarly = isEarly || left > 1.55;
        isEarlyForWhole = isEarlyForWhole || left > 0.05;
        answer.bytes = segment(number);
        if (left > 0)
            answer.bytesPerSecond = static_cast<double>(answer.bytes.size()) / left;
        if (number == endless) {
            answer.bytes =
                answer.bytes.substr(0, answer.bytes.size() * 5 / 8); // in the third chunk
            answer.bytes += std::string(1 << 20, 'x');
            answer.bytesPerSecond = 300;
        }
        return answer;
    }

    VirtualPlay play;
    double begin = 0;
    bool isEarly = false;         ///< a segment was asked for before it could be
    bool isEarlyForWhole = false; ///< a segment was asked for before it was whole
    int endless = -1;
};

TEST(LowLatencyPlay, PlaysWhileSegmentsCome) {
    LivePlay live;
    EXPECT_EQ(live.play.play(), "");
    EXPECT_FALSE(live.isEarly);
    EXPECT_EQ(live.play.summary.stalls, 0);
    EXPECT_EQ(live.play.summary.skipped, 0U);
    // Without the media of segments that are not whole the buffer would run empty: it is nearer to
    // the live edge than their length and the time that the last one still takes.
    EXPECT_GT(live.play.summary.liveDistance, 0);
    EXPECT_LT(live.play.summary.liveDistance, 4.5);
}

TEST(LowLatencyPlay, IsNearerToTheEdgeThanPlayByWholeSegments) {
    LivePlay live;
    LivePlay other;
    other.play.options.lowLatency = false;
    EXPECT_EQ(live.play.play(), "");
    EXPECT_EQ(other.play.play(), "");
    EXPECT_FALSE(other.isEarlyForWhole);
    EXPECT_GT(other.play.summary.liveDistance, 1.5 * live.play.summary.liveDistance);
    for (const auto& row : live.play.rows)
        EXPECT_GT(row.liveDistance, 0);
}

TEST(LowLatencyPlay, TellsTheDistanceToTheEdgeAndWhereItGrows) {
    LivePlay live;
    EXPECT_EQ(live.play.play(), "");
    LivePlay stalled;
    stalled.endless = 51;
    stalled.play.options.liveTimeout = std::chrono::seconds(10);
    EXPECT_EQ(stalled.play.play(), "");
    const auto told = [](const LivePlay& it, const std::string& kind) {
        std::vector<std::string> lines;
        for (const auto& event : it.play.events) {
            if (event.kind == kind)
                lines.push_back(event.what);
        }
        return lines;
    };
    ASSERT_EQ(told(live, "live-edge").size(), 1U) << "it stays where it is";
    EXPECT_THAT(told(live, "live-edge")[0], HasSubstr(" s behind it"));
    EXPECT_GT(told(stalled, "live-edge").size(), 1U);
    ASSERT_FALSE(told(stalled, "stall").empty());
    EXPECT_THAT(told(stalled, "stall")[0], HasSubstr(" s behind the live edge"));
}

TEST(LowLatencyPlay, SegmentThatNeverEndsIsCutBehindItsLastChunk) {
    LivePlay live;
    live.endless = 51;
    live.play.options.liveTimeout = std::chrono::seconds(10);
    const test::TempDir folder;
    live.play.options.output = folder.file("out.mp4");
    EXPECT_EQ(live.play.play(), "");
    ASSERT_FALSE(live.play.troubles.empty());
    EXPECT_THAT(live.play.troubles[0], HasSubstr("/51: it does not end; cut after 1.0 s"));
    const std::string text = test::readFile(live.play.options.output);
    EXPECT_EQ(text.find("xxxx"), std::string::npos);
    const std::string whole = LivePlay::segment(51);
    size_t third = 0;
    for (int i = 0; i < 3; ++i)
        third = whole.find("moof", third + 4);
    const size_t cut = text.find(whole.substr(0, third - 4));
    ASSERT_NE(cut, std::string::npos);
    EXPECT_EQ(text.substr(cut + third - 4, 8), LivePlay::segment(52).substr(0, 8));
}

} // namespace
