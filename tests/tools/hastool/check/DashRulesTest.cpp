#include "ManifestEvidence.h"

#include <gtest/gtest.h>

#include <algorithm>

using hastool::CheckedFormat;
using hastool::Evidence;
using hastool::Findings;
using test::replaced;

namespace {

constexpr char kUrl[] = "http://origin.test/a/m.mpd";

/// Two periods, two qualities of video, one of audio: nothing is wrong with it.
constexpr char kGood[] = R"(<?xml version="1.0"?>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" xmlns:cenc="urn:mpeg:cenc:2013"
    profiles="urn:mpeg:dash:profile:isoff-live:2011" type="static" minBufferTime="PT2S"
    mediaPresentationDuration="PT20S" maxSegmentDuration="PT5S">
  <BaseURL>http://origin.test/media/</BaseURL>
  <Period id="p0" start="PT0S" duration="PT10S">
    <AdaptationSet id="1" mimeType="video/mp4" segmentAlignment="true" startWithSAP="1">
      <ContentProtection schemeIdUri="urn:mpeg:dash:mp4protection:2011" value="cenc"
          cenc:default_KID="a0a1a2a3-a4a5-a6a7-a8a9-aaabacadaeaf"/>
      <ContentProtection schemeIdUri="urn:uuid:1077efec-c0b2-4d02-ace3-3c1e52e2fb4b">
        <cenc:pssh>AAAANHBzc2gBAAAAEHfv7MCyTQKs4zweUuL7SwAAAAGgoaKjpKWmp6ipqqusra6vAAAAAA==</cenc:pssh>
      </ContentProtection>
      <SegmentTemplate timescale="1000" media="$RepresentationID$/$Time$.m4s"
          initialization="$RepresentationID$/init.mp4">
        <SegmentTimeline><S t="0" d="2000" r="2"/><S t="6000" d="2000" r="1"/></SegmentTimeline>
      </SegmentTemplate>
      <Representation id="v1" bandwidth="500000" codecs="avc1.4D401F" width="640" height="360"/>
      <Representation id="v2" bandwidth="900000" codecs="avc1.4D4020" width="960" height="540"/>
    </AdaptationSet>
    <AdaptationSet id="2" mimeType="audio/mp4" lang="en" segmentAlignment="true" startWithSAP="1">
      <SegmentTemplate timescale="1000" duration="2000" startNumber="1"
          media="$RepresentationID$/$Number%05d$.m4s"
          initialization="$RepresentationID$/init.mp4"/>
      <Representation id="a1" bandwidth="48000" codecs="mp4a.40.2" audioSamplingRate="48000"/>
    </AdaptationSet>
  </Period>
  <Period id="p1" start="PT10S" duration="PT10S">
    <AdaptationSet id="1" contentType="video">
      <Representation id="v3" mimeType="video/mp4" bandwidth="500000" codecs="avc1.4D401F"
          width="640" height="360" frameRate="30000/1001">
        <SegmentList timescale="1" duration="5"><Initialization sourceURL="i.mp4"/>
          <SegmentURL media="1.m4s"/><SegmentURL media="2.m4s"/></SegmentList>
      </Representation>
    </AdaptationSet>
  </Period>
</MPD>)";

Evidence evidenceOf(const std::string& text) {
    Evidence evidence;
    evidence.format = CheckedFormat::Dash;
    evidence.url = kUrl;
    evidence.documents.push_back(test::checkedDocument(text, kUrl, CheckedFormat::Dash));
    evidence.renditions.emplace_back(); // there is something to play
    evidence.renditions.back().segments.emplace_back();
    return evidence;
}

std::string describe(const Findings& findings) {
    std::string text;
    for (const hastool::Finding& it : findings.all())
        text += std::string(it.rule->code) + " | " + it.place.rendition + " | " + it.place.where +
                " | " + it.text + "\n";
    return text;
}

TEST(DashRules, AreSilentOnWhatIsRight) {
    const Findings findings = judge(evidenceOf(kGood));
    EXPECT_TRUE(findings.all().empty()) << describe(findings);
}

/// What makes a rule, and no other one, find something.
struct Fault {
    const char* code;
    const char* from;
    const char* to;
    const char* place; ///< that the finding's place ends with
    const char* text;  ///< that is in it
};

class DashFault : public testing::TestWithParam<Fault> {};

TEST_P(DashFault, IsFoundAlone) {
    const Fault& fault = GetParam();
    const Findings findings = judge(evidenceOf(replaced(kGood, fault.from, fault.to)));
    EXPECT_EQ(test::codesOf(findings, true), std::set<std::string>({fault.code}))
        << describe(findings);
    ASSERT_FALSE(findings.all().empty());
    const hastool::Finding& first = findings.all().front();
    const std::string& where = first.place.where;
    const std::string end = fault.place;
    EXPECT_TRUE(where.size() >= end.size() &&
                where.compare(where.size() - end.size(), end.size(), end) == 0)
        << where;
    EXPECT_NE(first.text.find(fault.text), std::string::npos) << first.text;
}

const Fault kFaults[] = {
    {"dash-namespace", "urn:mpeg:dash:schema:mpd:2011", "urn:mpeg:dash:schema:mpd:2099", ":4 MPD",
     "the namespace is \"urn:mpeg:dash:schema:mpd:2099\""},
    {"dash-attribute-missing", "minBufferTime=\"PT2S\"", "", ":4 MPD", "MPD without minBufferTime"},
    {"dash-attribute-missing", " d=\"2000\" r=\"1\"", "", "SegmentTimeline[1]/S[2]", "S without d"},
    {"dash-attribute-value", "frameRate=\"30000/1001\"", "frameRate=\"29.97\"",
     "MPD/Period[2]/AdaptationSet[1]/Representation[id=v3]",
     "frameRate is \"29.97\", not a frame rate like 25 or 30000/1001"},
    {"dash-attribute-value", "minBufferTime=\"PT2S\"", "minBufferTime=\"2\"", ":4 MPD",
     "minBufferTime is \"2\", not a duration"},
    {"dash-attribute-value", "type=\"static\"", "type=\"live\"", ":4 MPD", "type is \"live\""},
    {"dash-attribute-value", "r=\"2\"", "r=\"2.5\"", "S[1]", "r is \"2.5\""},
    {"dash-unknown-name", "lang=\"en\"", "language=\"en\"", "AdaptationSet[2]",
     "attribute \"language\""},
    {"dash-unknown-name", "<Period id=\"p1\"", "<Perod/><Period id=\"p1\"", "MPD/Perod[1]",
     "element \"Perod\""},
};

constexpr char kSet2[] = "<AdaptationSet id=\"2\" mimeType=\"audio/mp4\"";
constexpr char kTimes[] = "<S t=\"0\" d=\"2000\" r=\"2\"/><S t=\"6000\" d=\"2000\" r=\"1\"/>";
constexpr char kV2[] = "Representation id=\"v2\"";
constexpr char kMedia[] = "media=\"$RepresentationID$/$Time$.m4s\"";
constexpr char kTemplate[] = "MPD/Period[1]/AdaptationSet[1]/SegmentTemplate[1]";

const Fault kOfPeriods[] = {
    {"dash-period-overlap", "start=\"PT10S\" duration=\"PT10S\"",
     "start=\"PT9S\" duration=\"PT11S\"", "MPD/Period[2]",
     "it begins at 9.0 s, the Period before it ends at 10.0 s"},
    {"dash-period-gap", "start=\"PT10S\" duration=\"PT10S\"", "start=\"PT11S\" duration=\"PT9S\"",
     "MPD/Period[2]", "it begins at 11.0 s, the Period before it ends at 10.0 s"},
    {"dash-duration-sum", "mediaPresentationDuration=\"PT20S\"",
     "mediaPresentationDuration=\"PT21S\"", "MPD",
     "the last Period ends at 20.0 s, mediaPresentationDuration is 21.0 s"},
};

const Fault kOfRepresentations[] = {
    {"dash-duplicate-id", kV2, "Representation id=\"v1\"", "Representation[id=v1]",
     "the id \"v1\" is that of the one in line"},
    {"dash-mime-type", kSet2, "<AdaptationSet id=\"2\" contentType=\"audio\"",
     "Representation[id=a1]", "neither it nor its AdaptationSet has a mimeType"},
    {"dash-codecs-missing", "codecs=\"mp4a.40.2\"", "", "Representation[id=a1]",
     "audio/mp4 without codecs"},
    {"dash-resolution-missing", "width=\"960\" height=\"540\"", "", "Representation[id=v2]",
     "no width and height"},
    {"dash-bandwidth-zero", "bandwidth=\"900000\"", "bandwidth=\"0\"", "Representation[id=v2]",
     "bandwidth=\"0\""},
    {"dash-set-codecs", "codecs=\"avc1.4D4020\"", "codecs=\"hvc1.1.6.L93.B0\"",
     "MPD/Period[1]/AdaptationSet[1]", "\"avc1.4D401F\", \"hvc1.1.6.L93.B0\" side by side"},
    {"dash-set-mime-types", kV2, "Representation id=\"v2\" mimeType=\"video/webm\"",
     "MPD/Period[1]/AdaptationSet[1]", "\"video/mp4\", \"video/webm\" side by side"},
    {"dash-alignment-missing", "mimeType=\"video/mp4\" segmentAlignment=\"true\"",
     "mimeType=\"video/mp4\"", "MPD/Period[1]/AdaptationSet[1]",
     "no segmentAlignment and no subsegmentAlignment, for 2 Representations"},
    {"dash-sap-missing", "mimeType=\"video/mp4\" segmentAlignment=\"true\" startWithSAP=\"1\"",
     "mimeType=\"video/mp4\" segmentAlignment=\"true\"", "MPD/Period[1]/AdaptationSet[1]",
     "no startWithSAP"},
    {"dash-base-url", "http://origin.test/media/", "ftp://origin.test/media/", "MPD/BaseURL[1]",
     "\"ftp://origin.test/media/\" is no URL of http or https"},
    {"dash-base-url-slash", "http://origin.test/media/", "http://origin.test/media",
     "MPD/BaseURL[1]", "\"http://origin.test/media\" before"},
};

const Fault kOfProtection[] = {
    {"dash-key-id-missing", "cenc:default_KID=\"a0a1a2a3-a4a5-a6a7-a8a9-aaabacadaeaf\"", "",
     "ContentProtection[1]", "no cenc:default_KID"},
    {"dash-key-id-form", "a0a1a2a3-a4a5-a6a7-a8a9-aaabacadaeaf", "a0a1a2a3-a4a5",
     "ContentProtection[1]", "default_KID is \"a0a1a2a3-a4a5\""},
    {"dash-protection-scheme", "urn:uuid:1077efec-c0b2-4d02-ace3-3c1e52e2fb4b", "urn:uuid:1077efec",
     "ContentProtection[2]", "schemeIdUri is \"urn:uuid:1077efec\""},
    {"dash-protection-common", "urn:mpeg:dash:mp4protection:2011", "urn:other",
     "ContentProtection[1]", "none with urn:mpeg:dash:mp4protection:2011"},
    {"dash-pssh", "AAAANHBzc2gBAAAA", "AAAANHBzc2gB!", "ContentProtection[2]/pssh[1]",
     "it is not base64"},
    {"dash-pssh", "AAAANHBzc2gBAAAA", "AAAANHBzc3gBAAAA", "ContentProtection[2]/pssh[1]",
     "it is no pssh box"},
    {"dash-pssh-system", "AAAANHBzc2gBAAAAEHfv7MCy", "AAAANHBzc2gBAAAAEHfv7MCz",
     "ContentProtection[2]/pssh[1]", "it is of 1077efec-c0b3"},
};

const Fault kOfTemplates[] = {
    {"dash-template-media", kMedia, "", kTemplate, "no media attribute at any level"},
    {"dash-template-media", kMedia, "media=\"$RepresentationID$/all.m4s\"", kTemplate,
     "without $Number$ and $Time$"},
    {"dash-template-identifier", kMedia, "media=\"$RepresentationID$/$Time$-$Name$.m4s\"",
     kTemplate, "\"$Name$\" in"},
    {"dash-template-identifier", kMedia, "media=\"$RepresentationID$/$Time$-$.m4s\"", kTemplate,
     "a single \"$\" in"},
    {"dash-template-both", kMedia, "media=\"$RepresentationID$/$Time$-$Number$.m4s\"", kTemplate,
     "media is"},
    {"dash-template-initialization", "initialization=\"$RepresentationID$/init.mp4\">",
     "initialization=\"$RepresentationID$/$Number$.mp4\">", kTemplate, "initialization is"},
    {"dash-template-shared", kMedia, "media=\"video/$Time$.m4s\"", "Representation[id=v2]",
     "its segments are those of \"v1\""},
    {"dash-template-length", "duration=\"2000\" startNumber=\"1\"", "startNumber=\"1\"",
     "AdaptationSet[2]/SegmentTemplate[1]", "neither a duration nor a SegmentTimeline"},
};

const Fault kOfSegments[] = {
    {"dash-segments-missing", "<SegmentURL media=\"1.m4s\"/><SegmentURL media=\"2.m4s\"/>", "",
     "SegmentList[1]", "a SegmentList without a SegmentURL"},
    {"dash-duration-and-timeline", kMedia,
     "duration=\"2000\" media=\"$RepresentationID$/$Time$.m4s\"", "SegmentTimeline[1]",
     "the duration is 2.000 s, and there is a SegmentTimeline"},
    {"dash-timeline-overlap", kTimes,
     "<S t=\"0\" d=\"2000\" r=\"2\"/><S t=\"5998\" d=\"2000\" r=\"1\"/>", "S[2]",
     "it begins at 5.998 s, the S before it ends at 6.000 s"},
    {"dash-timeline-gap", kTimes,
     "<S t=\"0\" d=\"2000\" r=\"2\"/><S t=\"6101\" d=\"2000\" r=\"1\"/>", "S[2]",
     "nothing from 6.000 s to 6.101 s"},
    {"dash-timeline-repeat", kTimes, "<S t=\"0\" d=\"2000\" r=\"-1\"/><S d=\"2000\" r=\"1\"/>",
     "S[1]", "the next S has no t"},
    {"dash-long-segment", "maxSegmentDuration=\"PT5S\"", "maxSegmentDuration=\"PT4S\"",
     "SegmentList[1]", "5.000 s, maxSegmentDuration is 4.000 s"},
    {"dash-segments-short", kTimes, "<S t=\"0\" d=\"2000\" r=\"2\"/>", "SegmentTimeline[1]",
     "they end at 6.000 s, the Period lasts 10.000 s"},
    {"dash-segments-short", "timescale=\"1\" duration=\"5\"", "timescale=\"1\" duration=\"2\"",
     "SegmentList[1]", "they end at 4.000 s, the Period lasts 10.000 s"},
    {"dash-segments-long", kTimes, "<S t=\"0\" d=\"2000\" r=\"6\"/>", "SegmentTimeline[1]",
     "the last one begins at 12.000 s, the Period lasts 10.000 s"},
};

std::string nameOf(const testing::TestParamInfo<Fault>& it) {
    return test::testName(it.param.code) + "_" + std::to_string(it.index);
}

INSTANTIATE_TEST_SUITE_P(Syntax, DashFault, testing::ValuesIn(kFaults), nameOf);
INSTANTIATE_TEST_SUITE_P(Periods, DashFault, testing::ValuesIn(kOfPeriods), nameOf);
INSTANTIATE_TEST_SUITE_P(Representations, DashFault, testing::ValuesIn(kOfRepresentations), nameOf);
INSTANTIATE_TEST_SUITE_P(Protection, DashFault, testing::ValuesIn(kOfProtection), nameOf);
INSTANTIATE_TEST_SUITE_P(Templates, DashFault, testing::ValuesIn(kOfTemplates), nameOf);
INSTANTIATE_TEST_SUITE_P(Segments, DashFault, testing::ValuesIn(kOfSegments), nameOf);

/// One period of one quality, without a duration of its own.
constexpr char kLive[] = R"(<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="dynamic"
    profiles="urn:mpeg:dash:profile:isoff-live:2011" minBufferTime="PT2S"
    availabilityStartTime="2024-01-01T00:00:00Z" publishTime="2024-01-01T00:00:20Z"
    minimumUpdatePeriod="PT2S" timeShiftBufferDepth="PT8S" suggestedPresentationDelay="PT6S">
  <Period id="p0" start="PT0S">
    <AdaptationSet id="1" mimeType="video/mp4" segmentAlignment="true" startWithSAP="1">
      <SegmentTemplate timescale="1000" startNumber="6" media="$Number$.m4s" initialization="i.mp4">
        <SegmentTimeline><S t="10000" d="2000" r="4"/></SegmentTimeline>
      </SegmentTemplate>
      <Representation id="v1" bandwidth="500000" codecs="avc1.4D401F" width="640" height="360"/>
    </AdaptationSet>
  </Period>
  <UTCTiming schemeIdUri="urn:mpeg:dash:utc:http-iso:2014" value="http://origin.test/time"/>
</MPD>)";

TEST(DashRules, AreSilentOnWhatIsRightAndLive) {
    const Findings findings = judge(evidenceOf(kLive));
    EXPECT_TRUE(findings.all().empty()) << describe(findings);
}

class DashLiveMpdFault : public testing::TestWithParam<Fault> {};

TEST_P(DashLiveMpdFault, IsFoundAlone) {
    const Fault& fault = GetParam();
    const Findings findings = judge(evidenceOf(replaced(kLive, fault.from, fault.to)));
    EXPECT_EQ(test::codesOf(findings, true), std::set<std::string>({fault.code}))
        << describe(findings);
    ASSERT_FALSE(findings.all().empty());
    EXPECT_NE(findings.all().front().text.find(fault.text), std::string::npos)
        << describe(findings);
}

const Fault kOfLive[] = {
    {"dash-start-time", "availabilityStartTime=\"2024-01-01T00:00:00Z\"", "", "",
     "no availabilityStartTime"},
    {"dash-publish-time", "publishTime=\"2024-01-01T00:00:20Z\"", "", "", "no publishTime"},
    {"dash-delay", "suggestedPresentationDelay=\"PT6S\"", "", "", "no suggestedPresentationDelay"},
    {"dash-update-period", "minimumUpdatePeriod=\"PT2S\"", "", "", "no minimumUpdatePeriod"},
    {"dash-window-short", "timeShiftBufferDepth=\"PT8S\"", "timeShiftBufferDepth=\"PT3.9S\"", "",
     "it is 3.9 s, and there are segments of 2.0 s"},
    {"dash-clock-missing",
     "<UTCTiming schemeIdUri=\"urn:mpeg:dash:utc:http-iso:2014\" "
     "value=\"http://origin.test/time\"/>",
     "", "", "no UTCTiming"},
};

INSTANTIATE_TEST_SUITE_P(Live, DashLiveMpdFault, testing::ValuesIn(kOfLive), nameOf);

TEST(DashRules, TakeALatencyForADelay) {
    std::string text = replaced(kLive, "suggestedPresentationDelay=\"PT6S\"", "");
    text = replaced(text, "<UTCTiming",
                    "<ServiceDescription id=\"0\"><Latency target=\"3000\"/></ServiceDescription>"
                    "<UTCTiming");
    const Findings findings = judge(evidenceOf(text));
    EXPECT_TRUE(findings.all().empty()) << describe(findings);
}

TEST(DashRules, TellOfARecordedOneWithoutADuration) {
    std::string text = replaced(kLive, "type=\"dynamic\"", "type=\"static\"");
    text = replaced(text, "minimumUpdatePeriod=\"PT2S\"", "");
    const Findings findings = judge(evidenceOf(text));
    EXPECT_EQ(test::codesOf(findings, true), std::set<std::string>({"dash-duration-missing"}))
        << describe(findings);
}

TEST(DashRules, TellOfMediaThatIsNowhere) {
    std::string text = replaced(kGood, "<BaseURL>http://origin.test/media/</BaseURL>", "");
    const size_t begin = text.find("<SegmentList");
    const std::string end = "</SegmentList>";
    text.erase(begin, text.find(end) + end.size() - begin);
    const Findings findings = judge(evidenceOf(text));
    EXPECT_EQ(test::codesOf(findings, true), std::set<std::string>({"dash-segments-missing"}))
        << describe(findings);
}

TEST(DashRules, AllowTwoOfTheSameIdThatAreTheSame) {
    const std::string one = "<Representation id=\"a1\" bandwidth=\"48000\" codecs=\"mp4a.40.2\" "
                            "audioSamplingRate=\"48000\"/>";
    const Findings findings = judge(evidenceOf(replaced(kGood, one, one + one)));
    EXPECT_TRUE(findings.all().empty()) << describe(findings);
}

TEST(DashRules, NameTheRendition) {
    Evidence evidence = evidenceOf(replaced(kGood, "codecs=\"mp4a.40.2\"", ""));
    evidence.renditions.front().id = "a1";
    evidence.renditions.front().name = "audio en, 48 kbit/s";
    const Findings findings = judge(evidence);
    ASSERT_FALSE(findings.all().empty());
    EXPECT_EQ(findings.all().front().place.rendition, "audio en, 48 kbit/s");
}

TEST(DashRules, TakeAnyNumbers) {
    const char* const numbers[] = {
        "18446744073709551615", "4611686018427387904", "99999999999999999999", "-1", "0", ""};
    for (const char* const number : numbers) {
        for (const char* const name : {"t=\"0\"", "d=\"2000\" r=\"2\"", "r=\"2\""}) {
            std::string changed = name;
            const size_t quote = changed.find('"');
            changed.replace(quote + 1, changed.find('"', quote + 1) - quote - 1, number);
            judge(evidenceOf(replaced(kGood, name, changed)));
        }
        judge(evidenceOf(
            replaced(kGood, "timescale=\"1\"", std::string("timescale=\"") + number + "\"")));
    }
}

} // namespace
