// What DASH and Smooth Streaming presentations hold.
#include <hastool/info/InfoReader.h>
#include <tools/hastool/Documents.h>

#include <hastool/base/BoxBuilder.h>

#include <gtest/gtest.h>

using hastool::InfoTrack;
using hastool::PresentationInfo;

namespace {

constexpr char kUrl[] = "http://h/p/manifest";

PresentationInfo read(Documents& documents, double wall = 0) {
    hastool::TimeSource time;
    if (wall > 0)
        time.wall = [wall] { return wall; };
    return hastool::readInfo(kUrl, {documents.fetcher(), {}, time});
}

PresentationInfo read(const std::string& text, double wall = 0) {
    Documents documents;
    documents.set(kUrl, text);
    return read(documents, wall);
}

constexpr char kTwoPeriods[] = R"(<MPD type="static" mediaPresentationDuration="PT30S">
 <Period id="one" duration="PT20S">
  <AdaptationSet id="7" contentType="video" mimeType="video/mp4" frameRate="30000/1001">
   <ContentProtection schemeIdUri="urn:mpeg:dash:mp4protection:2011" value="cenc"
     cenc:default_KID="00112233-4455-6677-8899-AABBCCDDEEFF" xmlns:cenc="urn:mpeg:cenc:2013"/>
   <ContentProtection schemeIdUri="urn:uuid:edef8ba9-79d6-4ace-a3c8-27dcd51d21ed"/>
   <Role schemeIdUri="urn:mpeg:dash:role:2011" value="main"/>
   <SegmentTemplate media="$Number$" duration="6"/>
   <Representation id="hi" bandwidth="2000000" width="1280" height="720" codecs="avc1.64001f"/>
   <Representation id="lo" bandwidth="500000" width="640" height="360" frameRate="15"/>
  </AdaptationSet>
  <AdaptationSet contentType="audio" mimeType="audio/mp4" lang="de" audioSamplingRate="48000">
   <AudioChannelConfiguration schemeIdUri="urn:mpeg:mpegB:cicp:ChannelConfiguration" value="6"/>
   <Label>Deutsch</Label>
   <SegmentTemplate media="$Time$" timescale="10"><SegmentTimeline><S t="0" d="50" r="2"/>
    <S d="30"/><S d="20"/></SegmentTimeline></SegmentTemplate>
   <Representation id="a" bandwidth="96000" codecs="mp4a.40.2"/>
  </AdaptationSet>
  <AdaptationSet contentType="video" mimeType="video/mp4">
   <EssentialProperty schemeIdUri="http://dashif.org/guidelines/trickmode" value="7"/>
   <SegmentTemplate media="$Number$" duration="10"/>
   <Representation id="t" bandwidth="100000"/>
  </AdaptationSet>
 </Period>
 <Period>
  <AdaptationSet mimeType="application/ttml+xml" lang="en">
   <Role schemeIdUri="urn:mpeg:dash:role:2011" value="forced-subtitle"/>
   <Representation id="s" bandwidth="100"><BaseURL>s.ttml</BaseURL></Representation>
  </AdaptationSet>
  <AdaptationSet mimeType="image/jpeg">
   <SegmentTemplate media="$Number$" duration="10"/>
   <Representation id="i" bandwidth="100"/>
  </AdaptationSet>
 </Period>
</MPD>)";

TEST(DashInfo, ListsAllPeriodsAndSets) {
    const PresentationInfo info = read(kTwoPeriods);
    EXPECT_EQ(info.format, "DASH");
    EXPECT_EQ(info.isLive, false);
    EXPECT_DOUBLE_EQ(info.duration.value(), 30);
    ASSERT_EQ(info.periods.size(), 2U);
    EXPECT_EQ(info.periods[0].id, "one");
    EXPECT_DOUBLE_EQ(info.periods[1].start, 20);
    EXPECT_DOUBLE_EQ(info.periods[1].duration.value(), 10);
    ASSERT_EQ(info.periods[0].tracks.size(), 3U);
    EXPECT_TRUE(info.periods[0].tracks[2].isTrick);
    ASSERT_EQ(info.periods[1].tracks.size(), 2U);
    EXPECT_EQ(info.periods[1].tracks[0].kind, "subtitles");
    EXPECT_TRUE(info.periods[1].tracks[0].isForced);
    EXPECT_DOUBLE_EQ(info.periods[1].tracks[0].streams.at(0).segments.value().longest, 10);
    EXPECT_EQ(info.periods[1].tracks[1].kind, "image");
    EXPECT_EQ(info.failures(), 0U);
}

TEST(DashInfo, TellsWhatPlayingDoesNotNeed) {
    const PresentationInfo info = read(kTwoPeriods);
    const InfoTrack& video = info.periods[0].tracks.at(0);
    EXPECT_EQ(video.id, "7");
    EXPECT_TRUE(video.isDefault);
    EXPECT_EQ(video.roles, std::vector<std::string>{"main"});
    ASSERT_EQ(video.streams.size(), 2U);
    EXPECT_EQ(video.streams[0].id, "lo");
    EXPECT_DOUBLE_EQ(video.streams[0].frameRate, 15) << "its own, not that of the set";
    EXPECT_NEAR(video.streams[1].frameRate, 29.97, 0.001);
    EXPECT_EQ(video.streams[1].mimeType, "video/mp4");
    ASSERT_EQ(video.protections.size(), 2U);
    EXPECT_EQ(video.protections[0].system, "mp4protection");
    EXPECT_EQ(video.protections[0].keyIds,
              std::vector<std::string>{"00112233-4455-6677-8899-aabbccddeeff"});
    EXPECT_EQ(video.protections[1].system, "Widevine");
    const InfoTrack& audio = info.periods[0].tracks.at(1);
    EXPECT_EQ(audio.name, "Deutsch");
    EXPECT_EQ(audio.language, "de");
    EXPECT_EQ(audio.streams.at(0).channels, 6);
    EXPECT_EQ(audio.streams.at(0).samplingRate, 48000);
}

TEST(DashInfo, LengthsAreThoseOfTheSegments) {
    const PresentationInfo info = read(kTwoPeriods);
    const auto numbered = info.periods[0].tracks.at(0).streams.at(0).segments.value();
    EXPECT_EQ(numbered.count, 4U);
    EXPECT_DOUBLE_EQ(numbered.longest, 6);
    EXPECT_DOUBLE_EQ(numbered.shortest, 2) << "the period ends";
    EXPECT_DOUBLE_EQ(numbered.mean(), 5);
    const auto timed = info.periods[0].tracks.at(1).streams.at(0).segments.value();
    EXPECT_EQ(timed.count, 5U);
    EXPECT_DOUBLE_EQ(timed.shortest, 2);
    EXPECT_DOUBLE_EQ(timed.longest, 5);
    EXPECT_DOUBLE_EQ(timed.mean(), 4);
}

TEST(DashInfo, ALivePresentationHasTheSegmentsOfItsWindow) {
    const PresentationInfo info = read(
        R"(<MPD type="dynamic" availabilityStartTime="1970-01-01T00:10:00Z" timeShiftBufferDepth="PT20S"
          minimumUpdatePeriod="PT2S"><Period start="PT0S"><AdaptationSet contentType="video">
          <SegmentTemplate media="$Number$" duration="4"/><Representation id="v" bandwidth="1"/>
          </AdaptationSet></Period></MPD>)",
        600 + 100);
    EXPECT_EQ(info.isLive, true);
    EXPECT_FALSE(info.duration);
    EXPECT_DOUBLE_EQ(info.timeShift.value(), 20);
    const auto segments = info.periods.at(0).tracks.at(0).streams.at(0).segments.value();
    EXPECT_EQ(segments.count, 5U);
    EXPECT_DOUBLE_EQ(segments.mean(), 4);
}

TEST(DashInfo, WhereNothingTellsTheNumberOfSegmentsItIsNotKnown) {
    const PresentationInfo info = read(R"(<MPD><Period><AdaptationSet contentType="video">
          <SegmentTemplate media="$Number$" duration="4"/><Representation id="v" bandwidth="1"/>
          </AdaptationSet></Period></MPD>)");
    EXPECT_FALSE(info.periods.at(0).tracks.at(0).streams.at(0).segments);
    EXPECT_FALSE(info.duration);
    EXPECT_EQ(info.failures(), 0U);
}

TEST(DashInfo, AMillionSegmentsAreCountedWithoutLookingAtEach) {
    const PresentationInfo info =
        read(R"(<MPD mediaPresentationDuration="P1000D"><Period><AdaptationSet contentType="video">
          <SegmentTemplate media="$Number$" timescale="1000000" duration="1"/>
          <Representation id="v" bandwidth="1"/></AdaptationSet></Period></MPD>)");
    const auto segments = info.periods.at(0).tracks.at(0).streams.at(0).segments.value();
    EXPECT_NEAR(static_cast<double>(segments.count), 86400e9, 3000) << "ends are rounded to 1 ms";
    EXPECT_NEAR(segments.mean(), 1e-6, 1e-8);
}

constexpr char kIndexed[] = R"(<MPD mediaPresentationDuration="PT7S"><Period>
  <AdaptationSet contentType="video"><Representation id="a" bandwidth="1"><BaseURL>a.mp4</BaseURL>
  <SegmentBase indexRange="100-199"/></Representation><Representation id="b" bandwidth="2">
  <BaseURL>b.mp4</BaseURL><SegmentBase indexRange="100-199"/></Representation></AdaptationSet>
  </Period></MPD>)";

TEST(DashInfo, AnIndexIsFetchedWhereOnlyItKnows) {
    hastool::BoxBuilder box;
    box.u32(1).u32(1000).u32(0).u32(0).u16(0).u16(2);
    box.u32(50).u32(4000).u32(0).u32(60).u32(3000).u32(0);
    Documents documents;
    documents.set(kUrl, kIndexed);
    documents.set("http://h/p/a.mp4", std::string(100, 'x') + box.fullBox("sidx"));
    const PresentationInfo info = read(documents);
    const auto& streams = info.periods.at(0).tracks.at(0).streams;
    EXPECT_EQ(streams.at(0).segments.value().count, 2U);
    EXPECT_DOUBLE_EQ(streams[0].segments->shortest, 3);
    EXPECT_DOUBLE_EQ(streams[0].segments->longest, 4);
    EXPECT_EQ(streams.at(1).error, "http://h/p/b.mp4: not there");
    EXPECT_EQ(info.failures(), 1U);
    EXPECT_EQ(documents.fetches("http://h/p/a.mp4"), 1);
}

TEST(DashInfo, WhatCannotBeUsedIsAnError) {
    const PresentationInfo info =
        read(R"(<MPD mediaPresentationDuration="PT4S"><Period><AdaptationSet contentType="video">
          <SegmentTemplate media="$Number$" duration="4"/><Representation id="v" bandwidth="1"/>
          <Representation id="w" bandwidth="many"/></AdaptationSet></Period></MPD>)");
    ASSERT_EQ(info.errors.size(), 1U);
    EXPECT_NE(info.errors[0].find("\"w\""), std::string::npos) << info.errors[0];
    EXPECT_EQ(info.failures(), 1U);
}

constexpr char kSmooth[] = R"(<SmoothStreamingMedia Duration="70000000" IsLive="TRUE"
  DVRWindowLength="50000000">
 <Protection><ProtectionHeader SystemID="{9A04F079-9840-4286-AB92-E65BE0885F95}"/></Protection>
 <StreamIndex Type="video" Name="v" Url="{bitrate}/{start time}">
  <QualityLevel Bitrate="900000" FourCC="H264" MaxWidth="1280" MaxHeight="720"/>
  <QualityLevel Bitrate="300000" FourCC="H264" MaxWidth="640" MaxHeight="360"/>
  <c t="0" d="20000000" r="3"/><c d="10000000"/></StreamIndex>
 <StreamIndex Type="audio" Language="eng" Url="{bitrate}/{start time}">
  <QualityLevel Bitrate="64000" FourCC="AACL" Channels="2" SamplingRate="44100"/>
  <c t="0" d="70000000"/></StreamIndex>
 <StreamIndex Type="text" Language="ger" Url="{bitrate}/{start time}">
  <QualityLevel Bitrate="1000" FourCC="TTML"/><c t="0" d="70000000"/></StreamIndex>
</SmoothStreamingMedia>)";

TEST(SmoothInfo, ListsStreamsAndProtection) {
    const PresentationInfo info = read(kSmooth);
    EXPECT_EQ(info.format, "Smooth");
    EXPECT_EQ(info.isLive, true);
    EXPECT_DOUBLE_EQ(info.duration.value(), 7);
    EXPECT_DOUBLE_EQ(info.timeShift.value(), 5);
    EXPECT_EQ(info.protections.at(0).system, "PlayReady");
    const auto& tracks = info.periods.at(0).tracks;
    ASSERT_EQ(tracks.size(), 3U);
    EXPECT_EQ(tracks[0].name, "v");
    EXPECT_EQ(tracks[0].streams.at(0).bitrate, 300000U);
    EXPECT_EQ(tracks[0].streams.at(1).height, 720);
    EXPECT_EQ(tracks[0].streams[1].codecs, "H264");
    EXPECT_EQ(tracks[0].streams[1].segments.value().count, 4U);
    EXPECT_DOUBLE_EQ(tracks[0].streams[1].segments->shortest, 1);
    EXPECT_DOUBLE_EQ(tracks[0].streams[1].segments->mean(), 1.75);
    EXPECT_EQ(tracks[1].streams.at(0).channels, 2);
    EXPECT_EQ(tracks[1].streams[0].samplingRate, 44100);
    EXPECT_EQ(tracks[1].language, "eng");
    EXPECT_EQ(tracks[2].kind, "subtitles");
}

} // namespace
