// Each rule about the text, the tags and the attributes of playlists has a fault that it alone
// tells of.
#include "HlsFault.h"

#include <hastool/check/PlaylistLines.h>

namespace {

using namespace hlsfault;
using hastool::CheckedPlaylist;
using hastool::Evidence;
using hastool::Severity;

class HlsSyntaxFault : public testing::TestWithParam<Fault> {};

TEST_P(HlsSyntaxFault, IsFoundAlone) {
    expectAlone(GetParam());
}

const Fault kFaults[] = {
    {"hls-header", "CommentBeforeTheHeader",
     [](CheckedFolder& it) { it.replace(kIndex, "#EXTM3U", "# made by hand\n#EXTM3U"); }},
    {"hls-header", "OtherText", [](CheckedFolder& it) { it.file(kIndex) = "not here\n"; }},
    {"hls-header", "EmptyPlaylist", [](CheckedFolder& it) { it.file(kIndex) = "\n"; }},
    {"hls-byte-order-mark", "ByteOrderMark",
     [](CheckedFolder& it) { it.replace(kIndex, "#EXTM3U", "\xEF\xBB\xBF#EXTM3U"); }},
    {"hls-encoding", "Latin1Title",
     [](CheckedFolder& it) { it.replace(kIndex, "2.000000,", "2.000000,caf\xE9"); }},
    {"hls-control-characters", "ControlCharacter",
     [](CheckedFolder& it) { it.replace(kIndex, "#EXT-X-ENDLIST", "# \x01\n#EXT-X-ENDLIST"); }},
    {"hls-spaces", "SpaceBehindAComma",
     [](CheckedFolder& it) { it.replace(kMaster, ",RESOLUTION", ", RESOLUTION"); }},
    {"hls-spaces", "SpaceBehindAColon",
     [](CheckedFolder& it) { it.replace(kIndex, "SEQUENCE:1", "SEQUENCE: 1"); }},
    {"hls-spaces", "SpaceBehindALine",
     [](CheckedFolder& it) { it.replace(kIndex, "#EXT-X-ENDLIST", "#EXT-X-ENDLIST "); }},
    {"hls-uri-characters", "SpaceInAUri",
     [](CheckedFolder& it) { it.replace(kIndex, "\n7.ts", "\nseven 7.ts"); }},
    {"hls-stray-uri", "UriWithoutADuration",
     [](CheckedFolder& it) { it.replace(kIndex, "#EXT-X-ENDLIST", "22.ts\n#EXT-X-ENDLIST"); }},
    {"hls-missing-uri", "DurationWithoutAUri",
     [](CheckedFolder& it) {
         it.replace(kIndex, "#EXT-X-ENDLIST", "#EXTINF:2.0,\n#EXT-X-ENDLIST");
     }},
    {"hls-missing-uri", "VariantWithoutAUri",
     [](CheckedFolder& it) { it.replace(kMaster, "4/index.m3u8\n", ""); }},
    {"hls-nothing-to-play", "EndWithoutASegment",
     [](CheckedFolder& it) {
         std::string& text = it.file(kIndex);
         text.erase(text.find("#EXTINF"));
         text += "#EXT-X-ENDLIST\n";
     }},
    {"hls-nothing-to-play", "MasterWithoutAVariant",
     [](CheckedFolder& it) {
         it.file(kMaster) = "#EXTM3U\n#EXT-X-SESSION-DATA:DATA-ID=\"a\",VALUE=\"b\"\n";
     }},
    {"hls-mistyped-tag", "LetterMissing",
     [](CheckedFolder& it) { addToHead(it, kIndex, "#EXT-X-INDEPENDENT-SEGMENT\n"); }},
    {"hls-mistyped-tag", "LowerCase",
     [](CheckedFolder& it) { addToHead(it, kIndex, "#EXT-X-Start:TIME-OFFSET=1\n"); }},
    {"hls-unknown-tag", "TagOfAnotherPlayer",
     [](CheckedFolder& it) { addToHead(it, kIndex, "#EXT-X-COLOUR:RED\n"); }},
    {"hls-tag-value", "SequenceInWords",
     [](CheckedFolder& it) { addToHead(it, kIndex, "#EXT-X-DISCONTINUITY-SEQUENCE:one\n"); }},
    {"hls-tag-value", "DurationWithASign",
     [](CheckedFolder& it) { it.replace(kIndex, "#EXTINF:2.000000", "#EXTINF:-1"); }},
    {"hls-tag-value", "DateInWords",
     [](CheckedFolder& it) { addToHead(it, kIndex, "#EXT-X-PROGRAM-DATE-TIME:today\n"); }},
    {"hls-tag-value", "FractionOfATarget",
     [](CheckedFolder& it) { replaceInAll(it, "DURATION:2", "DURATION:2.5"); }},
    {"hls-attribute-list", "QuotationWithoutAnEnd",
     [](CheckedFolder& it) { it.replace(kMaster, "mp4a.40.2\"\n0", "mp4a.40.2\n0"); }},
    {"hls-attribute-twice", "BandwidthTwice",
     [](CheckedFolder& it) { it.replace(kMaster, "INF:", "INF:BANDWIDTH=177472,"); }},
    {"hls-attribute-name", "LowerCaseName",
     [](CheckedFolder& it) { it.replace(kMaster, "INF:", "INF:bitrate=1,"); }},
    {"hls-attribute-name", "CommaAtTheEnd",
     [](CheckedFolder& it) { it.replace(kMaster, "mp4a.40.2\"\n", "mp4a.40.2\",\n"); }},
    {"hls-attribute-type", "QuotedResolution",
     [](CheckedFolder& it) { it.replace(kMaster, "=160x90", "=\"160x90\""); }},
    {"hls-attribute-type", "UnquotedUri",
     [](CheckedFolder& it) {
         it.replace(kMaster, "#EXT-X-STREAM",
                    "#EXT-X-SESSION-DATA:DATA-ID=\"a\",URI=a.json\n#EXT-X-STREAM");
     }},
    {"hls-attribute-word", "UnknownProtection",
     [](CheckedFolder& it) { it.replace(kMaster, "INF:", "INF:HDCP-LEVEL=TYPE-9,"); }},
    {"hls-attribute-missing", "NoBandwidth",
     [](CheckedFolder& it) { it.replace(kMaster, "BANDWIDTH=177472,", ""); }},
    {"hls-attribute-missing", "MapWithoutAUri",
     [](CheckedFolder& it) { addToHead(it, kIndex, "#EXT-X-MAP:BYTERANGE=\"1@0\"\n", 6); }},
    {"hls-tag-twice", "VersionTwice",
     [](CheckedFolder& it) { addToHead(it, kIndex, "#EXT-X-VERSION:3\n"); }},
    {"hls-mixed-tags", "SessionDataInAMediaPlaylist",
     [](CheckedFolder& it) {
         addToHead(it, kIndex, "#EXT-X-SESSION-DATA:DATA-ID=\"a\",VALUE=\"b\"\n");
     }},
    {"hls-mixed-tags", "TargetDurationInAMasterPlaylist",
     [](CheckedFolder& it) { addToHead(it, kMaster, "#EXT-X-TARGETDURATION:2\n"); }},
    {"hls-obsolete", "ProgramId",
     [](CheckedFolder& it) {
         addToHead(it, kMaster, "", 6);
         it.replace(kMaster, "INF:", "INF:PROGRAM-ID=1,");
     }},
};

INSTANTIATE_TEST_SUITE_P(Check, HlsSyntaxFault, testing::ValuesIn(kFaults), nameOf);

TEST(HlsSyntaxRules, AreSilentOnWhatIsAllowed) {
    expectSilent([](CheckedFolder& it) {
        it.replaceAll(kIndex, "\n", "\r\n");
        it.replace(kIndex, "2.000000,", "2.000000,a title, with \"signs\" \xC3\xA9 ");
        it.replace(kIndex, "2.000000,\r", "2.000000,\t\r");
    });
    expectSilent([](CheckedFolder& it) {
        addToHead(it, kIndex,
                  "\n# a comment  \n#EXT-X-CUE-OUT:30\n#EXT-X-CUE-IN\n"
                  "#EXT-X-INDEPENDENT-SEGMENTS\n");
        it.replace(kMaster, "INF:", "INF:X-COM-EXAMPLE=\"any, thing\",NAME=low,");
    });
}

TEST(HlsSyntaxRules, LeaveWebPagesToTheRulesOfDelivery) {
    CheckedFolder folder("hls");
    folder.file(kIndex) = "<!DOCTYPE html><html>Not here</html>\n";
    const auto codes = codesOf(folder.check(kMaster, manifestOnly()));
    EXPECT_EQ(codes.count("hls-header"), 0u);
    EXPECT_FALSE(codes.empty());
}

TEST(HlsSyntaxRules, TellOfALineOnceWhileAPlaylistIsLive) {
    Evidence evidence;
    evidence.renditions.emplace_back();
    for (int i = 0; i < 3; ++i) {
        CheckedPlaylist state;
        state.answer.ok = true;
        state.answer.finalUrl = "http://media.test/live.m3u8?token=secret";
        state.text =
            "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:" + std::to_string(i) +
            "\n#EXT-X-COLOUR:RED\n#EXTINF:2,\na.ts\n";
        evidence.renditions[0].playlists.push_back(state);
    }
    hastool::readPlaylistLines(evidence);
    const hastool::Findings findings = hastool::judge(evidence);
    ASSERT_EQ(findings.count(Severity::Note), 1u) << linesOf(findings);
    EXPECT_NE(linesOf(findings).find("http://media.test/live.m3u8?...:4"), std::string::npos);
    EXPECT_EQ(linesOf(findings).find("secret"), std::string::npos);
}

} // namespace
