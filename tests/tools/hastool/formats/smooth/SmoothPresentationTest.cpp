#include <hastool/formats/OpenPresentation.h>
#include <tools/hastool/Documents.h>
#include <tools/hastool/ErrorOf.h>
#include <tools/hastool/ManifestWalk.h>

#include <hastool/base/BoxBuilder.h>
#include <hastool/base/BoxView.h>
#include <hastool/formats/smooth/SmoothInit.h>
#include <hastool/formats/smooth/SmoothPresentation.h>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using hastool::BoxBuilder;
using hastool::NextPiece;

namespace {

constexpr char kUrl[] = "http://h/s.ism/Manifest";

std::string manifest(const std::string& videoChunks, const std::string& attributes = "") {
    return "<SmoothStreamingMedia TimeScale='10' " + attributes +
           "><StreamIndex Type='video' Url='Q({bitrate})/F(video={start time})'>"
           "<QualityLevel Bitrate='300' FourCC='H264' MaxWidth='64' MaxHeight='48' "
           "CodecPrivateData='"
           "000000016742c00d8d650000000168ce3c80'/>"
           "<QualityLevel Bitrate='900' FourCC='WVC1' CodecPrivateData='00'/>" +
           videoChunks +
           "</StreamIndex><StreamIndex Type='audio' Url='A/{start time}'>"
           "<QualityLevel Bitrate='64' FourCC='AACL' SamplingRate='44100' Channels='2' "
           "CodecPrivateData='1210'/><c d='20'/><c d='20'/></StreamIndex></SmoothStreamingMedia>";
}

std::string fragment(uint32_t track) {
    const std::string tfhd = BoxBuilder().u32(track).fullBox("tfhd");
    const std::string traf = BoxBuilder().bytes(tfhd).box("traf");
    return BoxBuilder().bytes(traf).box("moof");
}

class SmoothPresentationTest : public testing::Test {
protected:
    std::unique_ptr<hastool::Presentation> open(const std::string& text) {
        m_documents.set(kUrl, text);
        return hastool::openPresentation(kUrl, m_documents.fetcher(), m_liveTimeout);
    }
    Documents m_documents;
    std::chrono::milliseconds m_liveTimeout{60000};
};

TEST_F(SmoothPresentationTest, ATrackThatStandsStillIsToldWhateverTheOthersDo) {
    WalkClock clock;
    const auto fetch = [&](const hastool::Resource& resource) {
        const int chunks = 5 + static_cast<int>(clock.passed());
        return hastool::Document{
            manifest("<c d='10' r='" + std::to_string(chunks) + "'/>", "IsLive='TRUE'"),
            resource.url};
    };
    const auto presentation = hastool::openPresentation(kUrl, fetch, 10s, clock.source());
    std::string error;
    size_t pieces = 0;
    while (error.empty() && clock.passed() < 60) {
        const ManifestWalk video = walk(*presentation, 0, 0, clock, 2);
        EXPECT_EQ(video.error, "");
        pieces += video.pieces.size();
        error = walk(*presentation, 1, 0, clock, 0.1).error;
    }
    EXPECT_EQ(error, std::string(kUrl) + ": the live stream has stopped");
    EXPECT_GT(pieces, 8U) << "and the video went on";
}

TEST_F(SmoothPresentationTest, PlaysItsVideoAndItsAudio) {
    const auto presentation = open(manifest("<c d='20'/><c d='15'/>"));
    ASSERT_EQ(presentation->tracks().size(), 2U);
    EXPECT_EQ(presentation->tracks()[0].streams.at(0).label, "64x48");
    EXPECT_TRUE(presentation->tracks()[1].isAudio);
    const NextPiece first = presentation->next(0, 0);
    EXPECT_EQ(first.piece.media.resource.url, "http://h/s.ism/Q(300)/F(video=0)");
    EXPECT_DOUBLE_EQ(first.piece.seconds, 2);
    EXPECT_EQ(nextUrl(*presentation, 0, 1), "http://h/s.ism/Q(900)/F(video=20)");
    EXPECT_EQ(nextUrl(*presentation, 0, 1), "end");
    EXPECT_EQ(nextUrl(*presentation, 1), "http://h/s.ism/A/0");
    EXPECT_EQ(nextUrl(*presentation, 1), "http://h/s.ism/A/20");
    EXPECT_EQ(nextUrl(*presentation, 1), "end");
}

TEST_F(SmoothPresentationTest, MakesTheInitialisationFromTheManifestAndTheFragment) {
    const auto presentation = open(manifest("<c d='20'/>"));
    const std::string init = presentation->next(0, 0).piece.makeInit(fragment(7));
    const auto moov = hastool::findBox(init, "moov");
    ASSERT_TRUE(moov);
    const auto trak = hastool::findBox(moov->content, "trak");
    ASSERT_TRUE(trak);
    const auto tkhd = hastool::findBox(trak->content, "tkhd");
    ASSERT_TRUE(tkhd);
    EXPECT_EQ(tkhd->content.substr(12, 4), std::string("\0\0\0\7", 4));
    EXPECT_NE(init.find("avcC"), std::string::npos);
    const std::string audio = presentation->next(1, 0).piece.makeInit(fragment(2));
    EXPECT_NE(audio.find("esds"), std::string::npos);
    EXPECT_NE(audio.find("\x05\x02\x12\x10"), std::string::npos) << "the decoder's configuration";
}

TEST_F(SmoothPresentationTest, HasNoInitialisationForACodecItDoesNotKnow) {
    const auto presentation = open(manifest("<c d='20'/>"));
    EXPECT_EQ(presentation->next(0, 1).piece.makeInit(fragment(1)), "");
}

TEST(SmoothInit, TakesTheTrackFromTheFragment) {
    EXPECT_EQ(hastool::trackOfFragment(fragment(5)), 5U);
    EXPECT_EQ(hastool::trackOfFragment(""), 1U);
    EXPECT_EQ(hastool::trackOfFragment(BoxBuilder().box("moof")), 1U);
}

TEST(SmoothInit, ReckonsAnAacConfigurationThatIsNotGiven) {
    hastool::SmoothStream stream;
    stream.type = "audio";
    stream.timescale = 1;
    hastool::SmoothQuality quality;
    quality.fourCC = "AACL";
    quality.samplingRate = 48000;
    quality.channels = 2;
    EXPECT_NE(hastool::makeSmoothInit(stream, quality, 1).find("\x05\x02\x11\x90"),
              std::string::npos);
    quality.samplingRate = 47999;
    EXPECT_EQ(hastool::makeSmoothInit(stream, quality, 1), "");
}

TEST_F(SmoothPresentationTest, JoinsALiveStreamBeforeItsEndAndLoadsItAgain) {
    const auto presentation = open(manifest("<c t='100' d='5' r='5'/>", "IsLive='true'"));
    EXPECT_TRUE(presentation->isLive());
    EXPECT_EQ(nextUrl(*presentation), "http://h/s.ism/Q(300)/F(video=110)");
    EXPECT_EQ(nextUrl(*presentation), "http://h/s.ism/Q(300)/F(video=115)");
    EXPECT_EQ(nextUrl(*presentation), "http://h/s.ism/Q(300)/F(video=120)");
    EXPECT_EQ(nextUrl(*presentation), "wait");
    m_documents.set(kUrl, manifest("<c t='130' d='5' r='5'/>", "IsLive='true'"));
    const NextPiece next = awaitPiece(*presentation);
    EXPECT_EQ(next.piece.media.resource.url, "http://h/s.ism/Q(300)/F(video=130)");
    EXPECT_EQ(next.piece.lost, 1U);
}

TEST_F(SmoothPresentationTest, GivesAStoppedLiveStreamUp) {
    m_liveTimeout = 1ms;
    const auto presentation = open(manifest("<c t='100' d='5'/>", "IsLive='true'"));
    EXPECT_EQ(nextUrl(*presentation), "http://h/s.ism/Q(300)/F(video=100)");
    EXPECT_EQ(nextUrl(*presentation), "wait");
    std::this_thread::sleep_for(5ms);
    EXPECT_EQ(test::errorOf([&] { nextUrl(*presentation); }),
              std::string(kUrl) + ": the live stream has stopped");
}

TEST_F(SmoothPresentationTest, SubtitlesGetAnInitialisationToo) {
    hastool::SmoothStream stream;
    stream.type = "text";
    stream.timescale = 10000000;
    hastool::SmoothQuality quality;
    quality.fourCC = "TTML";
    const std::string init = hastool::makeSmoothInit(stream, quality, 3);
    EXPECT_NE(init.find("stpp"), std::string::npos);
    EXPECT_NE(init.find("subt"), std::string::npos);
    EXPECT_NE(init.find("sthd"), std::string::npos);
    EXPECT_EQ(init.find("smhd"), std::string::npos);
    quality.fourCC = "XXXX";
    EXPECT_EQ(hastool::makeSmoothInit(stream, quality, 3), "");
}

TEST_F(SmoothPresentationTest, RefusesWhatHasNeitherVideoNorAudio) {
    EXPECT_EQ(test::errorOf([&] {
                  open("<SmoothStreamingMedia><StreamIndex Type='text' Url='u'><QualityLevel "
                       "Bitrate='1' CodecPrivateData=''/></StreamIndex></SmoothStreamingMedia>");
              }),
              std::string(kUrl) + ": neither a video nor an audio stream");
}

} // namespace
