#include "ManifestEvidence.h"

#include <gtest/gtest.h>

using hastool::CheckedFormat;
using hastool::Evidence;
using hastool::Findings;
using test::replaced;

namespace {

constexpr char kUrl[] = "http://origin.test/a/Manifest";

constexpr char kGood[] = R"xml(<?xml version="1.0"?>
<SmoothStreamingMedia MajorVersion="2" MinorVersion="0" TimeScale="1000" Duration="6000">
  <Protection>
    <ProtectionHeader SystemID="9A04F079-9840-4286-AB92-E65BE0885F95">AAECAw==</ProtectionHeader>
  </Protection>
  <StreamIndex Type="video" QualityLevels="2" Chunks="3"
      Url="QualityLevels({bitrate})/Fragments(video={start time})">
    <QualityLevel Index="0" Bitrate="140000" FourCC="H264" MaxWidth="160" MaxHeight="90"
        CodecPrivateData="00000001674d401fda0a37e4c044000003000400000300c83c60ca800000000168ef3c80"/>
    <QualityLevel Index="1" Bitrate="230000" FourCC="H264" MaxWidth="256" MaxHeight="144"
        CodecPrivateData="00000001674D401FDA0404EC0440000003004000000C83C60CA80000000168EF3C80"/>
    <c t="0" d="2000" r="2"/>
    <c t="4000" d="2000"/>
  </StreamIndex>
  <StreamIndex Type="audio" Chunks="3" QualityLevels="1"
      Url="QualityLevels({bitrate})/Fragments(audio={start time})">
    <QualityLevel Index="0" Bitrate="48000" FourCC="AACL" SamplingRate="48000" Channels="2"/>
    <c d="2000"/><c d="2000"/><c d="2000"/>
  </StreamIndex>
</SmoothStreamingMedia>)xml";

Evidence evidenceOf(const std::string& text) {
    Evidence evidence;
    evidence.format = CheckedFormat::Smooth;
    evidence.url = kUrl;
    evidence.documents.push_back(test::checkedDocument(text, kUrl, CheckedFormat::Smooth));
    evidence.renditions.emplace_back(); // there is something to play
    evidence.renditions.back().segments.emplace_back();
    return evidence;
}

std::string describe(const Findings& findings) {
    std::string text;
    for (const hastool::Finding& it : findings.all())
        text += std::string(it.rule->code) + " | " + it.place.where + " | " + it.text + "\n";
    return text;
}

TEST(SmoothRules, AreSilentOnWhatIsRight) {
    const Findings findings = judge(evidenceOf(kGood));
    EXPECT_TRUE(findings.all().empty()) << describe(findings);
}

TEST(SmoothRules, AreSilentOnALiveOneThatGrows) {
    std::string text = replaced(kGood, "Duration=\"6000\"", "Duration=\"0\" IsLive=\"TRUE\"");
    text = replaced(text, "QualityLevels=\"2\" Chunks=\"3\"", "QualityLevels=\"2\" Chunks=\"0\"");
    const Findings findings = judge(evidenceOf(text));
    EXPECT_TRUE(findings.all().empty()) << describe(findings);
}

struct Fault {
    const char* code;
    const char* from;
    const char* to;
    const char* text; ///< that is in what is found
};

class SmoothFault : public testing::TestWithParam<Fault> {};

TEST_P(SmoothFault, IsFoundAlone) {
    const Fault& fault = GetParam();
    const Findings findings = judge(evidenceOf(replaced(kGood, fault.from, fault.to)));
    EXPECT_EQ(test::codesOf(findings, true), std::set<std::string>({fault.code}))
        << describe(findings);
    ASSERT_FALSE(findings.all().empty());
    EXPECT_NE(findings.all().front().text.find(fault.text), std::string::npos)
        << describe(findings);
}

constexpr char kLastChunk[] = "<c t=\"4000\" d=\"2000\"/>";
constexpr char kVideoUrl[] = "QualityLevels({bitrate})/Fragments(video={start time})";

const Fault kFaults[] = {
    {"smooth-version", "MajorVersion=\"2\"", "MajorVersion=\"3\"", "MajorVersion is \"3\""},
    {"smooth-version", "MajorVersion=\"2\"", "", "no MajorVersion"},
    {"smooth-value", "Channels=\"2\"", "Channels=\"two\"", "Channels is \"two\""},
    {"smooth-value", "TimeScale=\"1000\"", "TimeScale=\"0\"", "TimeScale is \"0\""},
    {"smooth-stream-type", "Type=\"audio\"", "Type=\"sound\"", "Type is \"sound\""},
    {"smooth-bitrate-missing", "Bitrate=\"48000\"", "", "no Bitrate"},
    {"smooth-bitrate-missing", "Bitrate=\"48000\"", "Bitrate=\"0\"", "Bitrate is 0"},
    {"smooth-quality-count", "QualityLevels=\"2\"", "QualityLevels=\"3\"",
     "QualityLevels is 3, there are 2"},
    {"smooth-index", "Index=\"1\"", "Index=\"2\"", "2 QualityLevels, the highest Index is 2"},
    {"smooth-index", "Index=\"1\"", "Index=\"0\"", "and 1 are different"},
    {"smooth-url", kVideoUrl, "QualityLevels({bitrate})/Fragments(video)", "without {start time}"},
    {"smooth-url", kVideoUrl, "Fragments(video={start time})", "without {bitrate}"},
    {"smooth-codec-data",
     "CodecPrivateData=\"00000001674D401FDA0404EC0440000003004000000C83C60CA80000000168EF3C80\"",
     "", "no CodecPrivateData"},
    {"smooth-codec-data", "00000001674D401FDA0404EC", "0x000001674D401FDA0404EC",
     "CodecPrivateData is"},
    {"smooth-fourcc", "FourCC=\"AACL\"", "FourCC=\"ABCD\"", "FourCC is \"ABCD\""},
    {"smooth-fourcc", "FourCC=\"AACL\"", "", "no FourCC"},
    {"smooth-resolution", "MaxWidth=\"256\" MaxHeight=\"144\"", "", "no MaxWidth and MaxHeight"},
    {"smooth-protection", "9A04F079-9840-4286-AB92-E65BE0885F95", "9A04F079",
     "SystemID is \"9A04F079\""},
    {"smooth-protection", "AAECAw==", "AAE!Aw==", "its text is not base64"},
    {"smooth-protection", "AAECAw==", "", "it is empty"},
    {"smooth-duration", "Duration=\"6000\"", "", "no Duration"},
    {"smooth-duration", "Duration=\"6000\"", "Duration=\"0\"", "Duration is 0"},
    {"smooth-chunk-count", "QualityLevels=\"2\" Chunks=\"3\"", "QualityLevels=\"2\" Chunks=\"4\"",
     "Chunks is 4, there are 3"},
    {"smooth-chunk-order", kLastChunk, "<c t=\"3899\" d=\"2000\"/>",
     "it begins at 3.899 s, the one before it ends at 4 s"},
    {"smooth-chunk-order", kLastChunk, "<c t=\"0\" d=\"6000\"/>", "it begins at 0 s"},
    {"smooth-chunk-gap", kLastChunk, "<c t=\"4201\" d=\"2000\"/>",
     "it begins at 4.201 s, the one before it ends at 4 s"},
    {"smooth-segments-short", "Duration=\"6000\"", "Duration=\"8001\"",
     "they last 6 s, the presentation 8.001 s"},
};

INSTANTIATE_TEST_SUITE_P(Each, SmoothFault, testing::ValuesIn(kFaults),
                         [](const testing::TestParamInfo<Fault>& it) {
                             return test::testName(it.param.code) + "_" + std::to_string(it.index);
                         });

TEST(SmoothRules, TakeAnyNumbers) {
    const char* const numbers[] = {
        "18446744073709551615", "4611686018427387903", "99999999999999999999", "-1", "0", ""};
    for (const char* const number : numbers) {
        for (const char* const name : {"t=\"0\"", "r=\"2\"", "t=\"4000\"", "TimeScale=\"1000\"",
                                       "Duration=\"6000\"", "Index=\"1\""}) {
            std::string changed = name;
            const size_t quote = changed.find('"');
            changed.replace(quote + 1, changed.find('"', quote + 1) - quote - 1, number);
            judge(evidenceOf(replaced(kGood, name, changed)));
        }
    }
}

} // namespace
