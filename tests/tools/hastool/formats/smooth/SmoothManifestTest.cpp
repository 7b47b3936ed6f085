#include <tools/hastool/ErrorOf.h>

#include <hastool/formats/smooth/SmoothManifest.h>

#include <gtest/gtest.h>

using hastool::SmoothManifest;
using test::errorOf;

namespace {

SmoothManifest parse(const std::string& text) {
    return hastool::parseSmoothManifest(text, "http://h/Manifest");
}

std::string oneStream(const std::string& inside, const std::string& attributes = "Duration='100'") {
    return "<SmoothStreamingMedia " + attributes +
           "><StreamIndex Type='video' Url='u'><QualityLevel Bitrate='1' CodecPrivateData=''/>" +
           inside + "</StreamIndex></SmoothStreamingMedia>";
}

std::string chunks(const std::string& inside) {
    std::string text;
    const SmoothManifest manifest = parse(oneStream(inside));
    for (const auto& chunk : manifest.streams.at(0).chunks)
        text += std::to_string(chunk.time) + "+" + std::to_string(chunk.duration) + " ";
    return text;
}

TEST(SmoothManifest, ReadsQualitiesInOrderOfBitrate) {
    const SmoothManifest manifest = parse(R"(<SmoothStreamingMedia TimeScale="1000" IsLive="TRUE">
      <StreamIndex Type="Video" Name="v" TimeScale="90000" Url="q">
        <QualityLevel Bitrate="900" FourCC="H264" MaxWidth="1280" MaxHeight="720" CodecPrivateData="00fF"/>
        <QualityLevel Bitrate="300" CodecPrivateData=""><CustomAttributes>
          <Attribute Name="a" Value="1"/><Attribute Name="b" Value="2"/></CustomAttributes></QualityLevel>
        <c d="1"/></StreamIndex>
      <StreamIndex Type="text" Url="t"/></SmoothStreamingMedia>)");
    EXPECT_TRUE(manifest.isLive);
    ASSERT_EQ(manifest.streams.size(), 1U) << "one without qualities is none";
    const auto& stream = manifest.streams[0];
    EXPECT_EQ(stream.type, "video");
    EXPECT_EQ(stream.timescale, 90000U);
    EXPECT_EQ(stream.qualities.at(0).bitrate, 300);
    EXPECT_EQ(stream.qualities.at(0).customAttributes, "a=1,b=2");
    EXPECT_EQ(stream.qualities.at(1).codecPrivateData, std::string("\0\xFF", 2));
    EXPECT_EQ(stream.qualities.at(1).width, 1280);
}

TEST(SmoothManifest, PutsChunksWithoutATimeBehindTheOneBefore) {
    EXPECT_EQ(chunks("<c d='10'/><c d='20'/><c t='50' d='5'/>"), "0+10 10+20 50+5 ");
}

TEST(SmoothManifest, LetsChunksWithoutADurationLastToTheNextOrTheEnd) {
    EXPECT_EQ(chunks("<c t='0'/><c t='30'/>"), "0+30 30+70 ");
}

TEST(SmoothManifest, RepeatsAChunk) {
    EXPECT_EQ(chunks("<c t='5' d='10' r='3'/><c d='1'/>"), "5+10 15+10 25+10 35+1 ");
    EXPECT_EQ(chunks("<c t='0' r='2'/><c t='60' d='40'/>"), "0+30 30+30 60+40 ");
}

TEST(SmoothManifest, KeepsItsProtection) {
    const SmoothManifest manifest = parse(
        "<SmoothStreamingMedia><Protection><ProtectionHeader SystemID='9A04'> AB\n CD"
        "</ProtectionHeader></Protection><StreamIndex Type='video' Url='u'>"
        "<QualityLevel Bitrate='1' CodecPrivateData=''/></StreamIndex></SmoothStreamingMedia>");
    EXPECT_EQ(manifest.protections.at(0).systemId, "9A04");
    EXPECT_EQ(manifest.protections.at(0).header, "ABCD");
}

TEST(SmoothManifest, FillsItsUrlsIn) {
    hastool::SmoothQuality quality;
    quality.bitrate = 300000;
    quality.customAttributes = "a=1";
    const auto expand = [&](const std::string& text) {
        return hastool::expandSmoothTemplate(text, quality, 77, "m");
    };
    EXPECT_EQ(expand("Q({bitrate},{CustomAttributes})/F(video={start time})"),
              "Q(300000,a=1)/F(video=77)");
    EXPECT_EQ(expand("{Bitrate}/{start_time}"), "300000/77");
    EXPECT_NE(errorOf([&] { expand("{other}"); }).find("m: a URL template"), std::string::npos);
    EXPECT_NE(errorOf([&] { expand("{bitrate"); }).find("m: a URL template"), std::string::npos);
}

TEST(SmoothManifest, RefusesWhatCannotBeUsed) {
    EXPECT_EQ(errorOf([] { parse("<html/>"); }),
              "http://h/Manifest: not a Smooth Streaming manifest: \"html\"");
    EXPECT_EQ(errorOf([] { parse("<SmoothStreamingMedia/>"); }),
              "http://h/Manifest: a Smooth Streaming manifest without a stream");
    for (const char* const inside : {"<c d='x'/>", "<c d='1' r='0'/>", "<c t='-1'/>",
                                     "<QualityLevel Bitrate='1' CodecPrivateData='0'/>",
                                     "<QualityLevel Bitrate='1' CodecPrivateData='zz'/>",
                                     "<QualityLevel Bitrate='99999999999' CodecPrivateData=''/>"})
        EXPECT_NE(errorOf([&] { parse(oneStream(inside)); }).find("with a bad"), std::string::npos)
            << inside;
}

TEST(SmoothManifest, RefusesChunksThatOverflow) {
    EXPECT_EQ(errorOf([] { chunks("<c t='9223372036854775807' d='9'/>"); }),
              "http://h/Manifest: chunk times that overflow");
    EXPECT_EQ(errorOf([] { chunks("<c d='9' r='18446744073709551615'/>"); }),
              "http://h/Manifest: more than 500000 chunks");
}

} // namespace
