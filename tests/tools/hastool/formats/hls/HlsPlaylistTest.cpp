#include <tools/hastool/ErrorOf.h>

#include <hastool/formats/hls/HlsPlaylist.h>

#include <cstring>
#include <memory>

#include <gtest/gtest.h>

using hastool::ByteRange;
using hastool::HlsPlaylist;

namespace {

const std::string kUrl = "http://host/a.m3u8";

/// Parses out of a buffer of exactly the text's size.
HlsPlaylist parse(const std::string& text) {
    const auto buffer = std::make_unique<char[]>(text.size());
    std::memcpy(buffer.get(), text.data(), text.size());
    return hastool::parseHlsPlaylist({buffer.get(), text.size()}, kUrl);
}

std::string errorOf(const std::string& text) {
    return test::errorOf([&] { parse(text); });
}

const std::string kOneSegment = "#EXTINF:4,\none.ts\n";

} // namespace

TEST(HlsPlaylist, ReadsAMasterPlaylist) {
    const HlsPlaylist playlist = parse("#EXTM3U\n"
                                       "#EXT-X-STREAM-INF:BANDWIDTH=300000,RESOLUTION=320x180\n"
                                       "low/index.m3u8\n"
                                       "#EXT-X-I-FRAME-STREAM-INF:BANDWIDTH=1,URI=\"i.m3u8\"\n"
                                       "#EXT-X-STREAM-INF:BANDWIDTH=900000,CODECS=\"avc1,mp4a\"\n"
                                       "\n"
                                       "http://other/high.m3u8\n");
    ASSERT_TRUE(playlist.isMaster());
    ASSERT_EQ(playlist.variants.size(), 2U);
    EXPECT_EQ(playlist.variants[0].bandwidth, 300000);
    EXPECT_EQ(playlist.variants[0].uri, "low/index.m3u8");
    EXPECT_EQ(playlist.variants[0].resolution, "320x180");
    EXPECT_EQ(playlist.variants[1].codecs, "avc1,mp4a");
}

TEST(HlsPlaylist, ReadsAMediaPlaylist) {
    const HlsPlaylist playlist = parse("#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:10\n"
                                       "#EXT-X-MEDIA-SEQUENCE:7\n#EXTINF:9.5,a title, with commas\n"
                                       "one.ts\n#EXT-X-DISCONTINUITY\n#EXTINF:10\ntwo.ts\n"
                                       "#EXT-X-GAP\n#EXTINF:1.25,\nthree.ts\n#EXT-X-ENDLIST\n");
    EXPECT_FALSE(playlist.isMaster());
    EXPECT_TRUE(playlist.ended);
    EXPECT_EQ(playlist.targetSeconds, 10);
    ASSERT_EQ(playlist.segments.size(), 3U);
    EXPECT_EQ(playlist.segments[0].sequence, 7U);
    EXPECT_EQ(playlist.segments[0].seconds, 9.5);
    EXPECT_EQ(playlist.segments[0].uri, "one.ts");
    EXPECT_FALSE(playlist.segments[0].discontinuity || playlist.segments[0].gap);
    EXPECT_TRUE(playlist.segments[1].discontinuity);
    EXPECT_FALSE(playlist.segments[2].discontinuity);
    EXPECT_TRUE(playlist.segments[2].gap);
    EXPECT_EQ(playlist.segments[2].sequence, 9U);
}

TEST(HlsPlaylist, IsLiveWithoutAnEnd) {
    EXPECT_FALSE(parse("#EXTM3U\n#EXT-X-TARGETDURATION:4\n" + kOneSegment).ended);
}

TEST(HlsPlaylist, MayBeEmptyWhileLive) {
    EXPECT_TRUE(parse("#EXTM3U\n#EXT-X-TARGETDURATION:4\n").segments.empty());
}

TEST(HlsPlaylist, PlacesByteRanges) {
    const HlsPlaylist playlist =
        parse("#EXTM3U\n#EXT-X-BYTERANGE:100@20\n#EXTINF:1,\na.ts\n#EXTINF:1,\n"
              "#EXT-X-BYTERANGE:50\na.ts\n#EXTINF:1,\nb.ts\n");
    EXPECT_EQ(playlist.segments.at(0).range, (ByteRange{20, 100}));
    EXPECT_EQ(playlist.segments.at(1).range, (ByteRange{120, 50}));
    EXPECT_FALSE(playlist.segments.at(2).range);
}

TEST(HlsPlaylist, RefusesAByteRangeThatFollowsNothing) {
    EXPECT_EQ(errorOf("#EXTM3U\n#EXT-X-BYTERANGE:50\n#EXTINF:1,\na.ts\n"),
              kUrl + ":4: a byte range without an offset, and none before it in \"a.ts\"");
    EXPECT_EQ(errorOf("#EXTM3U\n#EXTINF:1,\n#EXT-X-BYTERANGE:50@0\na.ts\n#EXTINF:1,\n"
                      "#EXT-X-BYTERANGE:50\nb.ts\n"),
              kUrl + ":7: a byte range without an offset, and none before it in \"b.ts\"");
}

TEST(HlsPlaylist, RefusesByteRangesBeyondAllEnds) {
    const std::string begin = "#EXTM3U\n#EXTINF:1,\n#EXT-X-BYTERANGE:";
    EXPECT_EQ(errorOf(begin + "2@18446744073709551614\na.ts\n"),
              kUrl + ":4: a byte range beyond all ends");
    EXPECT_EQ(errorOf(begin + "99999999999999999999\na.ts\n"),
              kUrl + ":3: not a number: \"99999999999999999999\"");
    EXPECT_EQ(errorOf("#EXTM3U\n#EXT-X-MAP:URI=\"i\",BYTERANGE=\"2@18446744073709551615\"\n"),
              kUrl + ":2: a byte range beyond all ends");
}

TEST(HlsPlaylist, GivesMapsAndKeysToTheSegmentsBehindThem) {
    const HlsPlaylist playlist =
        parse("#EXTM3U\n#EXT-X-MAP:URI=\"i1.mp4\",BYTERANGE=\"720@0\"\n#EXTINF:1,\na\n"
              "#EXT-X-KEY:METHOD=AES-128,URI=\"k\",IV=0x01\n#EXTINF:1,\nb\n"
              "#EXT-X-MAP:URI=\"i2.mp4\"\n#EXT-X-KEY:METHOD=NONE\n#EXTINF:1,\nc\n");
    const auto& segments = playlist.segments;
    EXPECT_EQ(segments.at(0).map->uri, "i1.mp4");
    EXPECT_EQ(segments.at(0).map->range, (ByteRange{0, 720}));
    EXPECT_EQ(segments.at(0).key, nullptr);
    EXPECT_EQ(segments.at(1).map, segments.at(0).map);
    EXPECT_EQ(segments.at(1).key->method, "AES-128");
    EXPECT_EQ(segments.at(1).key->uri, "k");
    EXPECT_EQ(segments.at(1).key->iv, "0x01");
    EXPECT_EQ(segments.at(2).map->uri, "i2.mp4");
    EXPECT_FALSE(segments.at(2).map->range);
    EXPECT_EQ(segments.at(2).key, nullptr);
}

TEST(HlsPlaylist, TakesAnyLineEndAByteOrderMarkAndNoLastLineEnd) {
    EXPECT_EQ(parse("\xEF\xBB\xBF#EXTM3U\r\n#EXTINF:4,\r\none.ts").segments.at(0).uri, "one.ts");
    EXPECT_EQ(parse("\n# a comment\n#EXTM3U\n\n  #EXTINF:4,  \n\t one.ts \n").segments.size(), 1U);
}

TEST(HlsPlaylist, PassesOverWhatItDoesNotKnow) {
    EXPECT_EQ(
        parse("#EXTM3U\n#EXT-X-FUTURE:a=b\n#comment\n#EXTINFO\n" + kOneSegment).segments.size(),
        1U);
}

TEST(HlsPlaylist, RefusesWhatIsNoPlaylist) {
    EXPECT_EQ(errorOf(""), kUrl + ": not a playlist: no #EXTM3U");
    EXPECT_EQ(errorOf("<html>\n"), kUrl + ":1: not a playlist: no #EXTM3U before \"<html>\"");
    EXPECT_EQ(errorOf("#EXTINF:1,\na\n#EXTM3U\n"),
              kUrl + ":1: not a playlist: no #EXTM3U before \"#EXTINF:1,\"");
    EXPECT_EQ(errorOf("#EXTM3U8\n" + kOneSegment),
              kUrl + ":1: not a playlist: no #EXTM3U before \"#EXTM3U8\"");
    EXPECT_EQ(errorOf(std::string("\0\x01\x02", 3)),
              kUrl + ":1: not a playlist: no #EXTM3U before \"???\"");
}

TEST(HlsPlaylist, RefusesAPlaylistOfNothing) {
    EXPECT_EQ(errorOf("#EXTM3U\n"), kUrl + ": an empty playlist");
    EXPECT_EQ(errorOf("#EXTM3U\n#EXT-X-ENDLIST\n"), kUrl + ": an empty playlist");
}

TEST(HlsPlaylist, AStreamThatEndedWithoutASegmentIsOne) {
    const HlsPlaylist playlist = parse("#EXTM3U\n#EXT-X-TARGETDURATION:4\n#EXT-X-ENDLIST\n");
    EXPECT_TRUE(playlist.ended);
    EXPECT_TRUE(playlist.segments.empty());
}

TEST(HlsPlaylist, ASegmentWithoutBytesIsAGap) {
    const HlsPlaylist playlist =
        parse("#EXTM3U\n#EXTINF:1,\n#EXT-X-BYTERANGE:0@5\na.ts\n#EXTINF:1,\n"
              "#EXT-X-BYTERANGE:20\na.ts\n");
    EXPECT_TRUE(playlist.segments.at(0).gap);
    EXPECT_FALSE(playlist.segments.at(1).gap);
    EXPECT_EQ(playlist.segments.at(1).range, (hastool::ByteRange{5, 20}));
    EXPECT_EQ(errorOf("#EXTM3U\n#EXT-X-MAP:URI=\"i\",BYTERANGE=\"0@5\"\n"),
              kUrl + ":2: an empty byte range");
}

TEST(HlsPlaylist, ABlankBehindTheColonIsPassedOver) {
    const HlsPlaylist playlist =
        parse("#EXTM3U\n#EXT-X-TARGETDURATION: 12\n#EXT-X-MEDIA-SEQUENCE:\t7\n#EXTINF: 11.320,\n"
              "a.ts\n#EXTINF: 4 ,t\n#EXT-X-BYTERANGE: 5@3\nb.ts\n");
    EXPECT_DOUBLE_EQ(playlist.targetSeconds, 12);
    EXPECT_EQ(playlist.mediaSequence, 7U);
    EXPECT_DOUBLE_EQ(playlist.segments.at(0).seconds, 11.32);
    EXPECT_DOUBLE_EQ(playlist.segments.at(1).seconds, 4);
    EXPECT_EQ(playlist.segments.at(1).range, (hastool::ByteRange{3, 5}));
}

TEST(HlsPlaylist, ADurationWithoutAUriIsLeftOutAndTold) {
    const HlsPlaylist playlist =
        parse("#EXTM3U\n#EXTINF:1,\na.ts\n#EXTINF:2,\n#EXT-X-BYTERANGE:5@0\n"
              "#EXTINF:3,\nb.ts\n\n#EXTINF:4,\n");
    ASSERT_EQ(playlist.segments.size(), 2U);
    EXPECT_DOUBLE_EQ(playlist.segments[1].seconds, 3);
    EXPECT_FALSE(playlist.segments[1].range) << "that was the other one's";
    ASSERT_EQ(playlist.warnings.size(), 2U);
    EXPECT_EQ(playlist.warnings[0], kUrl + ":4: #EXTINF without a URI; left out");
    EXPECT_EQ(playlist.warnings[1], kUrl + ":9: #EXTINF without a URI; left out");
}

TEST(HlsPlaylist, APartThatWasNotAskedForIsRefused) {
    EXPECT_EQ(
        errorOf("#EXTM3U\n#EXT-X-TARGETDURATION:4\n#EXT-X-SKIP:SKIPPED-SEGMENTS=3\n" + kOneSegment),
        kUrl + ":3: #EXT-X-SKIP: a part of a playlist, which was not asked for");
}

TEST(HlsPlaylist, RefusesAPlaylistOfTwoKinds) {
    EXPECT_EQ(errorOf("#EXTM3U\n" + kOneSegment + "#EXT-X-STREAM-INF:BANDWIDTH=1\nv.m3u8\n"),
              kUrl + ": a playlist of both variants and segments");
}

TEST(HlsPlaylist, RefusesATagWithoutItsUriAndAUriWithoutItsTag) {
    EXPECT_EQ(errorOf("#EXTM3U\n#EXTINF:4,\n"), kUrl + ": an empty playlist");
    EXPECT_EQ(errorOf("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=5\n"),
              kUrl + ":2: the playlist ends where a URI should follow");
    EXPECT_EQ(errorOf("#EXTM3U\none.ts\n"),
              kUrl + ":2: a URI without #EXTINF or #EXT-X-STREAM-INF: \"one.ts\"");
}

TEST(HlsPlaylist, RefusesNumbersThatAreNone) {
    EXPECT_EQ(errorOf("#EXTM3U\n#EXTINF:abc,\na\n"), kUrl + ":2: not a duration: \"abc\"");
    EXPECT_EQ(errorOf("#EXTM3U\n#EXTINF:-1,\na\n"), kUrl + ":2: not a duration: \"-1\"");
    EXPECT_EQ(errorOf("#EXTM3U\n#EXTINF:86401,\na\n"), kUrl + ":2: not a duration: \"86401\"");
    EXPECT_EQ(errorOf("#EXTM3U\n#EXTINF\na\n"), kUrl + ":2: not a duration: \"\"");
    EXPECT_EQ(errorOf("#EXTM3U\n#EXT-X-TARGETDURATION:x\n"), kUrl + ":2: not a duration: \"x\"");
    EXPECT_EQ(errorOf("#EXTM3U\n#EXT-X-MEDIA-SEQUENCE:-1\n"), kUrl + ":2: not a number: \"-1\"");
}

TEST(HlsPlaylist, RefusesVariantsThatCannotBeChosen) {
    const std::string begin = "#EXTM3U\n#EXT-X-STREAM-INF:";
    EXPECT_EQ(errorOf(begin + "RESOLUTION=1x1\nv\n"), kUrl + ":2: not a number: \"\"");
    EXPECT_EQ(errorOf(begin + "BANDWIDTH=0\nv\n"), kUrl + ":2: a variant of 0 bits per second");
    EXPECT_EQ(errorOf(begin + "BANDWIDTH=2147483648\nv\n"),
              kUrl + ":2: a variant of 2147483648 bits per second");
    EXPECT_EQ(errorOf(begin + "BANDWIDTH\nv\n"), kUrl + ":2: not an attribute list: \"BANDWIDTH\"");
}

TEST(HlsPlaylist, RefusesMapsAndKeysWithoutWhatTheyAreFor) {
    EXPECT_EQ(errorOf("#EXTM3U\n#EXT-X-MAP:BYTERANGE=\"1@0\"\n"),
              kUrl + ":2: #EXT-X-MAP without a URI");
    EXPECT_EQ(errorOf("#EXTM3U\n#EXT-X-KEY:URI=\"k\"\n"), kUrl + ":2: #EXT-X-KEY without a METHOD");
    EXPECT_EQ(errorOf("#EXTM3U\n#EXT-X-KEY:METHOD=AES-128\n"),
              kUrl + ":2: #EXT-X-KEY without a URI");
}

TEST(HlsPlaylist, RefusesVectorsThatAreNone) {
    for (const std::string iv : {"", "0x", "12", "0x1g", "0x000000000000000000000000000000001"})
        EXPECT_EQ(errorOf("#EXTM3U\n#EXT-X-KEY:METHOD=AES-128,URI=\"k\",IV=" + iv + "\n"),
                  kUrl + ":2: not an initialisation vector: \"" + iv + "\"");
    EXPECT_NO_THROW(parse("#EXTM3U\n#EXT-X-KEY:METHOD=SAMPLE-AES,URI=\"k\",IV=x\n" + kOneSegment))
        << "those of others are theirs";
}

TEST(HlsPlaylist, ASegmentHasTheKeyThatCanBeFetched) {
    const std::string fetched = "#EXT-X-KEY:METHOD=AES-128,URI=\"k1\"\n";
    const std::string other = "#EXT-X-KEY:METHOD=AES-128,URI=\"skd://2\",KEYFORMAT=\"com.a\"\n";
    for (const std::string& keys : {fetched + other, other + fetched}) {
        const HlsPlaylist playlist = parse("#EXTM3U\n" + keys + kOneSegment);
        EXPECT_EQ(playlist.segments.at(0).key->uri, "k1");
        EXPECT_EQ(playlist.segments.at(0).key->format, "identity");
    }
    EXPECT_EQ(parse("#EXTM3U\n" + other + kOneSegment).segments.at(0).key->format, "com.a");
    const HlsPlaylist spelt =
        parse("#EXTM3U\n" + fetched +
              "#EXT-X-KEY:METHOD=AES-128,URI=\"k3\",KEYFORMAT=\"identity\"\n" + kOneSegment);
    EXPECT_EQ(spelt.segments.at(0).key->uri, "k3") << "a key takes the place of its like";
}

TEST(HlsPlaylist, NoneEndsTheKeysOfAllFormats) {
    const HlsPlaylist playlist =
        parse("#EXTM3U\n#EXT-X-KEY:METHOD=AES-128,URI=\"k\"\n"
              "#EXT-X-KEY:METHOD=SAMPLE-AES,URI=\"s\",KEYFORMAT=\"com.a\"\n" +
              kOneSegment + "#EXT-X-KEY:METHOD=NONE\n" + kOneSegment);
    EXPECT_NE(playlist.segments.at(0).key, nullptr);
    EXPECT_EQ(playlist.segments.at(1).key, nullptr);
}

TEST(HlsPlaylist, AMapHasTheKeyThatHoldsWhereItStands) {
    const HlsPlaylist playlist =
        parse("#EXTM3U\n#EXT-X-MAP:URI=\"i\"\n#EXT-X-KEY:METHOD=AES-128,URI=\"k\"\n" + kOneSegment +
              "#EXT-X-MAP:URI=\"j\"\n" + kOneSegment + "#EXT-X-KEY:METHOD=NONE\n" + kOneSegment);
    EXPECT_EQ(playlist.segments.at(0).map->key, nullptr);
    EXPECT_EQ(playlist.segments.at(1).map->key->uri, "k");
    EXPECT_EQ(playlist.segments.at(2).map->key->uri, "k");
    EXPECT_EQ(playlist.segments.at(2).key, nullptr);
}

TEST(HlsPlaylist, RefusesSequenceNumbersThatWouldWrap) {
    EXPECT_EQ(errorOf("#EXTM3U\n#EXT-X-MEDIA-SEQUENCE:18446744073709551615\n" + kOneSegment),
              kUrl + ": media sequence numbers beyond all ends");
}

TEST(HlsPlaylist, BoundsWhatItHolds) {
    std::string segments = "#EXTM3U\n";
    for (size_t i = 0; i <= hastool::kMaxSegments; ++i)
        segments += "#EXTINF:1,\na\n";
    EXPECT_EQ(errorOf(segments), kUrl + ":400003: too many segments");
    std::string variants = "#EXTM3U\n";
    for (size_t i = 0; i <= hastool::kMaxVariants; ++i)
        variants += "#EXT-X-STREAM-INF:BANDWIDTH=1\nv\n";
    EXPECT_EQ(errorOf(variants), kUrl + ":2003: too many variants");
}

TEST(HlsPlaylist, SurvivesEveryCutOfAPlaylist) {
    const std::string whole =
        "#EXTM3U\n#EXT-X-TARGETDURATION:4\n#EXT-X-MAP:URI=\"i\",BYTERANGE=\"7@0\"\n"
        "#EXT-X-KEY:METHOD=NONE\n#EXTINF:4.0,t\n#EXT-X-BYTERANGE:9@7\na.ts\n#EXT-X-ENDLIST\n";
    int accepted = 0;
    for (size_t size = 0; size <= whole.size(); ++size)
        accepted += errorOf(whole.substr(0, size)).empty() ? 1 : 0;
    EXPECT_GT(accepted, 10);
    EXPECT_LT(accepted, 90) << "cuts within a tag's value";
}

TEST(HlsPlaylist, ReadsAudioRenditionsAndTheirGroups) {
    const HlsPlaylist playlist =
        parse("#EXTM3U\n"
              "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"English\",URI=\"en.m3u8\"\n"
              "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"Suomi\",DEFAULT=YES,URI=\"fi.m3u8\"\n"
              "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"x\",URI=\"s.m3u8\"\n"
              "#EXT-X-STREAM-INF:BANDWIDTH=5,AUDIO=\"a\"\nv.m3u8\n");
    ASSERT_EQ(playlist.audio.size(), 2U);
    EXPECT_EQ(playlist.audio[0].name, "English");
    EXPECT_FALSE(playlist.audio[0].isDefault);
    EXPECT_EQ(playlist.audio[1].uri, "fi.m3u8");
    EXPECT_TRUE(playlist.audio[1].isDefault);
    EXPECT_EQ(playlist.variants.at(0).audioGroup, "a");
}

TEST(HlsPlaylist, ReadsDatesAndCuesOfTheSegmentBehindThem) {
    const HlsPlaylist playlist =
        parse("#EXTM3U\n#EXT-X-TARGETDURATION:2\n"
              "#EXT-X-PROGRAM-DATE-TIME:2024-01-01T00:01:00.500Z\n#EXTINF:2,\na\n"
              "#EXT-X-CUE-OUT:30\n#EXT-X-PROGRAM-DATE-TIME:soon\n#EXTINF:2,\nb\n"
              "#EXT-X-CUE-IN\n#EXTINF:2,\nc\n");
    ASSERT_EQ(playlist.segments.size(), 3U);
    EXPECT_DOUBLE_EQ(playlist.segments[0].dateTime.value(), 1704067260.5);
    EXPECT_EQ(playlist.segments[0].cue, hastool::HlsCue::None);
    EXPECT_FALSE(playlist.segments[1].dateTime) << "one that cannot be read is as good as none";
    EXPECT_EQ(playlist.segments[1].cue, hastool::HlsCue::Out);
    EXPECT_EQ(playlist.segments[2].cue, hastool::HlsCue::In);
}
