#include <hastool/base/Base64.h>
#include <hastool/formats/OpenPresentation.h>
#include <tools/hastool/Documents.h>
#include <tools/hastool/ErrorOf.h>

#include <Hascommon/Datetime.h>
#include <hastool/base/BoxBuilder.h>
#include <hastool/base/PsshText.h>
#include <hastool/formats/dash/DashPresentation.h>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using hastool::NextPiece;
using test::errorOf;

namespace {

constexpr char kUrl[] = "http://h/d/m.mpd";

class DashPresentationTest : public testing::Test {
protected:
    std::unique_ptr<hastool::Presentation> open(const std::string& text) {
        m_documents.set(kUrl, text);
        return hastool::openPresentation(kUrl, m_documents.fetcher(), m_liveTimeout);
    }
    /// A live manifest whose presentation began so many seconds ago.
    static std::string live(double age, const std::string& attributes, const std::string& inside) {
        const auto start = hascommon::has_getTime() - static_cast<long long>(age * 1000);
        // The library's text is the basic format: put the separators in.
        const std::string basic = hascommon::has_dateTimeToString(start / 1000 * 1000);
        const std::string date = basic.substr(0, 4) + "-" + basic.substr(4, 2) + "-" +
                                 basic.substr(6, 5) + ":" + basic.substr(11, 2) + ":" +
                                 basic.substr(13, 2) + "Z";
        return "<MPD type='dynamic' availabilityStartTime='" + date + "' " + attributes +
               "><Period start='PT0S'><AdaptationSet contentType='video'>" + inside +
               "<Representation id='v' bandwidth='1'/></AdaptationSet></Period></MPD>";
    }

    Documents m_documents;
    std::chrono::milliseconds m_liveTimeout{60000};
};

TEST_F(DashPresentationTest, PlaysVideoAndAudioBesideIt) {
    const auto presentation = open(R"(<MPD mediaPresentationDuration="PT4S"><Period>
        <AdaptationSet mimeType="audio/mp4"><SegmentTemplate media="a$Number$" initialization="ai" duration="2"/>
          <Representation id="a" bandwidth="64000"/></AdaptationSet>
        <AdaptationSet mimeType="video/mp4"><SegmentTemplate media="$RepresentationID$-$Number%03d$"
            initialization="$RepresentationID$-i" duration="2" startNumber="0"/>
          <Representation id="hi" bandwidth="900000" width="1280" height="720"/>
          <Representation id="lo" bandwidth="300000" width="640" height="360"/></AdaptationSet>
        <AdaptationSet mimeType="text/vtt"><Representation id="t" bandwidth="1"/></AdaptationSet>
        </Period></MPD>)");
    const auto& tracks = presentation->tracks();
    ASSERT_EQ(tracks.size(), 2U);
    EXPECT_FALSE(tracks[0].isAudio);
    ASSERT_EQ(tracks[0].streams.size(), 2U);
    EXPECT_EQ(tracks[0].streams[0].bitrate, 300000);
    EXPECT_EQ(tracks[0].streams[1].label, "1280x720");
    EXPECT_TRUE(tracks[1].isAudio);
    EXPECT_FALSE(presentation->isLive());

    const NextPiece first = presentation->next(0, 0);
    EXPECT_EQ(first.piece.media.resource.url, "http://h/d/lo-000");
    EXPECT_EQ(first.piece.init.value().resource.url, "http://h/d/lo-i");
    EXPECT_DOUBLE_EQ(first.piece.seconds, 2);
    EXPECT_FALSE(first.piece.protection);
    EXPECT_EQ(nextUrl(*presentation, 0, 1), "http://h/d/hi-001");
    EXPECT_EQ(nextUrl(*presentation, 0, 1), "end");
    EXPECT_EQ(nextUrl(*presentation, 1), "http://h/d/a1");
    EXPECT_EQ(nextUrl(*presentation, 1), "http://h/d/a2");
    EXPECT_EQ(nextUrl(*presentation, 1), "end");
}

TEST_F(DashPresentationTest, PlaysAudioAloneAsTheMainTrack) {
    const auto presentation = open(R"(<MPD mediaPresentationDuration="PT2S"><Period>
        <AdaptationSet contentType="audio"><SegmentTemplate media="$Time$" duration="2"/>
        <Representation id="a" bandwidth="5"/></AdaptationSet></Period></MPD>)");
    ASSERT_EQ(presentation->tracks().size(), 1U);
    EXPECT_FALSE(presentation->tracks()[0].isAudio);
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/0");
}

TEST_F(DashPresentationTest, PrefersTheMainAudioAndLeavesTrickModesOut) {
    const auto presentation = open(R"(<MPD mediaPresentationDuration="PT2S"><Period>
        <AdaptationSet contentType="video"><EssentialProperty
            schemeIdUri="http://dashif.org/guidelines/trickmode" value="1"/>
          <SegmentTemplate media="trick" duration="2"/><Representation id="t" bandwidth="1"/></AdaptationSet>
        <AdaptationSet contentType="video"><SegmentTemplate media="v" duration="2"/>
          <Representation id="v" bandwidth="9"/></AdaptationSet>
        <AdaptationSet contentType="audio"><SegmentTemplate media="comment" duration="2"/>
          <Representation id="c" bandwidth="1"/></AdaptationSet>
        <AdaptationSet contentType="audio"><Role value="main"/><SegmentTemplate media="main" duration="2"/>
          <Representation id="m" bandwidth="1"/></AdaptationSet></Period></MPD>)");
    EXPECT_EQ(nextUrl(*presentation, 0), "http://h/d/v");
    EXPECT_EQ(nextUrl(*presentation, 1), "http://h/d/main");
}

TEST_F(DashPresentationTest, GoesFromPeriodToPeriodAndTellsTheBreak) {
    const auto presentation = open(R"(<MPD><BaseURL>x/</BaseURL>
        <Period duration="PT4S"><BaseURL>one/</BaseURL><AdaptationSet contentType="video">
          <SegmentTemplate media="$Bandwidth$-$Number$" duration="2"/>
          <Representation id="1" bandwidth="100"/><Representation id="2" bandwidth="200"/></AdaptationSet></Period>
        <Period duration="PT2S"><BaseURL>http://other/two/</BaseURL><AdaptationSet contentType="video">
          <SegmentTemplate media="$Bandwidth$-$Number$" duration="2"/>
          <Representation id="1" bandwidth="90"/><Representation id="2" bandwidth="190"/></AdaptationSet></Period></MPD>)");
    EXPECT_EQ(nextUrl(*presentation, 0, 1), "http://h/d/x/one/200-1");
    const NextPiece second = presentation->next(0, 1);
    EXPECT_FALSE(second.piece.discontinuity);
    const NextPiece third = presentation->next(0, 1);
    EXPECT_EQ(third.piece.media.resource.url, "http://other/two/190-1");
    EXPECT_TRUE(third.piece.discontinuity);
    EXPECT_DOUBLE_EQ(third.piece.start, 4);
    EXPECT_EQ(nextUrl(*presentation, 0, 1), "end");
}

TEST_F(DashPresentationTest, ReadsTheIndexOfASegmentBase) {
    hastool::BoxBuilder box;
    box.u32(1).u32(1).u32(0).u32(0).u16(0).u16(2);
    box.u32(50).u32(2).u32(0).u32(60).u32(2).u32(0);
    const std::string index = box.fullBox("sidx");
    m_documents.set("http://h/d/v.mp4", std::string(100, 'i') + index);
    const std::string range = "100-" + std::to_string(99 + index.size());
    const auto presentation = open(
        "<MPD mediaPresentationDuration='PT4S'><Period><AdaptationSet contentType='video'>"
        "<Representation id='v' bandwidth='1'><BaseURL>v.mp4</BaseURL><SegmentBase indexRange='" +
        range + "'/></Representation></AdaptationSet></Period></MPD>");
    const NextPiece first = presentation->next(0, 0);
    EXPECT_EQ(first.piece.media.resource.range.value().first, 100 + index.size());
    EXPECT_EQ(first.piece.media.resource.range.value().length, 50U);
    EXPECT_EQ(first.piece.init.value().resource.range.value().length, 100U)
        << "what stands before the index";
    EXPECT_EQ(presentation->next(0, 0).piece.media.resource.range.value().length, 60U);
    EXPECT_EQ(nextUrl(*presentation), "end");
    EXPECT_EQ(m_documents.fetches("http://h/d/v.mp4"), 1);
}

TEST_F(DashPresentationTest, PlaysABaseUrlAloneAsOneSegment) {
    const auto presentation =
        open("<MPD><Period><AdaptationSet contentType='video'><Representation id='v' bandwidth='1'>"
             "<BaseURL>a b/\xC3\xA9.mp4</BaseURL></Representation></AdaptationSet></Period></MPD>");
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/a%20b/%C3%A9.mp4");
    EXPECT_EQ(nextUrl(*presentation), "end");
}

TEST_F(DashPresentationTest, HandsTheDescriptorsOfAProtectedPieceOut) {
    const std::string payload = "licence data";
    hastool::BoxBuilder box;
    box.zeros(16).u32(static_cast<uint32_t>(payload.size())).bytes(payload);
    const auto presentation =
        open("<MPD mediaPresentationDuration='PT2S'><Period><AdaptationSet contentType='video'>"
             "<ContentProtection schemeIdUri='urn:mpeg:dash:mp4protection:2011' value='cenc'/>"
             "<ContentProtection schemeIdUri='urn:uuid:1'><pssh>" +
             hastool::toBase64(box.fullBox("pssh")) +
             "</pssh></ContentProtection><SegmentTemplate media='s' duration='2'/>"
             "<Representation id='1' bandwidth='1'/><Representation id='2' bandwidth='2'/>"
             "</AdaptationSet></Period></MPD>");
    const auto protection = presentation->next(0, 1).piece.protection;
    ASSERT_TRUE(protection);
    EXPECT_EQ(protection->period, 0);
    EXPECT_EQ(protection->representation, 1);
    EXPECT_TRUE(protection->isSeparate);
    ASSERT_EQ(protection->descriptors.size(), 2U);
    EXPECT_EQ(protection->descriptors[0].value, "cenc");
    EXPECT_EQ(protection->descriptors[1].pssh, hastool::toBase64(payload));
}

TEST_F(DashPresentationTest, KnowsMultiplexedRepresentationsByTheirCodecs) {
    const auto presentation = open(
        "<MPD mediaPresentationDuration='PT2S'><Period><AdaptationSet contentType='video'>"
        "<ContentProtection schemeIdUri='urn:uuid:1'/><SegmentTemplate media='s' duration='2'/>"
        "<Representation id='1' bandwidth='1' codecs='avc1.64001f,mp4a.40.2'/>"
        "</AdaptationSet></Period></MPD>");
    EXPECT_FALSE(presentation->next(0, 0).piece.protection->isSeparate);
}

TEST_F(DashPresentationTest, JoinsALiveStreamThreeSegmentsBeforeItsEnd) {
    const auto presentation =
        open(live(1000.5, "", "<SegmentTemplate media='$Number$' duration='2' startNumber='0'/>"));
    EXPECT_TRUE(presentation->isLive());
    const NextPiece first = presentation->next(0, 0);
    ASSERT_EQ(first.kind, NextPiece::Kind::Piece);
    EXPECT_NEAR(static_cast<double>(first.piece.index), 497, 1);
    EXPECT_EQ(presentation->next(0, 0).piece.index, first.piece.index + 1);
}

TEST_F(DashPresentationTest, JoinsAsFarFromTheEndAsTheManifestSuggests) {
    const auto presentation = open(live(1000.5, "suggestedPresentationDelay='PT20S'",
                                        "<SegmentTemplate media='$Number$' duration='2'/>"));
    EXPECT_NEAR(presentation->next(0, 0).piece.start, 980, 2);
}

TEST_F(DashPresentationTest, WaitsForLiveSegmentsThatAreNotThereYet) {
    const auto presentation =
        open(live(10, "", "<SegmentTemplate media='$Number$' timescale='10' duration='5'/>"));
    for (int i = 0; i < 4; ++i) {
        const NextPiece next = awaitPiece(*presentation);
        ASSERT_EQ(next.kind, NextPiece::Kind::Piece);
    }
    EXPECT_EQ(m_documents.fetches(kUrl), 1) << "nothing says that the manifest changes";
}

TEST_F(DashPresentationTest, LoadsALiveManifestAgainForNewSegments) {
    const auto timeline = [](int last) {
        return "<SegmentTemplate media='$Time$' timescale='1'><SegmentTimeline><S t='" +
               std::to_string(last - 2) + "' d='1' r='2'/></SegmentTimeline></SegmentTemplate>";
    };
    const auto presentation = open(live(100, "minimumUpdatePeriod='PT0S'", timeline(90)));
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/88");
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/89");
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/90");
    EXPECT_EQ(nextUrl(*presentation), "wait");
    m_documents.remove(kUrl); // loading it again fails, which does not end the play yet
    std::this_thread::sleep_for(600ms);
    EXPECT_EQ(nextUrl(*presentation), "wait");
    m_documents.set(kUrl, live(100, "minimumUpdatePeriod='PT0S'", timeline(94)));
    const NextPiece next = awaitPiece(*presentation);
    EXPECT_EQ(next.piece.media.resource.url, "http://h/d/92");
    EXPECT_EQ(next.piece.lost, 1U);
}

TEST_F(DashPresentationTest, EndsALiveStreamWhoseEndIsKnownAndPast) {
    const auto presentation =
        open("<MPD type='dynamic' availabilityStartTime='2024-01-01T00:01:00Z' "
             "minimumUpdatePeriod='PT4M'><Period start='PT0S' duration='PT10S'>"
             "<AdaptationSet contentType='video'><SegmentTemplate timescale='1000' media='$Time$'>"
             "<SegmentTimeline><S t='0' d='4000' r='1'/></SegmentTimeline></SegmentTemplate>"
             "<Representation id='0'/></AdaptationSet></Period></MPD>");
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/0");
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/4000");
    EXPECT_EQ(nextUrl(*presentation), "end");
}

TEST_F(DashPresentationTest, GoesByTheServersClockWhereItIsTold) {
    const auto presentation =
        open("<MPD type='dynamic' availabilityStartTime='2024-01-01T00:00:00Z'>"
             "<UTCTiming schemeIdUri='urn:mpeg:dash:utc:direct:2014' value='2024-01-01T00:01:40Z'/>"
             "<Period start='PT0S'><AdaptationSet contentType='video'>"
             "<SegmentTemplate media='$Number$' duration='10' startNumber='0'/>"
             "<Representation id='0' bandwidth='1'/></AdaptationSet></Period></MPD>");
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/7");
}

TEST_F(DashPresentationTest, PlaysALiveStreamThatCountsFromTheEpoch) {
    const auto presentation =
        open("<MPD type='dynamic' availabilityStartTime='1970-01-01T00:00:00Z'>"
             "<UTCTiming schemeIdUri='urn:mpeg:dash:utc:direct:2014' value='2024-01-01T00:00:00Z'/>"
             "<Period start='PT0S'><AdaptationSet contentType='video'>"
             "<SegmentTemplate media='$Number$' duration='10' startNumber='0'/>"
             "<Representation id='0' bandwidth='1'/></AdaptationSet></Period></MPD>");
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/170406717");
}

TEST_F(DashPresentationTest, AsksForTheServersClockWhereItIsKept) {
    m_documents.set("http://h/time", "2024-01-01T00:01:40Z\n");
    const auto presentation =
        open("<MPD type='dynamic' availabilityStartTime='2024-01-01T00:00:00Z'>"
             "<UTCTiming schemeIdUri='urn:mpeg:dash:utc:http-iso:2014' value='/missing'/>"
             "<UTCTiming schemeIdUri='urn:mpeg:dash:utc:http-xsdate:2014' value='/time'/>"
             "<Period start='PT0S'><AdaptationSet contentType='video'>"
             "<SegmentTemplate media='$Number$' duration='10' startNumber='0'/>"
             "<Representation id='0' bandwidth='1'/></AdaptationSet></Period></MPD>");
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/7");
}

TEST_F(DashPresentationTest, GivesAStoppedLiveStreamUp) {
    m_liveTimeout = 1ms;
    const auto presentation = open(live(100, "",
                                        "<SegmentTemplate media='$Time$'><SegmentTimeline>"
                                        "<S t='90' d='1'/></SegmentTimeline></SegmentTemplate>"));
    EXPECT_EQ(nextUrl(*presentation), "http://h/d/90");
    EXPECT_EQ(nextUrl(*presentation), "wait");
    std::this_thread::sleep_for(5ms);
    EXPECT_EQ(errorOf([&] { nextUrl(*presentation); }),
              std::string(kUrl) + ": the live stream has stopped");
}

TEST_F(DashPresentationTest, RefusesWhatHasNothingToPlay) {
    EXPECT_EQ(errorOf([&] { open("<MPD><Period/></MPD>"); }),
              std::string(kUrl) + ": no period with anything to play");
}

TEST_F(DashPresentationTest, RefusesUrlsThatAreNotHttp) {
    const auto presentation = open(
        "<MPD><Period><AdaptationSet contentType='video'><Representation id='v' bandwidth='1'>"
        "<BaseURL>file:///etc/passwd</BaseURL></Representation></AdaptationSet></Period></MPD>");
    EXPECT_EQ(errorOf([&] { nextUrl(*presentation); }),
              std::string(kUrl) + ": not an HTTP URL: \"file:///etc/passwd\"");
}

/// A dynamic manifest of 2 s segments, and a clock for it.
class DashAvailabilityTest : public DashPresentationTest {
protected:
    /// Which segment is the last that can be had 100.25 s after the begin.
    std::string last(const std::string& base, const std::string& attributes,
                     const std::string& period = "", bool lowLatency = true) {
        m_documents.set(kUrl, "<MPD type='dynamic' availabilityStartTime='1970-01-01T00:00:00Z'>" +
                                  base + "<Period start='PT0S' " + period +
                                  "><AdaptationSet contentType='video'><SegmentTemplate "
                                  "media='$Number$' duration='2' startNumber='0' " +
                                  attributes +
                                  "/><Representation id='v' bandwidth='1'/></AdaptationSet>"
                                  "</Period></MPD>");
        hastool::TimeSource time;
        time.wall = [] { return 100.25; };
        m_presentation = hastool::openPresentation(kUrl, m_documents.fetcher(), m_liveTimeout, time,
                                                   {}, lowLatency);
        std::string last;
        for (NextPiece next = m_presentation->next(0, 0); next.kind == NextPiece::Kind::Piece;
             next = m_presentation->next(0, 0)) {
            last = next.piece.media.resource.url.substr(11);
            m_growsFor = next.piece.growsFor;
        }
        return last;
    }

    std::unique_ptr<hastool::Presentation> m_presentation;
    double m_growsFor = -1;
};

TEST_F(DashAvailabilityTest, OffsetMakesSegmentsAvailableEarlier) {
    EXPECT_EQ(last("", ""), "49");
    EXPECT_EQ(m_growsFor, 0);
    EXPECT_EQ(last("", "availabilityTimeOffset='1.5'"), "49"); // 50 ends at 102
    EXPECT_EQ(last("", "availabilityTimeOffset='1.8'"), "50");
    EXPECT_EQ(m_growsFor, 0); // it is there as a whole
    EXPECT_FALSE(m_presentation->isLowLatency());
    EXPECT_EQ(last("", "availabilityTimeOffset='1.8' availabilityTimeComplete='false'"), "50");
    EXPECT_DOUBLE_EQ(m_growsFor, 1.75);
    EXPECT_TRUE(m_presentation->isLowLatency());
    EXPECT_DOUBLE_EQ(m_presentation->liveEdge().value(), 100.25);
}

TEST_F(DashAvailabilityTest, OffsetsOfAllLevelsAddUp) {
    EXPECT_EQ(
        last("<BaseURL availabilityTimeOffset='1'>x/</BaseURL>", "availabilityTimeOffset='0.8'"),
        "x/50");
    EXPECT_EQ(last("<BaseURL availabilityTimeOffset='9'>http://h/d/</BaseURL>", ""), "53");
    EXPECT_EQ(last("<BaseURL availabilityTimeOffset='1.8' availabilityTimeComplete='false'>./"
                   "</BaseURL>",
                   ""),
              "50");
    EXPECT_DOUBLE_EQ(m_growsFor, 1.75);
}

TEST_F(DashAvailabilityTest, EndlessOffsetMakesAllOfAPeriodAvailable) {
    EXPECT_EQ(last("", "availabilityTimeOffset='INF'", "duration='PT200S'"), "99");
    EXPECT_EQ(last("", "availabilityTimeOffset='INF'"), "49"); // a period without an end
}

TEST_F(DashAvailabilityTest, OffsetCountsOnlyAtLowLatency) {
    EXPECT_EQ(last("", "availabilityTimeOffset='1.8' availabilityTimeComplete='false'", "", false),
              "49");
    EXPECT_FALSE(m_presentation->isLowLatency());
}

TEST_F(DashAvailabilityTest, OffsetsAreReadAsTheSchemaHasThem) {
    EXPECT_EQ(last("", "availabilityTimeOffset='+1.8'"), "50");
    EXPECT_EQ(last("", "availabilityTimeOffset='18e-1'"), "50");
    EXPECT_EQ(last("", "availabilityTimeOffset='-1'"), "48");
    for (const char* const text : {"x", "", "1e99", "inf", "NaN", "1.8x"})
        EXPECT_EQ(last("", "availabilityTimeOffset='" + std::string(text) + "'"), "49") << text;
}

TEST_F(DashAvailabilityTest, LatencyTargetSaysWhereToBegin) {
    const std::string paced = "availabilityTimeOffset='1.5' availabilityTimeComplete='false'";
    const auto first = [&](const std::string& base) {
        last(base, paced);
        return hastool::openPresentation(kUrl, m_documents.fetcher(), m_liveTimeout,
                                         [] {
                                             hastool::TimeSource time;
                                             time.wall = [] { return 100.25; };
                                             return time;
                                         }())
            ->next(0, 0)
            .piece.media.resource.url;
    };
    const auto target = [](const std::string& text) {
        return "<ServiceDescription><Latency target='" + text + "'/></ServiceDescription>";
    };
    EXPECT_EQ(first(target("5000")), "http://h/d/47");
    EXPECT_EQ(first(target("x")), first(""));
}

} // namespace
