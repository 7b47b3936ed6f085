#include <hastool/formats/OpenPresentation.h>
#include <tools/hastool/ErrorOf.h>

#include <hastool/formats/hls/HlsPresentation.h>

#include <map>
#include <thread>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using hastool::Document;
using hastool::Encryption;
using hastool::MediaPiece;
using hastool::NextPiece;
using hastool::Presentation;

namespace {

/// Playlists by URL, which a test changes while they are read.
class HlsPresentationTest : public testing::Test {
protected:
    std::unique_ptr<Presentation> open(const std::string& url) {
        return hastool::openPresentation(url, fetcher(), m_liveTimeout);
    }
    hastool::FetchDocument fetcher() {
        return [this](const hastool::Resource& resource) {
            const std::string& url = resource.url;
            ++m_fetches[url];
            const auto found = m_texts.find(url);
            if (found == m_texts.end())
                throw hastool::ToolError(url, "not there");
            const auto moved = m_moved.find(url);
            return Document{found->second, moved == m_moved.end() ? url : moved->second};
        };
    }
    /// The URL of the next piece; "wait" or "end" where there is none.
    static std::string next(Presentation& presentation, size_t stream = 0) {
        const NextPiece next = presentation.next(0, stream);
        if (next.kind == NextPiece::Kind::Wait)
            return "wait";
        return next.kind == NextPiece::Kind::End ? "end" : next.piece.media.resource.url;
    }
    /// Asks again until there is something.
    static NextPiece awaitPiece(Presentation& presentation, size_t stream = 0) {
        NextPiece next = presentation.next(0, stream);
        while (next.kind == NextPiece::Kind::Wait) {
            std::this_thread::sleep_for(next.wait);
            next = presentation.next(0, stream);
        }
        return next;
    }
    /// A media playlist of `count` segments of 2 s, named by prefix and number.
    static std::string media(const std::string& prefix, uint64_t first, int count,
                             bool ended = true, const std::string& target = "2") {
        std::string text = "#EXTM3U\n#EXT-X-TARGETDURATION:" + target +
                           "\n#EXT-X-MEDIA-SEQUENCE:" + std::to_string(first) + "\n";
        for (int i = 0; i < count; ++i)
            text += "#EXTINF:2,\n" + prefix + std::to_string(first + static_cast<uint64_t>(i)) +
                    ".ts\n";
        return text + (ended ? "#EXT-X-ENDLIST\n" : "");
    }

    std::map<std::string, std::string> m_texts;
    std::map<std::string, std::string> m_moved;
    std::map<std::string, int> m_fetches;
    std::chrono::milliseconds m_liveTimeout{60000};
};

const std::string kMaster = "#EXTM3U\n"
                            "#EXT-X-STREAM-INF:BANDWIDTH=900000,RESOLUTION=640x360\nhigh/v.m3u8\n"
                            "#EXT-X-STREAM-INF:BANDWIDTH=300000,RESOLUTION=320x180\nlow/v.m3u8\n";

} // namespace

TEST_F(HlsPresentationTest, ReadsASinglePlaylistFromBeginToEnd) {
    m_texts["http://h/d/a.m3u8"] = media("s", 5, 3);
    const auto presentation = open("http://h/d/a.m3u8");
    ASSERT_EQ(presentation->tracks()[0].streams.size(), 1U);
    EXPECT_EQ(presentation->tracks()[0].streams[0].bitrate, 0);
    EXPECT_FALSE(presentation->isLive());
    EXPECT_EQ(next(*presentation), "http://h/d/s5.ts");
    EXPECT_EQ(next(*presentation), "http://h/d/s6.ts");
    EXPECT_EQ(next(*presentation), "http://h/d/s7.ts");
    EXPECT_EQ(next(*presentation), "end");
    EXPECT_EQ(next(*presentation), "end");
    EXPECT_EQ(m_fetches["http://h/d/a.m3u8"], 1);
}

TEST_F(HlsPresentationTest, SortsStreamsAndLoadsTheirPlaylistsWhenNeeded) {
    m_texts["http://h/m.m3u8"] = kMaster;
    m_texts["http://h/low/v.m3u8"] = media("l", 0, 2);
    const auto presentation = open("http://h/m.m3u8");
    ASSERT_EQ(presentation->tracks()[0].streams.size(), 2U);
    EXPECT_EQ(presentation->tracks()[0].streams[0].bitrate, 300000);
    EXPECT_EQ(presentation->tracks()[0].streams[0].label, "320x180");
    EXPECT_EQ(presentation->tracks()[0].streams[1].bitrate, 900000);
    EXPECT_EQ(next(*presentation), "http://h/low/l0.ts");
    EXPECT_EQ(m_fetches.count("http://h/high/v.m3u8"), 0U);
}

TEST_F(HlsPresentationTest, LeavesOutRepeatedBitratesAndSoundOnlyVariants) {
    m_texts["http://h/m.m3u8"] = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=5,CODECS=\"mp4a.40.2\"\na\n"
                                 "#EXT-X-STREAM-INF:BANDWIDTH=9,CODECS=\"avc1.4d,mp4a\"\nb\n"
                                 "#EXT-X-STREAM-INF:BANDWIDTH=9,CODECS=\"avc1.4d,ac-3\"\nc\n";
    EXPECT_EQ(open("http://h/m.m3u8")->tracks()[0].streams.size(), 1U);
    m_texts["http://h/s.m3u8"] = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=5,CODECS=\"mp4a\"\na\n"
                                 "#EXT-X-STREAM-INF:BANDWIDTH=6,CODECS=\"mp4a\"\nb\n";
    EXPECT_EQ(open("http://h/s.m3u8")->tracks()[0].streams.size(), 2U) << "nothing but sound";
}

TEST_F(HlsPresentationTest, AnotherStreamGoesOnAtTheSameTime) {
    m_texts["http://h/m.m3u8"] = kMaster;
    m_texts["http://h/low/v.m3u8"] = media("l", 0, 4);
    m_texts["http://h/high/v.m3u8"] = media("h", 100, 4);
    const auto presentation = open("http://h/m.m3u8");
    EXPECT_EQ(next(*presentation, 0), "http://h/low/l0.ts");
    EXPECT_EQ(next(*presentation, 1), "http://h/high/h101.ts");
    EXPECT_EQ(next(*presentation, 0), "http://h/low/l2.ts");
    EXPECT_EQ(next(*presentation, 1), "http://h/high/h103.ts");
    EXPECT_EQ(next(*presentation, 0), "end");
}

TEST_F(HlsPresentationTest, AnotherStreamMayBeCutDifferently) {
    m_texts["http://h/m.m3u8"] = kMaster;
    m_texts["http://h/low/v.m3u8"] = media("l", 0, 4);
    m_texts["http://h/high/v.m3u8"] =
        "#EXTM3U\n#EXTINF:4.1,\nA.ts\n#EXTINF:3.9,\nB.ts\n#EXT-X-ENDLIST\n";
    const auto presentation = open("http://h/m.m3u8");
    next(*presentation, 0);
    next(*presentation, 0);
    EXPECT_EQ(next(*presentation, 1), "http://h/high/B.ts");
}

TEST_F(HlsPresentationTest, ChangingToAndFroBetweenOtherCutsLosesNothing) {
    const auto cut = [](const std::string& prefix, int seconds, int count) {
        std::string text = "#EXTM3U\n#EXT-X-TARGETDURATION:9\n";
        for (int i = 0; i < count; ++i)
            text +=
                "#EXTINF:" + std::to_string(seconds) + ",\n" + prefix + std::to_string(i) + "\n";
        return text + "#EXT-X-ENDLIST\n";
    };
    m_texts["http://h/m"] = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\na\n"
                            "#EXT-X-STREAM-INF:BANDWIDTH=2\nb\n";
    m_texts["http://h/a"] = cut("a", 4, 6);
    m_texts["http://h/b"] = cut("b", 6, 4);
    const auto presentation = open("http://h/m");
    std::string order;
    for (size_t i = 0; i < 20; ++i) {
        const std::string url = next(*presentation, i % 2);
        order += (url == "end" ? url : url.substr(9)) + " ";
        if (url == "end")
            break;
    }
    // Up to 4, 6, 8, 12, 16, 18, 20 and 24 seconds.
    EXPECT_EQ(order, "a0 b0 a1 b1 a3 b2 a4 b3 end ");
}

TEST_F(HlsPresentationTest, ReadsEverySegmentHoweverShort) {
    m_texts["http://h/a.m3u8"] = "#EXTM3U\n#EXTINF:0,\na\n#EXTINF:0.001,\nb\n#EXTINF:0,\nc\n"
                                 "#EXT-X-ENDLIST\n";
    const auto presentation = open("http://h/a.m3u8");
    EXPECT_EQ(next(*presentation), "http://h/a");
    EXPECT_EQ(next(*presentation), "http://h/b");
    EXPECT_EQ(next(*presentation), "http://h/c");
    EXPECT_EQ(next(*presentation), "end");
}

TEST_F(HlsPresentationTest, ResolvesUrlsBehindRedirects) {
    m_texts["http://h/m.m3u8"] = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nv.m3u8?t=1\n";
    m_moved["http://h/m.m3u8"] = "http://cdn/x/m.m3u8";
    m_texts["http://cdn/x/v.m3u8?t=1"] = "#EXTM3U\n#EXTINF:1,\n../a.ts\n#EXTINF:1,\n/b.ts\n"
                                         "#EXTINF:1,\nhttps://else/c.ts\n#EXT-X-ENDLIST\n";
    m_moved["http://cdn/x/v.m3u8?t=1"] = "http://edge/1/2/v.m3u8";
    const auto presentation = open("http://h/m.m3u8");
    EXPECT_EQ(next(*presentation), "http://edge/1/a.ts");
    EXPECT_EQ(next(*presentation), "http://edge/b.ts");
    EXPECT_EQ(next(*presentation), "https://else/c.ts");
}

TEST_F(HlsPresentationTest, RefusesUrlsThatAreNotHttp) {
    m_texts["http://h/a.m3u8"] = "#EXTM3U\n#EXTINF:1,\nfile:///etc/passwd\n#EXT-X-ENDLIST\n";
    const auto presentation = open("http://h/a.m3u8");
    EXPECT_EQ(test::errorOf([&] { next(*presentation); }),
              "http://h/a.m3u8: not an HTTP URL: \"file:///etc/passwd\"");
    m_texts["http://h/m.m3u8"] = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nfile:///x.m3u8\n";
    EXPECT_EQ(test::errorOf([&] { open("http://h/m.m3u8"); }),
              "http://h/m.m3u8: not an HTTP URL: \"file:///x.m3u8\"");
}

TEST_F(HlsPresentationTest, TellsAllAboutAPiece) {
    m_texts["http://h/a.m3u8"] =
        "#EXTM3U\n#EXT-X-MEDIA-SEQUENCE:9\n#EXT-X-MAP:URI=\"i.mp4\",BYTERANGE=\"7@1\"\n"
        "#EXT-X-DISCONTINUITY\n#EXT-X-GAP\n#EXT-X-BYTERANGE:50@8\n#EXTINF:1.5,\na.mp4\n"
        "#EXT-X-ENDLIST\n";
    const MediaPiece piece = open("http://h/a.m3u8")->next(0, 0).piece;
    EXPECT_EQ(piece.media.resource,
              (hastool::Resource{"http://h/a.mp4", hastool::ByteRange{8, 50}}));
    EXPECT_EQ(piece.init->resource,
              (hastool::Resource{"http://h/i.mp4", hastool::ByteRange{1, 7}}));
    EXPECT_FALSE(piece.media.encryption || piece.init->encryption);
    EXPECT_EQ(piece.index, 9U);
    EXPECT_EQ(piece.seconds, 1.5);
    EXPECT_TRUE(piece.discontinuity && piece.missing);
    EXPECT_EQ(piece.lost, 0U);
}

TEST_F(HlsPresentationTest, TellsKeyAndVectorOfEachSegment) {
    m_texts["http://h/d/a.m3u8"] =
        "#EXTM3U\n#EXT-X-MEDIA-SEQUENCE:4294967298\n#EXTINF:1,\na\n"
        "#EXT-X-KEY:METHOD=AES-128,URI=\"k?1\"\n#EXTINF:1,\nb\n#EXTINF:1,\nc\n"
        "#EXT-X-KEY:METHOD=AES-128,URI=\"https://keys/2\",IV=0x203\n#EXTINF:1,\nd\n"
        "#EXT-X-KEY:METHOD=NONE\n#EXTINF:1,\ne\n#EXT-X-ENDLIST\n";
    const auto presentation = open("http://h/d/a.m3u8");
    const auto encryption = [&] { return presentation->next(0, 0).piece.media.encryption; };
    EXPECT_FALSE(encryption());
    EXPECT_EQ(encryption(),
              (Encryption{"http://h/d/k?1", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 3}}));
    EXPECT_EQ(encryption(),
              (Encryption{"http://h/d/k?1", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 4}}));
    EXPECT_EQ(encryption(),
              (Encryption{"https://keys/2", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 3}}));
    EXPECT_FALSE(encryption());
}

TEST_F(HlsPresentationTest, AnInitialisationHasTheKeyThatHoldsWhereItIsDeclared) {
    m_texts["http://h/a.m3u8"] = "#EXTM3U\n#EXT-X-KEY:METHOD=AES-128,URI=\"k1\",IV=0x01\n"
                                 "#EXT-X-MAP:URI=\"i\"\n#EXTINF:1,\na\n"
                                 "#EXT-X-KEY:METHOD=AES-128,URI=\"k2\"\n#EXTINF:1,\nb\n"
                                 "#EXT-X-KEY:METHOD=NONE\n#EXT-X-MAP:URI=\"j\"\n#EXTINF:1,\nc\n"
                                 "#EXT-X-ENDLIST\n";
    const auto presentation = open("http://h/a.m3u8");
    const MediaPiece first = presentation->next(0, 0).piece;
    EXPECT_EQ(first.init->encryption->keyUrl, "http://h/k1");
    EXPECT_EQ(first.init->encryption->iv[15], 1);
    const MediaPiece second = presentation->next(0, 0).piece;
    EXPECT_EQ(second.init, first.init);
    EXPECT_EQ(second.media.encryption->keyUrl, "http://h/k2");
    EXPECT_FALSE(presentation->next(0, 0).piece.init->encryption);
}

TEST_F(HlsPresentationTest, RefusesAnEncryptedInitialisationWithoutAVector) {
    m_texts["http://h/a.m3u8"] = "#EXTM3U\n#EXT-X-KEY:METHOD=AES-128,URI=\"k\"\n"
                                 "#EXT-X-MAP:URI=\"i\"\n#EXTINF:1,\na\n#EXT-X-ENDLIST\n";
    const auto presentation = open("http://h/a.m3u8");
    EXPECT_EQ(test::errorOf([&] { next(*presentation); }),
              "http://h/a.m3u8: segment 0: its #EXT-X-MAP is encrypted without an IV");
}

TEST_F(HlsPresentationTest, RefusesAnEncryptionOfAnotherKind) {
    const auto open3 = [&](const std::string& key) {
        m_texts["http://h/a.m3u8"] = "#EXTM3U\n#EXT-X-MEDIA-SEQUENCE:3\n#EXT-X-KEY:" + key +
                                     "\n#EXTINF:1,\na\n#EXT-X-ENDLIST\n";
        const auto presentation = open("http://h/a.m3u8");
        return test::errorOf([&] { next(*presentation); });
    };
    EXPECT_EQ(open3("METHOD=SAMPLE-AES,URI=\"k\""),
              "http://h/a.m3u8: segment 3 is encrypted by \"SAMPLE-AES\"; only AES-128 can be "
              "played");
    EXPECT_EQ(open3("METHOD=AES-256"), "http://h/a.m3u8: segment 3 is encrypted by \"AES-256\"; "
                                       "only AES-128 can be played");
    EXPECT_EQ(open3("METHOD=AES-128,URI=\"k\",KEYFORMAT=\"com.else\""),
              "http://h/a.m3u8: segment 3 has a key of the format \"com.else\", which cannot be "
              "fetched");
    EXPECT_EQ(open3("METHOD=AES-128,URI=\"data:;base64,AAAA\""),
              "http://h/a.m3u8: not an HTTP URL: \"data:;base64,AAAA\"");
}

TEST_F(HlsPresentationTest, RefusesAMasterInsideAMaster) {
    m_texts["http://h/m.m3u8"] = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nm.m3u8\n";
    const auto presentation = open("http://h/m.m3u8");
    EXPECT_EQ(test::errorOf([&] { next(*presentation); }),
              "http://h/m.m3u8: a master playlist where a media playlist should be");
}

TEST_F(HlsPresentationTest, JoinsALiveStreamThreeSegmentsBeforeItsEnd) {
    m_texts["http://h/l.m3u8"] = media("s", 10, 6, false);
    const auto presentation = open("http://h/l.m3u8");
    EXPECT_EQ(next(*presentation), "http://h/s13.ts");
    EXPECT_TRUE(presentation->isLive());
    m_texts["http://h/short.m3u8"] = media("s", 10, 2, false);
    EXPECT_EQ(next(*open("http://h/short.m3u8")), "http://h/s10.ts");
}

TEST_F(HlsPresentationTest, LoadsALivePlaylistAgainAfterItsTargetDuration) {
    m_texts["http://h/l.m3u8"] = media("s", 0, 1, false, "0.2");
    const auto presentation = open("http://h/l.m3u8");
    EXPECT_EQ(next(*presentation), "http://h/s0.ts");
    m_texts["http://h/l.m3u8"] = media("s", 0, 2, false, "0.2");
    EXPECT_EQ(m_fetches["http://h/l.m3u8"], 1);
    EXPECT_EQ(awaitPiece(*presentation).piece.media.resource.url, "http://h/s1.ts");
    EXPECT_EQ(m_fetches["http://h/l.m3u8"], 2);
}

TEST_F(HlsPresentationTest, EndsALiveStreamThatIsEnded) {
    m_texts["http://h/l.m3u8"] = media("s", 0, 3, false, "0.1");
    const auto presentation = open("http://h/l.m3u8");
    for (int i = 0; i < 3; ++i)
        next(*presentation);
    m_texts["http://h/l.m3u8"] = media("s", 1, 3, true, "0.1");
    EXPECT_EQ(awaitPiece(*presentation).piece.media.resource.url, "http://h/s3.ts");
    EXPECT_EQ(next(*presentation), "end");
    EXPECT_FALSE(presentation->isLive());
}

TEST_F(HlsPresentationTest, WaitsForTheFirstSegmentOfALiveStream) {
    m_texts["http://h/l.m3u8"] = media("s", 0, 0, false, "0.1");
    const auto presentation = open("http://h/l.m3u8");
    EXPECT_EQ(next(*presentation), "wait");
    m_texts["http://h/l.m3u8"] = media("s", 0, 5, false, "0.1");
    EXPECT_EQ(awaitPiece(*presentation).piece.media.resource.url, "http://h/s2.ts");
}

TEST_F(HlsPresentationTest, CatchesUpWhenTooFarBehindAndCountsWhatIsLost) {
    m_texts["http://h/l.m3u8"] = media("s", 0, 3, false, "0.1");
    const auto presentation = open("http://h/l.m3u8");
    for (int i = 0; i < 3; ++i)
        next(*presentation);
    m_texts["http://h/l.m3u8"] = media("s", 7, 3, false, "0.1");
    const MediaPiece piece = awaitPiece(*presentation).piece;
    EXPECT_EQ(piece.media.resource.url, "http://h/s7.ts");
    EXPECT_EQ(piece.lost, 4U);
    EXPECT_EQ(presentation->next(0, 0).piece.lost, 0U);
}

TEST_F(HlsPresentationTest, JoinsAgainWhenTheNumbersStartAnew) {
    m_texts["http://h/l.m3u8"] = media("s", 1000, 4, false, "0.1");
    const auto presentation = open("http://h/l.m3u8");
    for (int i = 0; i < 3; ++i)
        next(*presentation);
    m_texts["http://h/l.m3u8"] = media("n", 0, 4, false, "0.1");
    EXPECT_EQ(awaitPiece(*presentation).piece.media.resource.url, "http://h/n1.ts");
}

TEST_F(HlsPresentationTest, AnotherLiveStreamGoesOnAtTheSameNumber) {
    m_texts["http://h/m.m3u8"] = kMaster;
    m_texts["http://h/low/v.m3u8"] = media("l", 10, 4, false);
    m_texts["http://h/high/v.m3u8"] = media("h", 11, 4, false);
    const auto presentation = open("http://h/m.m3u8");
    EXPECT_EQ(next(*presentation, 0), "http://h/low/l11.ts");
    EXPECT_EQ(next(*presentation, 1), "http://h/high/h12.ts");
    EXPECT_EQ(next(*presentation, 0), "http://h/low/l13.ts");
}

TEST_F(HlsPresentationTest, RidesOutAFailingReload) {
    m_texts["http://h/l.m3u8"] = media("s", 0, 1, false, "0.1");
    const auto presentation = open("http://h/l.m3u8");
    next(*presentation);
    const std::string text = media("s", 0, 2, false, "0.1");
    m_texts.erase("http://h/l.m3u8");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(next(*presentation), "wait");
        std::this_thread::sleep_for(110ms);
    }
    EXPECT_GE(m_fetches["http://h/l.m3u8"], 3);
    m_texts["http://h/l.m3u8"] = text;
    EXPECT_EQ(awaitPiece(*presentation).piece.media.resource.url, "http://h/s1.ts");
}

TEST_F(HlsPresentationTest, GivesALiveStreamUpThatStaysAsItIs) {
    m_liveTimeout = 150ms;
    m_texts["http://h/l.m3u8"] = media("s", 0, 1, false, "0.1");
    const auto stopped = open("http://h/l.m3u8");
    next(*stopped);
    EXPECT_EQ(test::errorOf([&] { awaitPiece(*stopped); }),
              "http://h/l.m3u8: the live stream has stopped");
    const auto vanished = open("http://h/l.m3u8");
    next(*vanished);
    m_texts.clear();
    EXPECT_EQ(test::errorOf([&] { awaitPiece(*vanished); }), "http://h/l.m3u8: not there");
}

TEST_F(HlsPresentationTest, FailsWhereAPlaylistCannotBeHad) {
    EXPECT_EQ(test::errorOf([&] { open("http://h/none"); }), "http://h/none: not there");
    m_texts["http://h/m.m3u8"] = kMaster;
    const auto presentation = open("http://h/m.m3u8");
    EXPECT_EQ(test::errorOf([&] { next(*presentation); }), "http://h/low/v.m3u8: not there");
}

TEST_F(HlsPresentationTest, PlaysTheDefaultAudioOfTheGroupAsATrack) {
    m_texts["http://h/m.m3u8"] =
        "#EXTM3U\n#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"g\",NAME=\"one\",URI=\"a1.m3u8\"\n"
        "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"g\",NAME=\"two\",DEFAULT=YES,URI=\"a2.m3u8\"\n"
        "#EXT-X-STREAM-INF:BANDWIDTH=5,AUDIO=\"g\"\nv.m3u8\n";
    m_texts["http://h/v.m3u8"] = media("v", 0, 2);
    m_texts["http://h/a2.m3u8"] = media("a", 0, 3);
    const auto presentation = open("http://h/m.m3u8");
    ASSERT_EQ(presentation->tracks().size(), 2U);
    EXPECT_TRUE(presentation->tracks()[1].isAudio);
    EXPECT_EQ(presentation->tracks()[1].streams.at(0).label, "two");
    EXPECT_EQ(presentation->next(0, 0).piece.media.resource.url, "http://h/v0.ts");
    EXPECT_EQ(presentation->next(1, 0).piece.media.resource.url, "http://h/a0.ts");
    EXPECT_EQ(presentation->next(1, 0).piece.media.resource.url, "http://h/a1.ts");
    EXPECT_EQ(presentation->next(0, 0).piece.media.resource.url, "http://h/v1.ts");
    EXPECT_EQ(presentation->next(0, 0).kind, NextPiece::Kind::End);
    EXPECT_EQ(presentation->next(1, 0).kind, NextPiece::Kind::Piece);
}

TEST_F(HlsPresentationTest, HasNoTrackForAudioThatComesWithTheVideo) {
    m_texts["http://h/m.m3u8"] = "#EXTM3U\n#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"g\",NAME=\"one\"\n"
                                 "#EXT-X-STREAM-INF:BANDWIDTH=5,AUDIO=\"g\"\nv.m3u8\n";
    m_texts["http://h/v.m3u8"] = media("v", 0, 2);
    EXPECT_EQ(open("http://h/m.m3u8")->tracks().size(), 1U);
}

TEST_F(HlsPresentationTest, TellsDatesAdvertisementsAndTheTimeOfAPiece) {
    m_texts["http://h/v.m3u8"] = "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXTINF:2,\na\n"
                                 "#EXT-X-PROGRAM-DATE-TIME:2024-01-01T00:01:00Z\n#EXT-X-CUE-OUT\n"
                                 "#EXTINF:2,\nb\n#EXT-X-CUE-IN\n#EXTINF:2,\nc\n#EXT-X-ENDLIST\n";
    using Advertisement = MediaPiece::Advertisement;
    const auto presentation = open("http://h/v.m3u8");
    EXPECT_EQ(presentation->next(0, 0).piece.advertisement, Advertisement::None);
    const MediaPiece second = presentation->next(0, 0).piece;
    EXPECT_EQ(second.advertisement, Advertisement::Begins);
    EXPECT_DOUBLE_EQ(second.dateTime.value(), 1704067260);
    EXPECT_DOUBLE_EQ(second.start, 2);
    EXPECT_EQ(presentation->next(0, 0).piece.advertisement, Advertisement::Ends);
}
