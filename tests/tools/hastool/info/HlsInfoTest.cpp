// What an HLS presentation holds.
#include <hastool/info/InfoReader.h>
#include <tools/hastool/Documents.h>
#include <tools/hastool/ErrorOf.h>

#include <gtest/gtest.h>

#include <algorithm>

using hastool::InfoTrack;
using hastool::PresentationInfo;

namespace {

constexpr char kMaster[] = "http://h/p/master.m3u8";

std::string media(const std::string& durations, const std::string& before = "",
                  const std::string& end = "#EXT-X-ENDLIST\n") {
    std::string text = "#EXTM3U\n#EXT-X-TARGETDURATION:6\n" + before;
    for (const char duration : durations)
        text += "#EXTINF:" + std::string(1, duration) + ",\ns.ts\n";
    return text + end;
}

PresentationInfo read(Documents& documents, const std::string& url = kMaster) {
    return hastool::readInfo(url, {documents.fetcher(), {}, {}});
}

/// The tracks of a kind.
std::vector<InfoTrack> tracksOf(const PresentationInfo& info, const std::string& kind) {
    std::vector<InfoTrack> result;
    for (const InfoTrack& track : info.periods.at(0).tracks) {
        if (track.kind == kind)
            result.push_back(track);
    }
    return result;
}

constexpr char kVariants[] =
    "#EXTM3U\n"
    "#EXT-X-SESSION-KEY:METHOD=SAMPLE-AES,URI=\"skd://k\",KEYFORMAT=\"com.apple."
    "streamingkeydelivery\"\n"
    "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"English\",LANGUAGE=\"en\",DEFAULT=YES,"
    "CHANNELS=\"6/JOC\",URI=\"en.m3u8\"\n"
    "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"inside\"\n"
    "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"Deutsch\",LANGUAGE=\"de\",FORCED=YES,"
    "URI=\"de.m3u8\"\n"
    "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"c\",NAME=\"CC\",INSTREAM-ID=\"CC1\"\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=2000000,AVERAGE-BANDWIDTH=1500000,RESOLUTION=1280x720,"
    "FRAME-RATE=29.97,CODECS=\"avc1.64001f,mp4a.40.2\",AUDIO=\"a\",SUBTITLES=\"s\"\n"
    "high.m3u8\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=800000,RESOLUTION=640x360,AUDIO=\"a\"\n"
    "low.m3u8\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=64000,CODECS=\"mp4a.40.5\"\n"
    "en.m3u8\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=70000\n"
    "low.m3u8\n"
    "#EXT-X-I-FRAME-STREAM-INF:BANDWIDTH=90000,RESOLUTION=640x360,URI=\"trick.m3u8\"\n";

Documents presentation() {
    Documents documents;
    documents.set(kMaster, kVariants);
    documents.set("http://h/p/high.m3u8", media("443", "#EXT-X-KEY:METHOD=AES-128,URI=\"k1\"\n"));
    documents.set("http://h/p/low.m3u8", media("5555"));
    documents.set("http://h/p/en.m3u8", media("66"));
    documents.set("http://h/p/de.m3u8", media("6"));
    documents.set("http://h/p/trick.m3u8", media("2222"));
    return documents;
}

TEST(HlsInfo, ListsTheVariantsAsTracksOfWhatTheyHold) {
    Documents documents = presentation();
    const PresentationInfo info = read(documents);
    EXPECT_EQ(info.format, "HLS");
    EXPECT_EQ(info.isLive, false);
    EXPECT_DOUBLE_EQ(info.duration.value(), 20) << "the longest variant";
    EXPECT_EQ(info.failures(), 0U);
    const auto video = tracksOf(info, "video");
    ASSERT_EQ(video.size(), 2U);
    ASSERT_EQ(video[0].streams.size(), 2U);
    EXPECT_EQ(video[0].streams[0].bitrate, 800000U) << "in ascending order";
    const auto& high = video[0].streams[1];
    EXPECT_EQ(high.averageBitrate, 1500000U);
    EXPECT_EQ(high.width, 1280);
    EXPECT_EQ(high.height, 720);
    EXPECT_DOUBLE_EQ(high.frameRate, 29.97);
    EXPECT_EQ(high.codecs, "avc1.64001f,mp4a.40.2");
    EXPECT_EQ(high.audioGroup, "a");
    EXPECT_EQ(high.segments.value().count, 3U);
    EXPECT_DOUBLE_EQ(high.segments->shortest, 3);
    EXPECT_DOUBLE_EQ(high.segments->longest, 4);
    EXPECT_DOUBLE_EQ(high.segments->mean(), 11.0 / 3);
    EXPECT_EQ(tracksOf(info, "media").at(0).streams.at(0).bitrate, 70000U);
    EXPECT_TRUE(video[1].isTrick);
    EXPECT_EQ(video[1].streams.at(0).segments.value().count, 4U);
}

TEST(HlsInfo, ListsAllRenditions) {
    Documents documents = presentation();
    const PresentationInfo info = read(documents);
    const auto audio = tracksOf(info, "audio");
    ASSERT_EQ(audio.size(), 3U) << "an audio-only variant, and two renditions";
    EXPECT_EQ(audio[0].streams.at(0).codecs, "mp4a.40.5");
    EXPECT_EQ(audio[1].name, "English");
    EXPECT_EQ(audio[1].language, "en");
    EXPECT_EQ(audio[1].group, "a");
    EXPECT_TRUE(audio[1].isDefault);
    EXPECT_EQ(audio[1].streams.at(0).channels, 6);
    EXPECT_DOUBLE_EQ(audio[1].streams[0].segments.value().sum, 12);
    EXPECT_FALSE(audio[2].streams.at(0).segments) << "it comes with the variants";
    EXPECT_EQ(audio[2].streams[0].error, "");
    EXPECT_TRUE(tracksOf(info, "subtitles").at(0).isForced);
    EXPECT_EQ(tracksOf(info, "captions").at(0).streams.at(0).id, "CC1");
}

TEST(HlsInfo, TellsProtectionWhereItIsSaid) {
    Documents documents = presentation();
    const PresentationInfo info = read(documents);
    EXPECT_EQ(info.protections.at(0).system, "FairPlay");
    const auto video = tracksOf(info, "video");
    ASSERT_EQ(video.at(0).protections.size(), 1U);
    EXPECT_EQ(video[0].protections[0].system, "AES-128");
    EXPECT_TRUE(tracksOf(info, "audio").at(0).protections.empty());
}

TEST(HlsInfo, ListsEverySystemOfAPlaylistWithItsKeys) {
    Documents documents;
    documents.set(
        kMaster,
        media("2", "#EXT-X-KEY:METHOD=SAMPLE-AES,URI=\"skd://a\",KEYFORMAT=\"com.apple."
                   "streamingkeydelivery\"\n"
                   "#EXT-X-KEY:METHOD=SAMPLE-AES,URI=\"data:,\",KEYFORMAT=\"urn:uuid:edef8ba9-79d6-"
                   "4ace-a3c8-27dcd51d21ed\",KEYID=0x00112233445566778899AABBCCDDEEFF\n") +
            "#EXT-X-KEY:METHOD=SAMPLE-AES,URI=\"data:,2\",KEYFORMAT=\"urn:uuid:edef8ba9-79d6-"
            "4ace-a3c8-27dcd51d21ed\",KEYID=0x10112233445566778899AABBCCDDEEFF\n");
    const auto track = tracksOf(read(documents), "media").at(0);
    ASSERT_EQ(track.protections.size(), 2U);
    EXPECT_EQ(track.protections[0].system, "FairPlay");
    EXPECT_EQ(track.protections[1].system, "Widevine");
    EXPECT_EQ(track.protections[1].keyIds,
              (std::vector<std::string>{"00112233-4455-6677-8899-aabbccddeeff",
                                        "10112233-4455-6677-8899-aabbccddeeff"}));
}

TEST(HlsInfo, FetchesEachPlaylistOnceAndNothingElse) {
    Documents documents = presentation();
    std::vector<std::string> expected;
    hastool::InfoAccess access;
    access.fetch = documents.fetcher();
    access.expect = [&](const std::vector<hastool::Resource>& resources) {
        for (const auto& resource : resources)
            expected.push_back(resource.url);
    };
    hastool::readInfo(kMaster, access);
    std::sort(expected.begin(), expected.end());
    const std::vector<std::string> all = {"http://h/p/de.m3u8", "http://h/p/en.m3u8",
                                          "http://h/p/high.m3u8", "http://h/p/low.m3u8",
                                          "http://h/p/trick.m3u8"};
    EXPECT_EQ(expected, all);
    for (const std::string& url : all)
        EXPECT_EQ(documents.fetches(url), 1) << url;
    EXPECT_EQ(documents.fetches("http://h/p/k1") + documents.fetches("http://h/p/s.ts"), 0);
}

TEST(HlsInfo, APlaylistThatCannotBeHadIsToldAndTheRestStays) {
    Documents documents = presentation();
    documents.remove("http://h/p/high.m3u8");
    documents.set("http://h/p/de.m3u8", "<html>");
    documents.set("http://h/p/trick.m3u8", kVariants);
    const PresentationInfo info = read(documents);
    EXPECT_EQ(info.failures(), 3U);
    const auto video = tracksOf(info, "video");
    EXPECT_EQ(video.at(0).streams.at(1).error, "http://h/p/high.m3u8: not there");
    EXPECT_FALSE(video[0].streams[1].segments);
    EXPECT_EQ(video[0].streams[0].error, "");
    EXPECT_NE(tracksOf(info, "subtitles").at(0).streams.at(0).error.find("http://h/p/de.m3u8:1"),
              std::string::npos);
    EXPECT_NE(video.at(1).streams.at(0).error.find("a master playlist"), std::string::npos);
    EXPECT_DOUBLE_EQ(info.duration.value(), 20);
}

TEST(HlsInfo, ALivePlaylistHasNoLengthButWhatIsKept) {
    Documents documents;
    documents.set(kMaster, media("666", "", ""));
    const PresentationInfo info = read(documents);
    EXPECT_EQ(info.isLive, true);
    EXPECT_FALSE(info.duration);
    EXPECT_DOUBLE_EQ(info.timeShift.value(), 18);
    EXPECT_EQ(tracksOf(info, "media").at(0).streams.at(0).segments.value().count, 3U);
}

TEST(HlsInfo, WhereNoPlaylistCanBeHadItIsNotKnownWhetherItIsLive) {
    Documents documents;
    documents.set(kMaster, "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nv.m3u8\n");
    const PresentationInfo info = read(documents);
    EXPECT_FALSE(info.isLive);
    EXPECT_FALSE(info.duration);
    EXPECT_EQ(info.failures(), 1U);
}

TEST(InfoReader, WhatIsNoManifestEndsInOneLineWithItsUrl) {
    Documents documents;
    const char* const texts[] = {"<!DOCTYPE html>\n<html><body>404</body></html>",
                                 "<HTML><head/></HTML>",
                                 "",
                                 "\x89PNG\r\n\x1a\n\1\2\3",
                                 "{\"error\": 404}",
                                 "<?xml version='1.0'?><rss/>",
                                 "<MPD",
                                 "<SmoothStreamingMedia>"};
    for (const char* const text : texts) {
        documents.set(kMaster, text);
        const std::string error = test::errorOf([&] { read(documents); });
        EXPECT_EQ(error.rfind(kMaster, 0), 0U) << error;
        EXPECT_EQ(error.find_first_of("\n\x1b"), std::string::npos) << error;
    }
    documents.set(kMaster, texts[0]);
    EXPECT_EQ(test::errorOf([&] { read(documents); }),
              std::string(kMaster) + ": a web page, not a manifest");
}

} // namespace
