// Each rule about what single media playlists say has a fault that it alone tells of.
#include "HlsFault.h"

namespace {

using namespace hlsfault;

/// Puts lines before the segment "N.ts", below its duration.
void addTo(CheckedFolder& folder, int segment, const std::string& lines) {
    const std::string uri = std::to_string(segment) + ".ts\n";
    folder.replace(kIndex, "\n" + uri, "\n" + lines + uri);
}

const std::string kDate = "#EXT-X-PROGRAM-DATE-TIME:2024-01-01T00:00:00.000Z\n";
const std::string kRange = "#EXT-X-DATERANGE:ID=\"ad\",START-DATE=\"2024-01-01T00:00:02Z\"";

/// Date ranges in a playlist that has a date.
void addRanges(CheckedFolder& folder, const std::string& lines) {
    addToHead(folder, kIndex, lines);
    addTo(folder, 1, kDate);
}

/// Two parts of a second in the first segment, and what servers say of them.
void addParts(CheckedFolder& folder, const std::string& control,
              const std::string& inf = "#EXT-X-PART-INF:PART-TARGET=1.0\n",
              const std::string& duration = "1.0") {
    addToHead(folder, kIndex, inf + control, 6);
    addTo(folder, 1,
          "#EXT-X-PART:DURATION=1.0,URI=\"1.1.ts\",INDEPENDENT=YES\n#EXT-X-PART:DURATION=" +
              duration + ",URI=\"1.2.ts\"\n");
}

const std::string kControl = "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,PART-HOLD-BACK=3.0\n";

class HlsPlaylistFault : public testing::TestWithParam<Fault> {};

TEST_P(HlsPlaylistFault, IsFoundAlone) {
    expectAlone(GetParam());
}

const Fault kFaults[] = {
    {"hls-target-duration-missing", "NoTargetDuration",
     [](CheckedFolder& it) { it.replace(kIndex, "#EXT-X-TARGETDURATION:2\n", ""); }},
    {"hls-target-duration", "TargetDurationExceeded",
     [](CheckedFolder& it) {
         replaceInAll(it, "#EXT-X-TARGETDURATION:2", "#EXT-X-TARGETDURATION:1");
     }},
    {"hls-version-low", "FractionsOfVersion2",
     [](CheckedFolder& it) { it.replace(kIndex, "VERSION:3", "VERSION:2"); }},
    {"hls-version-low", "FractionsWithoutAVersion",
     [](CheckedFolder& it) { it.replace(kIndex, "#EXT-X-VERSION:3\n", ""); }},
    {"hls-version-low", "MapOfVersion5",
     [](CheckedFolder& it) { addToHead(it, kIndex, "#EXT-X-MAP:URI=\"init.mp4\"\n", 5); }},
    {"hls-version-low", "ByteRangeOfVersion3",
     [](CheckedFolder& it) { addTo(it, 1, "#EXT-X-BYTERANGE:100@0\n"); }},
    {"hls-version-low", "VariableOfVersion7",
     [](CheckedFolder& it) { addToHead(it, kIndex, "#EXT-X-DEFINE:NAME=\"a\",VALUE=\"b\"\n", 7); }},
    {"hls-version-low", "KeyFormatOfVersion4",
     [](CheckedFolder& it) {
         addToHead(it, kIndex,
                   "#EXT-X-KEY:METHOD=AES-128,URI=\"../a.key\",KEYFORMAT=\"identity\"\n", 4);
     }},
    {"hls-late-sequence", "DiscontinuitySequenceBehindASegment",
     [](CheckedFolder& it) { addTo(it, 2, "#EXT-X-DISCONTINUITY-SEQUENCE:0\n"); }},
    {"hls-vod-without-end", "NoEnd",
     [](CheckedFolder& it) { replaceInAll(it, "#EXT-X-ENDLIST\n", ""); }},
    {"hls-byte-range", "RangeOfAnotherFile",
     [](CheckedFolder& it) {
         addToHead(it, kIndex, "", 4);
         addTo(it, 1, "#EXT-X-BYTERANGE:100@0\n");
         addTo(it, 2, "#EXT-X-BYTERANGE:100\n");
     }},
    {"hls-key-none", "UriOfNoKey",
     [](CheckedFolder& it) { addToHead(it, kIndex, "#EXT-X-KEY:METHOD=NONE,URI=\"a.key\"\n"); }},
    {"hls-key-none", "SessionKeyOfNoKey",
     [](CheckedFolder& it) { addToHead(it, kMaster, "#EXT-X-SESSION-KEY:METHOD=NONE\n"); }},
    {"hls-key-uri", "KeyWithoutAUri",
     [](CheckedFolder& it) { addToHead(it, kIndex, "#EXT-X-KEY:METHOD=AES-128\n"); }},
    {"hls-key-method", "UnknownMethod",
     [](CheckedFolder& it) { addToHead(it, kIndex, "#EXT-X-KEY:METHOD=ROT-13,URI=\"a.key\"\n"); }},
    {"hls-key-iv", "LongVector",
     [](CheckedFolder& it) {
         addToHead(it, kIndex,
                   "#EXT-X-KEY:METHOD=AES-128,URI=\"a.key\",IV=0x" + std::string(33, '1') + "\n");
     }},
    {"hls-map-iv", "EncryptedMapWithoutAVector",
     [](CheckedFolder& it) {
         addToHead(it, kIndex,
                   "#EXT-X-KEY:METHOD=AES-128,URI=\"../a.key\"\n#EXT-X-MAP:URI=\"init.mp4\"\n", 6);
     }},
    {"hls-gap", "Gap", [](CheckedFolder& it) { addTo(it, 3, "#EXT-X-GAP\n"); }},
    {"hls-date-time", "DateThatJumps",
     [](CheckedFolder& it) {
         addTo(it, 1, kDate);
         addTo(it, 2, "#EXT-X-PROGRAM-DATE-TIME:2024-01-01T00:00:09.000Z\n");
     }},
    {"hls-date-time-zone", "DateWithoutAZone",
     [](CheckedFolder& it) { addTo(it, 1, "#EXT-X-PROGRAM-DATE-TIME:2024-01-01T00:00:00\n"); }},
    {"hls-start", "StartBehindTheEnd",
     [](CheckedFolder& it) { addToHead(it, kIndex, "#EXT-X-START:TIME-OFFSET=42.5\n"); }},
    {"hls-date-range-date", "UnreadableDate",
     [](CheckedFolder& it) { addRanges(it, "#EXT-X-DATERANGE:ID=\"ad\",START-DATE=\"noon\"\n"); }},
    {"hls-date-range-end", "EndBeforeTheStart",
     [](CheckedFolder& it) { addRanges(it, kRange + ",END-DATE=\"2024-01-01T00:00:01Z\"\n"); }},
    {"hls-date-range-end", "EndAgainstTheDuration",
     [](CheckedFolder& it) {
         addRanges(it, kRange + ",END-DATE=\"2024-01-01T00:00:12Z\",DURATION=11\n");
     }},
    {"hls-date-range-end-on-next", "EndOnNextWithoutAClass",
     [](CheckedFolder& it) { addRanges(it, kRange + ",END-ON-NEXT=YES\n"); }},
    {"hls-date-range-end-on-next", "EndOnNextWithADuration",
     [](CheckedFolder& it) {
         addRanges(it, kRange + ",CLASS=\"ads\",END-ON-NEXT=YES,DURATION=1\n");
     }},
    {"hls-date-range-twice", "TwoDurations",
     [](CheckedFolder& it) { addRanges(it, kRange + ",DURATION=1\n" + kRange + ",DURATION=2\n"); }},
    {"hls-date-range-start", "RangeWithoutAStart",
     [](CheckedFolder& it) { addRanges(it, "#EXT-X-DATERANGE:ID=\"ad\",DURATION=1\n"); }},
    {"hls-date-range-anchor", "RangesWithoutADate",
     [](CheckedFolder& it) { addToHead(it, kIndex, kRange + "\n"); }},
    {"hls-part-inf-missing", "PartsWithoutATarget",
     [](CheckedFolder& it) {
         addParts(it, "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,PART-HOLD-BACK=3.0\n", "");
     }},
    {"hls-part-target", "LongPart",
     [](CheckedFolder& it) { addParts(it, kControl, "#EXT-X-PART-INF:PART-TARGET=1.0\n", "1.1"); }},
    {"hls-parts-longer", "PartsLongerThanTheSegment",
     [](CheckedFolder& it) {
         addParts(it, "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,PART-HOLD-BACK=5.0\n",
                  "#EXT-X-PART-INF:PART-TARGET=1.5\n", "1.5");
     }},
    {"hls-hold-back", "ShortHoldBack",
     [](CheckedFolder& it) { addToHead(it, kIndex, "#EXT-X-SERVER-CONTROL:HOLD-BACK=5.9\n"); }},
    {"hls-part-hold-back-missing", "NoPartHoldBack",
     [](CheckedFolder& it) { addParts(it, "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES\n"); }},
    {"hls-part-hold-back", "PartHoldBackBelowTwoParts",
     [](CheckedFolder& it) {
         addParts(it, "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,PART-HOLD-BACK=1.9\n");
     }},
    {"hls-part-hold-back-short", "PartHoldBackBelowThreeParts",
     [](CheckedFolder& it) {
         addParts(it, "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,PART-HOLD-BACK=2.9\n");
     }},
    {"hls-skip-boundary", "ShortSkipBoundary",
     [](CheckedFolder& it) {
         addToHead(it, kIndex, "#EXT-X-SERVER-CONTROL:CAN-SKIP-UNTIL=11.9\n");
     }},
    {"hls-skip-boundary", "SkippedRangesWithoutABoundary",
     [](CheckedFolder& it) {
         addToHead(it, kIndex, "#EXT-X-SERVER-CONTROL:CAN-SKIP-DATERANGES=YES\n");
     }},
    {"hls-block-reload", "ReloadsAreNotHeld",
     [](CheckedFolder& it) {
         for (const std::string& path : it.paths("", "index.m3u8")) {
             it.replace(path, "#EXT-X-ENDLIST\n", "");
             it.replace(path, "#EXT-X-PLAYLIST-TYPE:VOD\n", "");
         }
         addParts(it, "#EXT-X-SERVER-CONTROL:PART-HOLD-BACK=3.0\n");
     }},
};

INSTANTIATE_TEST_SUITE_P(Check, HlsPlaylistFault, testing::ValuesIn(kFaults), nameOf);

TEST(HlsPlaylistRules, RoundDurationsToTheNearestSecond) {
    expectSilent([](CheckedFolder& it) { replaceInAll(it, "#EXTINF:2.000000", "#EXTINF:2.499"); });
}

TEST(HlsPlaylistRules, AreSilentOnLowLatency) {
    expectSilent([](CheckedFolder& it) {
        addParts(it, "#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,PART-HOLD-BACK=3.0,HOLD-BACK=6,"
                     "CAN-SKIP-UNTIL=12,CAN-SKIP-DATERANGES=YES\n");
    });
}

TEST(HlsPlaylistRules, AreSilentOnDatesAndRanges) {
    expectSilent([](CheckedFolder& it) {
        addRanges(it, kRange + ",DURATION=10,END-DATE=\"2024-01-01T00:00:12Z\"\n" +
                          "#EXT-X-DATERANGE:ID=\"ad\",SCTE35-IN=0xFC\n"
                          "#EXT-X-START:TIME-OFFSET=-42\n");
        addTo(it, 2, "#EXT-X-PROGRAM-DATE-TIME:2024-01-01T01:00:02.900+01:00\n");
    });
}

TEST(HlsPlaylistRules, AreSilentOnRangesKeysAndMaps) {
    expectSilent([](CheckedFolder& it) {
        addToHead(it, kIndex,
                  "#EXT-X-KEY:METHOD=AES-128,URI=\"../a.key\",IV=0x" + std::string(32, '1') +
                      "\n#EXT-X-MAP:URI=\"init.mp4\",BYTERANGE=\"100@0\"\n#EXT-X-KEY:METHOD=NONE\n",
                  7);
        addTo(it, 1, "#EXT-X-BYTERANGE:100@0\n");
        it.replace(kIndex, "\n2.ts", "\n#EXT-X-BYTERANGE:100\n1.ts");
    });
}

} // namespace
