#include <hastool/base/ToolError.h>
#include <hastool/formats/hls/HlsPlaylist.h>
#include <hastool/formats/hls/HlsPresentation.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>

using hastool::HlsPlaylist;
using hastool::NextPiece;
using hastool::parseHlsPlaylist;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

constexpr char kUrl[] = "http://h/m.m3u8";
const std::string kHead =
    "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:10\n"
    "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,HOLD-BACK=6,PART-HOLD-BACK=1.5\n"
    "#EXT-X-PART-INF:PART-TARGET=0.5\n";

HlsPlaylist parse(const std::string& inside) {
    return parseHlsPlaylist(kHead + inside, kUrl);
}

/// So many parts of half a second, "10.0.mp4"..., the first of which stands alone.
std::string parts(int segment, int count, int first = 0) {
    std::string text;
    for (int i = first; i < count; ++i)
        text += "#EXT-X-PART:DURATION=0.5,URI=\"" + std::to_string(segment) + "." +
                std::to_string(i) + ".mp4\"" + (i == 0 ? ",INDEPENDENT=YES\n" : "\n");
    return text;
}

/// Whole segments from 10 on, those from `withParts` on with parts.
std::string whole(int end, int withParts) {
    std::string text;
    for (int i = 10; i < end; ++i)
        text += (i >= withParts ? parts(i, 4) : "") + "#EXTINF:2,\n" + std::to_string(i) + ".mp4\n";
    return text;
}

TEST(HlsPartsTest, BelongToTheSegmentBehindThem) {
    const HlsPlaylist playlist =
        parse(parts(10, 4) + "#EXTINF:2,\n10.mp4\n#EXT-X-DISCONTINUITY\n" + parts(11, 1) +
              "#EXT-X-PRELOAD-HINT:TYPE=PART,URI=\"11.1.mp4\"\n"
              "#EXT-X-RENDITION-REPORT:URI=\"o.m3u8\",LAST-MSN=11,LAST-PART=0\n");
    ASSERT_EQ(playlist.segments.size(), 1U);
    ASSERT_EQ(playlist.segments[0].parts.size(), 4U);
    EXPECT_EQ(playlist.segments[0].parts[1].uri, "10.1.mp4");
    EXPECT_TRUE(playlist.segments[0].parts[0].independent);
    EXPECT_FALSE(playlist.segments[0].parts[1].independent);
    ASSERT_TRUE(playlist.begun);
    EXPECT_EQ(playlist.begun->sequence, 11U);
    EXPECT_TRUE(playlist.begun->discontinuity);
    EXPECT_EQ(playlist.begun->parts.size(), 1U);
    EXPECT_EQ(playlist.lowLatency.partTarget, 0.5);
    EXPECT_EQ(playlist.lowLatency.partHoldBack, 1.5);
    EXPECT_EQ(playlist.lowLatency.holdBack, 6.0);
    EXPECT_TRUE(playlist.lowLatency.canBlock);
    EXPECT_EQ(playlist.lowLatency.hint->uri, "11.1.mp4");
    ASSERT_EQ(playlist.lowLatency.reports.size(), 1U);
    EXPECT_EQ(playlist.lowLatency.reports[0].lastSequence, 11U);
    EXPECT_EQ(playlist.lowLatency.reports[0].lastPart, 0U);
    EXPECT_FALSE(playlist.hasBadParts);
}

TEST(HlsPartsTest, RangesGoOnWhereTheLastEnded) {
    const HlsPlaylist playlist =
        parse("#EXT-X-PART:DURATION=1,URI=\"a\",BYTERANGE=\"100@50\"\n"
              "#EXT-X-PART:DURATION=1,URI=\"a\",BYTERANGE=\"7\"\n#EXTINF:2,\na\n");
    ASSERT_EQ(playlist.segments.at(0).parts.size(), 2U);
    EXPECT_EQ(playlist.segments[0].parts[1].range->first, 150U);
    EXPECT_EQ(playlist.segments[0].parts[1].range->length, 7U);
}

TEST(HlsPartsTest, ContradictionsLeaveTheWholeSegment) {
    const std::string one = "#EXT-X-PART:DURATION=1,URI=\"a\",BYTERANGE=";
    for (const std::string& bad : std::vector<std::string>{
             parts(10, 3),                                           // too short together
             parts(10, 5),                                           // too long
             one + "\"10@0\"\n" + one + "\"10@5\"\n",                // the same bytes twice
             one + "\"10@20\"\n" + one + "\"10@0\"\n",               // out of order
             one + "\"0@0\"\n" + one + "\"10@0\"\n",                 // no bytes
             one + "\"18446744073709551615@9\"\n" + one + "\"1\"\n", // beyond all ends
             one + "\"x\"\n" + one + "\"10@0\"\n", "#EXT-X-PART:DURATION=2,URI=\"\"\n",
             "#EXT-X-PART:DURATION=2\n", "#EXT-X-PART:DURATION=-2,URI=\"a\"\n",
             "#EXT-X-PART:DURATION=1,URI=\"a\"\n#EXT-X-PART:DURATION=1,URI=\"a\"\n",
             "#EXT-X-PART:DURATION=0,URI=\"b\"\n#EXT-X-PART:DURATION=2,URI=\"a\"\n"}) {
        const HlsPlaylist playlist = parse(bad + "#EXTINF:2,\n10.mp4\n");
        ASSERT_EQ(playlist.segments.size(), 1U) << bad;
        EXPECT_TRUE(playlist.segments[0].parts.empty()) << bad;
        EXPECT_TRUE(playlist.hasBadParts) << bad;
    }
}

/// Reads a playlist that a test changes.
class HlsLowLatencyTest : public ::testing::Test {
protected:
    void open(const std::string& inside, bool lowLatency = true) {
        m_text = kHead + inside;
        m_presentation = std::make_unique<hastool::HlsPresentation>(
            hastool::Document{m_text, kUrl},
            [this](const hastool::Resource& resource) {
                m_reloads.push_back(resource.url);
                if (m_isRefused && resource.url != kUrl)
                    throw hastool::ToolError(resource.url, "HTTP 400");
                return hastool::Document{m_text, resource.url};
            },
            std::chrono::seconds(60), time(), hastool::RenditionChoice(), lowLatency);
    }
    hastool::TimeSource time() {
        hastool::TimeSource time;
        time.steady = [this] { return hastool::TimeSource::Steady::time_point() + m_now; };
        return time;
    }
    /// The URIs of the pieces that can be had now.
    std::vector<std::string> all() {
        std::vector<std::string> uris;
        for (NextPiece next = m_presentation->next(0, 0); next.kind == NextPiece::Kind::Piece;
             next = m_presentation->next(0, 0))
            uris.push_back(next.piece.media.resource.url.substr(9));
        return uris;
    }

    std::string m_text;
    std::vector<std::string> m_reloads;
    std::chrono::milliseconds m_now{1000};
    bool m_isRefused = false;
    std::unique_ptr<hastool::HlsPresentation> m_presentation;
};

TEST_F(HlsLowLatencyTest, BeginsNearTheEnd) {
    open(whole(15, 13) + parts(15, 2));
    EXPECT_TRUE(m_presentation->isLowLatency());
    EXPECT_THAT(all(), ElementsAre("14.mp4", "15.0.mp4", "15.1.mp4"));
}

TEST_F(HlsLowLatencyTest, BeginsInASegmentWhereAPartStandsAlone) {
    open(whole(15, 13) + parts(15, 1) + "#EXT-X-PART:DURATION=0.5,URI=\"i.mp4\",INDEPENDENT=YES\n" +
         parts(15, 4, 2));
    EXPECT_THAT(all(), ElementsAre("i.mp4", "15.2.mp4", "15.3.mp4"));
}

TEST_F(HlsLowLatencyTest, WithoutItWholeSegmentsArePlayed) {
    open(whole(15, 13) + parts(15, 2), false);
    EXPECT_FALSE(m_presentation->isLowLatency());
    EXPECT_THAT(all(), ElementsAre("12.mp4", "13.mp4", "14.mp4"));
    m_now += std::chrono::seconds(3);
    all();
    EXPECT_THAT(m_reloads, ::testing::Each(std::string(kUrl)));
}

TEST_F(HlsLowLatencyTest, ReloadsAskForThePartThatComesNext) {
    open(whole(15, 13) + parts(15, 2));
    all();
    ASSERT_FALSE(m_reloads.empty());
    EXPECT_EQ(m_reloads[0], std::string(kUrl) + "?_HLS_msn=15&_HLS_part=2");
    m_text = kHead + whole(15, 13) + parts(15, 3);
    m_now += std::chrono::seconds(1);
    EXPECT_THAT(all(), ElementsAre("15.2.mp4"));
}

TEST_F(HlsLowLatencyTest, ServerThatDoesNotHoldReloadsIsNotAskedWithoutEnd) {
    open(whole(15, 13) + parts(15, 2));
    all();
    const size_t reloads = m_reloads.size();
    for (int i = 0; i < 100; ++i)
        all();
    EXPECT_LE(m_reloads.size(), reloads + 1);
}

TEST_F(HlsLowLatencyTest, RestOfASegmentThatBecomesWholeComesPartByPart) {
    open(whole(15, 13) + parts(15, 2));
    all();
    m_text = kHead + whole(17, 13) + parts(17, 1);
    m_now += std::chrono::seconds(1);
    EXPECT_THAT(all(), ElementsAre("15.2.mp4", "15.3.mp4", "16.mp4", "17.0.mp4"));
}

TEST_F(HlsLowLatencyTest, StreamCannotBeChangedWithinASegment) {
    open(whole(15, 13) + parts(15, 2));
    m_presentation->next(0, 0);
    EXPECT_FALSE(m_presentation->isInside(0));
    m_presentation->next(0, 0);
    EXPECT_TRUE(m_presentation->isInside(0));
}

TEST_F(HlsLowLatencyTest, NothingComesTwiceWhenAReloadGoesBack) {
    open(whole(15, 13) + parts(15, 3));
    EXPECT_THAT(all(), ElementsAre("15.0.mp4", "15.1.mp4", "15.2.mp4"));
    m_text = kHead + whole(14, 13) + parts(14, 3);
    m_now += std::chrono::seconds(1);
    EXPECT_TRUE(all().empty());
    m_text = kHead + whole(15, 13) + parts(15, 4);
    m_now += std::chrono::seconds(1);
    EXPECT_THAT(all(), ElementsAre("15.3.mp4"));
}

TEST_F(HlsLowLatencyTest, PartsThatAreGoneAreLeftOut) {
    open(whole(15, 13) + parts(15, 2));
    all();
    m_text = kHead + whole(18, 17);
    m_now += std::chrono::seconds(1);
    EXPECT_THAT(all(), ElementsAre("16.mp4", "17.mp4"));
    EXPECT_THAT(m_presentation->takeWarnings(),
                ElementsAre(HasSubstr("the parts of segment 15 are gone")));
}

TEST_F(HlsLowLatencyTest, PartsThatContradictTheirSegmentEndIt) {
    open(whole(15, 13) + parts(15, 2));
    all();
    m_text = kHead + whole(15, 13) + parts(15, 3) + "#EXTINF:2,\n15.mp4\n" + parts(16, 2);
    m_now += std::chrono::seconds(1);
    EXPECT_TRUE(all().empty()); // what is left of 15 cannot be told from what was played
    EXPECT_FALSE(m_presentation->isLowLatency());
    EXPECT_THAT(m_presentation->takeWarnings(),
                ElementsAre(HasSubstr("parts that contradict their segment"),
                            HasSubstr("the parts of segment 15 are gone")));
    m_text = kHead + whole(17, 13) + parts(17, 2);
    m_now += std::chrono::seconds(3);
    EXPECT_THAT(all(), ElementsAre("16.mp4"));
    EXPECT_EQ(m_reloads.back(), kUrl);
}

TEST_F(HlsLowLatencyTest, ServerThatRefusesHeldReloadsIsReadByWholeSegments) {
    open(whole(15, 13) + parts(15, 2));
    m_isRefused = true;
    all();
    EXPECT_FALSE(m_presentation->isLowLatency());
    m_text = kHead + whole(17, 13) + parts(17, 2);
    m_now += std::chrono::seconds(3);
    all();
    EXPECT_EQ(m_reloads.back(), kUrl);
}

TEST_F(HlsLowLatencyTest, HintThatNeverComesTrueDoesNoHarm) {
    open(whole(15, 13) + parts(15, 2) + "#EXT-X-PRELOAD-HINT:TYPE=PART,URI=\"never.mp4\"\n");
    all();
    m_text =
        kHead + whole(15, 13) + parts(15, 3) + "#EXT-X-PRELOAD-HINT:TYPE=PART,URI=\"nor.mp4\"\n";
    m_now += std::chrono::seconds(1);
    EXPECT_THAT(all(), ElementsAre("15.2.mp4"));
}

TEST_F(HlsLowLatencyTest, LiveEdgeMovesOnWithTheTime) {
    open(whole(15, 13) + parts(15, 2));
    const NextPiece first = m_presentation->next(0, 0); // 14, which begins 3 s before the end
    EXPECT_DOUBLE_EQ(m_presentation->liveEdge().value(), first.piece.start + 3);
    m_presentation->next(0, 0);
    EXPECT_DOUBLE_EQ(m_presentation->liveEdge().value(), first.piece.start + 3);
    m_now += std::chrono::milliseconds(250);
    EXPECT_DOUBLE_EQ(m_presentation->liveEdge().value(), first.piece.start + 3.25);
}

} // namespace
