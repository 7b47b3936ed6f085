#include <tools/hastool/ErrorOf.h>

#include <hastool/formats/dash/DashManifest.h>

#include <gtest/gtest.h>

using hastool::DashAddressing;
using hastool::DashManifest;

namespace {

using test::errorOf;

DashManifest parse(const std::string& text) {
    return hastool::parseDashManifest(text, "http://h/m.mpd");
}

/// A static manifest with one video representation.
std::string oneSet(const std::string& inside, const std::string& mpdAttributes = "") {
    return "<MPD xmlns='urn:mpeg:dash:schema:mpd:2011' " + mpdAttributes +
           "><Period><AdaptationSet mimeType='video/mp4'><Representation id='v' bandwidth='1'>" +
           inside + "</Representation></AdaptationSet></Period></MPD>";
}

DashAddressing addressing(const std::string& inside) {
    return parse(oneSet(inside)).periods[0].sets[0].representations[0].addressing;
}

TEST(DashManifest, ReadsTheWholeOfItsHead) {
    const DashManifest manifest =
        parse(oneSet("", "type='dynamic' availabilityStartTime='2024-01-01T00:00:00Z' "
                         "minimumUpdatePeriod='PT2S' timeShiftBufferDepth='PT60S' "
                         "suggestedPresentationDelay='PT6S' mediaPresentationDuration='PT1H'"));
    EXPECT_TRUE(manifest.isDynamic);
    EXPECT_DOUBLE_EQ(manifest.availabilityStart, 1704067200);
    EXPECT_DOUBLE_EQ(manifest.minimumUpdatePeriod.value(), 2);
    EXPECT_DOUBLE_EQ(manifest.timeShiftDepth.value(), 60);
    EXPECT_DOUBLE_EQ(manifest.suggestedDelay.value(), 6);
    EXPECT_DOUBLE_EQ(manifest.duration.value(), 3600);
}

TEST(DashManifest, HandsWhatALevelSaysDownToTheNext) {
    const DashManifest manifest = parse(R"(<MPD><BaseURL>a/</BaseURL><Period>
      <BaseURL> b/ </BaseURL><BaseURL>other/</BaseURL>
      <SegmentTemplate timescale="1000" duration="2000" media="$Number$" startNumber="7"/>
      <AdaptationSet contentType="Video" codecs="avc1" width="640" height="360">
        <SegmentTemplate media="$Time$" initialization="i"/>
        <ContentProtection schemeIdUri="urn:x"/>
        <Representation id="1" bandwidth="5"><BaseURL>c/</BaseURL><SegmentTemplate startNumber="9"/>
        </Representation>
        <Representation id="2" bandwidth="6" codecs="hvc1" width="1280" height="720"/>
      </AdaptationSet></Period></MPD>)");
    const auto& set = manifest.periods.at(0).sets.at(0);
    EXPECT_EQ(set.contentType, "video");
    const auto& first = set.representations.at(0);
    EXPECT_EQ(first.baseUrls, (std::vector<std::string>{"a/", "b/", "c/"}));
    EXPECT_EQ(first.addressing.timescale, 1000U);
    EXPECT_EQ(first.addressing.duration, 2000U);
    EXPECT_EQ(first.addressing.media, "$Time$");
    EXPECT_EQ(first.addressing.startNumber, 9U);
    EXPECT_EQ(first.protections.at(0).schemeId, "urn:x");
    EXPECT_EQ(first.codecs, "avc1");
    EXPECT_EQ(first.width, 640);
    const auto& second = set.representations.at(1);
    EXPECT_EQ(second.addressing.startNumber, 7U);
    EXPECT_EQ(second.baseUrls.size(), 2U);
    EXPECT_EQ(second.codecs, "hvc1");
    EXPECT_EQ(second.height, 720);
}

TEST(DashManifest, PutsPeriodsOneBehindTheOther) {
    const DashManifest manifest =
        parse("<MPD mediaPresentationDuration='PT30S'><Period duration='PT10S'/>"
              "<Period/><Period start='PT25S'/></MPD>");
    ASSERT_EQ(manifest.periods.size(), 3U);
    EXPECT_DOUBLE_EQ(manifest.periods[1].start, 10);
    EXPECT_DOUBLE_EQ(manifest.periods[1].duration.value(), 15);
    EXPECT_DOUBLE_EQ(manifest.periods[2].duration.value(), 5);
}

TEST(DashManifest, ReadsATimelineWithItsRepeats) {
    const auto timeline = addressing("<SegmentTemplate timescale='10'><SegmentTimeline>"
                                     "<S t='5' d='20' r='2'/><S d='7' r='-1'/></SegmentTimeline>"
                                     "</SegmentTemplate>")
                              .timeline;
    ASSERT_TRUE(timeline);
    ASSERT_EQ(timeline->size(), 2U);
    EXPECT_EQ(timeline->at(0).time, 5U);
    EXPECT_EQ(timeline->at(0).repeats, 2);
    EXPECT_FALSE(timeline->at(1).time);
    EXPECT_EQ(timeline->at(1).repeats, -1);
}

TEST(DashManifest, ReadsAListAndABase) {
    const auto list =
        addressing("<SegmentList duration='2'><Initialization sourceURL='i' range='0-9'/>"
                   "<SegmentURL media='a'/><SegmentURL mediaRange='10-19'/></SegmentList>");
    EXPECT_EQ(list.kind, DashAddressing::Kind::List);
    EXPECT_EQ(list.initialization, "i");
    EXPECT_EQ(list.initRange.value().length, 10U);
    EXPECT_EQ(list.list->at(0).media, "a");
    EXPECT_EQ(list.list->at(1).range.value().first, 10U);
    const auto base = addressing(
        "<SegmentBase indexRange='100-199'><Initialization range='0-99'/></SegmentBase>");
    EXPECT_EQ(base.kind, DashAddressing::Kind::Base);
    EXPECT_EQ(base.indexRange.value().first, 100U);
    EXPECT_EQ(addressing("").kind, DashAddressing::Kind::None);
}

TEST(DashManifest, ReadsProtectionWithoutTheBlanksInside) {
    const DashManifest manifest = parse(oneSet(
        "<ContentProtection xmlns:cenc='urn:mpeg:cenc:2013' xmlns:mspr='urn:microsoft:playready' "
        "schemeIdUri=' urn:uuid:1 ' value='v' cenc:default_KID='k'><cenc:pssh> AA\n BB </cenc:pssh>"
        "<mspr:pro>CC</mspr:pro></ContentProtection>"));
    const auto& protection = manifest.periods[0].sets[0].representations[0].protections.at(0);
    EXPECT_EQ(protection.schemeId, "urn:uuid:1");
    EXPECT_EQ(protection.value, "v");
    EXPECT_EQ(protection.defaultKid, "k");
    EXPECT_EQ(protection.pssh, "AABB");
    EXPECT_EQ(protection.pro, "CC");
}

TEST(DashManifest, IsRecognisedByItsOutermostElement) {
    EXPECT_TRUE(hastool::looksLikeDash("\xEF\xBB\xBF<?xml version='1.0'?>\n<!-- MPD? --><MPD>"));
    EXPECT_TRUE(hastool::looksLikeDash("<d:MPD xmlns:d='urn:mpeg:dash:schema:mpd:2011'/>"));
    EXPECT_FALSE(hastool::looksLikeDash("<SmoothStreamingMedia/>"));
    EXPECT_FALSE(hastool::looksLikeDash("#EXTM3U"));
    EXPECT_FALSE(hastool::looksLikeDash(""));
    EXPECT_FALSE(hastool::looksLikeDash("<!--"));
}

TEST(DashManifest, NamesTheDocumentTheElementAndTheAttributeThatIsBad) {
    EXPECT_EQ(errorOf([] { parse(oneSet("<SegmentTemplate timescale='x'/>")); }),
              "http://h/m.mpd: SegmentTemplate with a bad timescale: \"x\"");
    EXPECT_EQ(
        errorOf([] { parse(oneSet("<SegmentTemplate startNumber='99999999999999999999'/>")); }),
        "http://h/m.mpd: SegmentTemplate with a bad startNumber: \"99999999999999999999\"");
    EXPECT_EQ(errorOf([] { parse(oneSet("", "minimumUpdatePeriod='soon'")); }),
              "http://h/m.mpd: MPD with a bad minimumUpdatePeriod: \"soon\"");
    EXPECT_EQ(errorOf([] { parse(oneSet("", "availabilityStartTime='now'")); }),
              "http://h/m.mpd: MPD with a bad availabilityStartTime: \"now\"");
}

TEST(DashManifest, RefusesValuesThatCannotBe) {
    for (const char* const inside :
         {"<SegmentTemplate timescale='0'/>", "<SegmentTemplate duration='0'/>",
          "<SegmentTemplate><SegmentTimeline><S d='0'/></SegmentTimeline></SegmentTemplate>",
          "<SegmentTemplate><SegmentTimeline><S t='1'/></SegmentTimeline></SegmentTemplate>",
          "<SegmentBase indexRange='9-1'/>", "<SegmentTemplate duration='-1'/>"})
        EXPECT_NE(errorOf([&] { parse(oneSet(inside)); }).find("with a bad"), std::string::npos)
            << inside;
}

TEST(DashManifest, RefusesWhatIsNone) {
    EXPECT_EQ(errorOf([] { parse("<MPD>"); }), "http://h/m.mpd: not a well-formed XML document");
    EXPECT_EQ(errorOf([] { parse(""); }), "http://h/m.mpd: not a well-formed XML document");
    EXPECT_EQ(errorOf([] { parse("<html/>"); }), "http://h/m.mpd: not an MPD: \"html\"");
    EXPECT_EQ(errorOf([] { parse("<MPD/>"); }), "http://h/m.mpd: an MPD without a Period");
    EXPECT_EQ(errorOf([] { parse("<MPD><Period start='PT5S'/><Period start='PT1S'/></MPD>"); }),
              "http://h/m.mpd: Periods that are not in order");
}

} // namespace
