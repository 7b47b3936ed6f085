// A piece again, of another stream, in each format.
#include <hastool/formats/OpenPresentation.h>
#include <tools/hastool/Documents.h>

#include <hastool/base/BoxBuilder.h>
#include <hastool/base/IsoTime.h>
#include <hastool/play/VirtualClock.h>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using hastool::NextPiece;
using hastool::Presentation;

namespace {

constexpr char kMaster[] = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=100\na.m3u8\n"
                           "#EXT-X-STREAM-INF:BANDWIDTH=900\nb.m3u8\n";

std::string playlist(const std::string& name, int first, int count, const std::string& end) {
    std::string text =
        "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:" + std::to_string(first) + "\n";
    for (int i = first; i < first + count; ++i)
        text += "#EXTINF:2,\n#EXT-X-BYTERANGE:" + std::to_string(1000 + i) + "@0\n" + name +
                std::to_string(i) + "\n";
    return text + end;
}

constexpr char kDash[] = "<MPD mediaPresentationDuration='PT8S'><Period>"
                         "<AdaptationSet contentType='video'><SegmentTemplate "
                         "media='$RepresentationID$$Number$' startNumber='0' duration='2'/>"
                         "<Representation id='a' bandwidth='100'/>"
                         "<Representation id='b' bandwidth='900'/></AdaptationSet></Period></MPD>";

constexpr char kSmooth[] =
    "<SmoothStreamingMedia TimeScale='1'><StreamIndex Type='video' "
    "Url='{bitrate}/{start time}'><QualityLevel Bitrate='100' FourCC='H264'/>"
    "<QualityLevel Bitrate='900' FourCC='H264'/><c d='2'/><c d='2'/><c d='2'/><c d='2'/>"
    "</StreamIndex></SmoothStreamingMedia>";

class PieceAgain : public testing::Test {
protected:
    std::unique_ptr<Presentation> open(const std::string& text) {
        m_documents.set("http://h/m", text);
        return hastool::openPresentation("http://h/m", m_documents.fetcher(), 60s,
                                         m_clock.source());
    }
    std::unique_ptr<Presentation> openHls(const std::string& end) {
        m_documents.set("http://h/a.m3u8", playlist("a", 0, 4, end));
        m_documents.set("http://h/b.m3u8", playlist("b", 0, 4, end));
        return open(kMaster);
    }
    /// What it would be without "http://h/".
    static std::string name(const NextPiece& next) {
        if (next.kind != NextPiece::Kind::Piece)
            return next.kind == NextPiece::Kind::End ? "end" : "wait";
        return next.piece.media.resource.url.substr(9);
    }
    static std::string again(Presentation& presentation, size_t stream) {
        return name(presentation.again(0, stream));
    }
    static std::string next(Presentation& presentation, size_t stream) {
        return name(presentation.next(0, stream));
    }

    Documents m_documents;
    hastool::VirtualClock m_clock;
};

TEST_F(PieceAgain, OfHls) {
    const auto presentation = openHls("#EXT-X-ENDLIST\n");
    EXPECT_EQ(next(*presentation, 1), "b0");
    EXPECT_EQ(again(*presentation, 0), "a0") << "the first one too";
    EXPECT_EQ(next(*presentation, 1), "b1");
    EXPECT_EQ(again(*presentation, 0), "a1");
    EXPECT_EQ(again(*presentation, 1), "b1") << "and back";
    EXPECT_EQ(next(*presentation, 1), "b2");
    EXPECT_EQ(next(*presentation, 1), "b3");
    EXPECT_EQ(again(*presentation, 0), "a3");
    EXPECT_EQ(next(*presentation, 0), "end");
}

TEST_F(PieceAgain, OfLiveHls) {
    const auto presentation = openHls("");
    EXPECT_EQ(next(*presentation, 1), "b1") << "three before the end";
    EXPECT_EQ(next(*presentation, 1), "b2");
    m_documents.set("http://h/a.m3u8", playlist("a", 0, 6, ""));
    EXPECT_EQ(again(*presentation, 0), "a2") << "by its number, however many there are by now";
    EXPECT_EQ(next(*presentation, 0), "a3");
}

TEST_F(PieceAgain, OfALiveStreamThatLagsComesLater) {
    const auto presentation = openHls("");
    m_documents.set("http://h/a.m3u8", playlist("a", 0, 2, ""));
    EXPECT_EQ(next(*presentation, 1), "b1");
    EXPECT_EQ(next(*presentation, 1), "b2");
    EXPECT_EQ(again(*presentation, 0), "wait");
    m_documents.set("http://h/a.m3u8", playlist("a", 0, 4, ""));
    m_clock.goTo(m_clock.steady() + 3s);
    EXPECT_EQ(again(*presentation, 0), "a2");
    EXPECT_EQ(next(*presentation, 0), "a3");
}

/// A failure leaves the track where it was.
TEST_F(PieceAgain, OfAStreamThatCannotBeHadChangesNothing) {
    const auto presentation = openHls("#EXT-X-ENDLIST\n");
    m_documents.remove("http://h/a.m3u8");
    EXPECT_EQ(next(*presentation, 1), "b0");
    EXPECT_EQ(next(*presentation, 1), "b1");
    EXPECT_THROW(again(*presentation, 0), hastool::ToolError);
    EXPECT_EQ(next(*presentation, 1), "b2");
    EXPECT_THROW(again(*presentation, 0), hastool::ToolError);
    EXPECT_EQ(again(*presentation, 1), "b2");
}

TEST_F(PieceAgain, OfDash) {
    const auto presentation = open(kDash);
    EXPECT_EQ(next(*presentation, 1), "b0");
    EXPECT_EQ(again(*presentation, 0), "a0");
    EXPECT_EQ(next(*presentation, 1), "b1");
    EXPECT_EQ(again(*presentation, 0), "a1");
    EXPECT_EQ(again(*presentation, 1), "b1");
    EXPECT_EQ(next(*presentation, 1), "b2");
    EXPECT_EQ(next(*presentation, 0), "a3");
    EXPECT_EQ(again(*presentation, 1), "b3");
    EXPECT_EQ(next(*presentation, 0), "end");
}

/// Pieces that are gone before one are told of once.
TEST_F(PieceAgain, OfLiveDashLosesNothingTwice) {
    const double begin = static_cast<double>(m_clock.milliseconds()) / 1000 - 100;
    const auto presentation = open(
        "<MPD type='dynamic' availabilityStartTime='" + hastool::isoDateTime(begin) +
        "' timeShiftBufferDepth='PT10S'><Period start='PT0S'><AdaptationSet contentType='video'>"
        "<SegmentTemplate media='$RepresentationID$$Number$' startNumber='0' duration='2'/>"
        "<Representation id='a' bandwidth='100'/><Representation id='b' bandwidth='900'/>"
        "</AdaptationSet></Period></MPD>");
    const std::string first = next(*presentation, 1);
    m_clock.goTo(m_clock.steady() + 20s);
    const NextPiece late = presentation->next(0, 1);
    EXPECT_GT(late.piece.lost, 0U);
    const NextPiece lower = presentation->again(0, 0);
    EXPECT_EQ(name(lower), "a" + name(late).substr(1));
    EXPECT_EQ(lower.piece.lost, 0U);
}

TEST_F(PieceAgain, OfSmooth) {
    const auto presentation = open(kSmooth);
    EXPECT_EQ(next(*presentation, 1), "900/0");
    EXPECT_EQ(again(*presentation, 0), "100/0");
    EXPECT_EQ(next(*presentation, 1), "900/2");
    EXPECT_EQ(again(*presentation, 0), "100/2");
    EXPECT_EQ(again(*presentation, 1), "900/2");
    EXPECT_EQ(next(*presentation, 0), "100/4");
}

TEST_F(PieceAgain, SizesAreKnownWhereAllPlaylistsAre) {
    using Sizes = std::vector<uint64_t>;
    const auto presentation = openHls("#EXT-X-ENDLIST\n");
    next(*presentation, 0);
    EXPECT_EQ(presentation->nextSizes(0), Sizes()) << "of the other stream nothing is known";
    next(*presentation, 1);
    EXPECT_EQ(presentation->nextSizes(0), (Sizes{1002, 1002}));
    next(*presentation, 1);
    next(*presentation, 1);
    EXPECT_EQ(presentation->nextSizes(0), Sizes()) << "there is no next one";
    EXPECT_EQ(open(kDash)->nextSizes(0), Sizes());
    EXPECT_EQ(open(kSmooth)->nextSizes(0), Sizes());
}

/// An index of two segments, of 500 bytes and 700, or others.
std::string sidx(uint32_t first, uint32_t second) {
    hastool::BoxBuilder box;
    box.u32(1).u32(1).u32(0).u32(0).u32(2); // of the timescale 1
    for (const uint32_t size : {first, second})
        box.u32(size).u32(2).u32(0x90000000);
    return box.fullBox("sidx");
}

TEST_F(PieceAgain, SizesOfDashComeFromTheIndexes) {
    const std::string end = std::to_string(sidx(0, 0).size() - 1);
    const auto set = [&](const std::string& id, const std::string& bitrate) {
        return "<Representation id='" + id + "' bandwidth='" + bitrate + "'><BaseURL>" + id +
               "</BaseURL><SegmentBase indexRange='0-" + end + "'/></Representation>";
    };
    m_documents.set("http://h/a", sidx(500, 700));
    m_documents.set("http://h/b", sidx(5000, 7000));
    const auto presentation =
        open("<MPD mediaPresentationDuration='PT4S'><Period><AdaptationSet "
             "contentType='video'>" +
             set("a", "100") + set("b", "900") + "</AdaptationSet></Period></MPD>");
    next(*presentation, 0);
    EXPECT_TRUE(presentation->nextSizes(0).empty());
    again(*presentation, 1);
    EXPECT_EQ(presentation->nextSizes(0), (std::vector<uint64_t>{700, 7000}));
}

} // namespace
