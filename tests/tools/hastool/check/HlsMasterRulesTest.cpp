// Each rule about variants, renditions and their playlists has a fault that it alone tells of.
#include "HlsFault.h"

#include <hastool/check/PlaylistLines.h>

namespace {

using namespace hlsfault;
using hastool::CheckedPlaylist;
using hastool::Evidence;

const std::string kEnglish = "NAME=\"English\",LANGUAGE=\"en\",DEFAULT=YES,AUTOSELECT=YES\n";
const std::string kFrench = "NAME=\"French\",LANGUAGE=\"fr\",AUTOSELECT=YES\n";

std::string media(const std::string& type, const std::string& group, const std::string& rest) {
    return "#EXT-X-MEDIA:TYPE=" + type + ",GROUP-ID=\"" + group + "\"," + rest;
}

/// Lists renditions and lets all variants name groups.
void addGroups(CheckedFolder& folder, const std::string& lines, const std::string& attributes) {
    addToHead(folder, kMaster, lines);
    folder.replaceAll(kMaster, "STREAM-INF:", "STREAM-INF:" + attributes);
}

class HlsMasterFault : public testing::TestWithParam<Fault> {};

TEST_P(HlsMasterFault, IsFoundAlone) {
    expectAlone(GetParam());
}

const Fault kFaults[] = {
    {"hls-codecs-missing", "NoCodecs",
     [](CheckedFolder& it) { it.replace(kMaster, ",CODECS=\"avc1.4D401F,mp4a.40.2\"", ""); }},
    {"hls-resolution-missing", "NoResolution",
     [](CheckedFolder& it) { it.replace(kMaster, ",RESOLUTION=160x90", ""); }},
    {"hls-frame-rate-missing", "OneFrameRate",
     [](CheckedFolder& it) { it.replace(kMaster, "INF:", "INF:FRAME-RATE=25,"); }},
    {"hls-average-bandwidth", "AverageAboveThePeak",
     [](CheckedFolder& it) { it.replace(kMaster, "INF:", "INF:AVERAGE-BANDWIDTH=177473,"); }},
    {"hls-variant-twice", "SamePlaylistTwice",
     [](CheckedFolder& it) {
         it.file(kMaster) +=
             "#EXT-X-STREAM-INF:BANDWIDTH=177472,RESOLUTION=160x90,CODECS=\"avc1.4D401F,"
             "mp4a.40.2\"\n0/index.m3u8\n";
     }},
    {"hls-captions-none", "NoCaptionsInOneVariant",
     [](CheckedFolder& it) { it.replace(kMaster, "INF:", "INF:CLOSED-CAPTIONS=NONE,"); }},
    {"hls-session-data", "DataWithoutAValue",
     [](CheckedFolder& it) { addToHead(it, kMaster, "#EXT-X-SESSION-DATA:DATA-ID=\"a\"\n"); }},
    {"hls-session-data", "DataTwice",
     [](CheckedFolder& it) {
         addToHead(it, kMaster,
                   "#EXT-X-SESSION-DATA:DATA-ID=\"a\",VALUE=\"1\"\n"
                   "#EXT-X-SESSION-DATA:DATA-ID=\"a\",VALUE=\"2\"\n");
     }},
    {"hls-session-key-twice", "SessionKeyTwice",
     [](CheckedFolder& it) {
         const std::string key = "#EXT-X-SESSION-KEY:METHOD=AES-128,URI=\"a.key\"\n";
         addToHead(it, kMaster, key + key);
     }},
    {"hls-group-missing", "MisspeltGroup",
     [](CheckedFolder& it) {
         addGroups(it, media("AUDIO", "aac", kEnglish), "AUDIO=\"aac\",");
         it.replace(kMaster, "AUDIO=\"aac\",", "AUDIO=\"acc\",");
     }},
    {"hls-group-unused", "UnusedGroup",
     [](CheckedFolder& it) { addToHead(it, kMaster, media("AUDIO", "aac", kEnglish)); }},
    {"hls-group-names", "SameNameTwice",
     [](CheckedFolder& it) {
         addGroups(it,
                   media("AUDIO", "aac", kEnglish) +
                       media("AUDIO", "aac", "NAME=\"English\",LANGUAGE=\"en\"\n"),
                   "AUDIO=\"aac\",");
     }},
    {"hls-group-defaults", "TwoDefaults",
     [](CheckedFolder& it) {
         addGroups(it,
                   media("AUDIO", "aac", kEnglish) +
                       media("AUDIO", "aac", "NAME=\"French\",LANGUAGE=\"fr\",DEFAULT=YES\n"),
                   "AUDIO=\"aac\",");
     }},
    {"hls-language-missing", "NoLanguage",
     [](CheckedFolder& it) {
         addGroups(it, media("AUDIO", "aac", kEnglish) + media("AUDIO", "aac", "NAME=\"Other\"\n"),
                   "AUDIO=\"aac\",");
     }},
    {"hls-groups-differ", "MemberMissing",
     [](CheckedFolder& it) {
         addGroups(it,
                   media("AUDIO", "aac", kEnglish) + media("AUDIO", "aac", kFrench) +
                       media("AUDIO", "ac3", kEnglish),
                   "AUDIO=\"aac\",");
         it.replace(kMaster, "AUDIO=\"aac\",BAND", "AUDIO=\"ac3\",BAND");
     }},
    {"hls-groups-differ", "OtherLanguage",
     [](CheckedFolder& it) {
         addGroups(it,
                   media("AUDIO", "aac", kFrench) +
                       media("AUDIO", "ac3", "NAME=\"French\",LANGUAGE=\"de\",AUTOSELECT=YES\n"),
                   "AUDIO=\"aac\",");
         it.replace(kMaster, "AUDIO=\"aac\",BAND", "AUDIO=\"ac3\",BAND");
     }},
    {"hls-default-autoselect", "DefaultThatIsNotSelected",
     [](CheckedFolder& it) {
         addGroups(it, media("AUDIO", "aac", "NAME=\"English\",DEFAULT=YES,AUTOSELECT=NO\n"),
                   "AUDIO=\"aac\",");
     }},
    {"hls-subtitles-uri", "SubtitlesWithoutAUri",
     [](CheckedFolder& it) {
         addGroups(it, media("SUBTITLES", "subs", kEnglish), "SUBTITLES=\"subs\",");
     }},
    {"hls-captions-uri", "CaptionsWithAUri",
     [](CheckedFolder& it) {
         addGroups(
             it,
             media("CLOSED-CAPTIONS", "cc", "NAME=\"CC\",INSTREAM-ID=\"CC1\",URI=\"cc.m3u8\"\n"),
             "CLOSED-CAPTIONS=\"cc\",");
     }},
    {"hls-instream-id", "CaptionsWithoutAPlace",
     [](CheckedFolder& it) {
         addGroups(it, media("CLOSED-CAPTIONS", "cc", "NAME=\"CC\"\n"), "CLOSED-CAPTIONS=\"cc\",");
     }},
    {"hls-instream-id", "CaptionsInAnUnknownPlace",
     [](CheckedFolder& it) {
         addGroups(it, media("CLOSED-CAPTIONS", "cc", "NAME=\"CC\",INSTREAM-ID=\"CC5\"\n"),
                   "CLOSED-CAPTIONS=\"cc\",");
     }},
    {"hls-forced", "ForcedAudio",
     [](CheckedFolder& it) {
         addGroups(it, media("AUDIO", "aac", "NAME=\"English\",FORCED=NO\n"), "AUDIO=\"aac\",");
     }},
    {"hls-version-low", "CaptionServiceOfVersion3",
     [](CheckedFolder& it) {
         addGroups(it, media("CLOSED-CAPTIONS", "cc", "NAME=\"CC\",INSTREAM-ID=\"SERVICE1\"\n"),
                   "CLOSED-CAPTIONS=\"cc\",");
     }},
    {"hls-target-durations-differ", "OtherTargetDuration",
     [](CheckedFolder& it) { it.replace(kIndex, "TARGETDURATION:2", "TARGETDURATION:3"); }},
    {"hls-lengths-differ", "ShortLastSegment",
     [](CheckedFolder& it) { it.replace(kIndex, "2.000000,\n21.ts", "0.900000,\n21.ts"); }},
    {"hls-playlist-types-differ", "OtherType",
     [](CheckedFolder& it) { it.replace("3/index.m3u8", "TYPE:VOD", "TYPE:EVENT"); }},
    {"hls-ends-differ", "EndInOneAlone",
     [](CheckedFolder& it) {
         for (const std::string& path : it.paths("", "index.m3u8"))
             it.replace(path, "#EXT-X-PLAYLIST-TYPE:VOD\n", "");
         it.replace("3/index.m3u8", "#EXT-X-ENDLIST\n", "");
     }},
};

INSTANTIATE_TEST_SUITE_P(Check, HlsMasterFault, testing::ValuesIn(kFaults), nameOf);

TEST(HlsMasterRules, AreSilentOnGroups) {
    expectSilent([](CheckedFolder& it) {
        addGroups(it,
                  media("AUDIO", "aac", kEnglish) + media("AUDIO", "aac", kFrench) +
                      media("AUDIO", "ac3", kFrench) + media("AUDIO", "ac3", kEnglish) +
                      media("CLOSED-CAPTIONS", "cc", "NAME=\"CC\",INSTREAM-ID=\"CC1\"\n"),
                  "AUDIO=\"aac\",CLOSED-CAPTIONS=\"cc\",");
        it.replace(kMaster, "AUDIO=\"aac\",CL", "AUDIO=\"ac3\",CL");
    });
}

TEST(HlsMasterRules, AreSilentOnGroupsNamedByVariables) {
    expectSilent([](CheckedFolder& it) {
        addToHead(it, kMaster,
                  "#EXT-X-DEFINE:NAME=\"g\",VALUE=\"aac\"\n" + media("AUDIO", "{$g}", kEnglish), 8);
        it.replaceAll(kMaster, "STREAM-INF:", "STREAM-INF:AUDIO=\"aac\",");
    });
}

/// Two variants, whose playlists are given.
Evidence variants(const std::string& one, const std::string& two, double loadedAt = 0) {
    Evidence evidence;
    evidence.hasMaster = true;
    for (const std::string& text : {one, two}) {
        hastool::CheckedRendition rendition;
        rendition.kind = hastool::CheckedRendition::Kind::Video;
        rendition.name = rendition.url =
            "http://media.test/" + std::to_string(evidence.renditions.size());
        CheckedPlaylist state;
        state.answer.ok = true;
        state.answer.finalUrl = rendition.url;
        state.answer.begun = evidence.renditions.empty() ? 0 : loadedAt;
        state.text = text;
        state.playlist = hastool::parseHlsPlaylist(text, rendition.url);
        rendition.playlists.push_back(state);
        evidence.renditions.push_back(rendition);
    }
    hastool::readPlaylistLines(evidence);
    return evidence;
}

std::string live(int sequence) {
    return "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:" + std::to_string(sequence) +
           "\n#EXTINF:2,\na.ts\n#EXTINF:2,\nb.ts\n#EXTINF:2,\nc.ts\n";
}

std::set<std::string> hlsCodes(const Evidence& evidence) {
    std::set<std::string> codes;
    for (const std::string& code : codesOf(hastool::judge(evidence), hastool::Severity::Note)) {
        if (code.compare(0, 4, "hls-") == 0)
            codes.insert(code);
    }
    return codes;
}

TEST(HlsMasterRules, TellOfLiveVariantsThatNumberDifferently) {
    const std::set<std::string> codes = {"hls-sequences-differ"};
    EXPECT_EQ(hlsCodes(variants(live(10), live(14))), codes);
    EXPECT_EQ(hlsCodes(variants(live(10), live(13))), std::set<std::string>());
    EXPECT_EQ(hlsCodes(variants(live(10), live(14), 2.1)), std::set<std::string>());
}

TEST(HlsMasterRules, TellOfVariantsOfDifferentLengths) {
    const auto ended = [](const std::string& last) {
        return "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:4\n#EXTINF:4.0,\na.ts\n#EXTINF:" +
               last + ",\nb.ts\n#EXT-X-ENDLIST\n";
    };
    EXPECT_EQ(hlsCodes(variants(ended("4.0"), ended("1.9"))),
              std::set<std::string>{"hls-lengths-differ"});
    EXPECT_EQ(hlsCodes(variants(ended("4.0"), ended("2.0"))), std::set<std::string>());
}

} // namespace
