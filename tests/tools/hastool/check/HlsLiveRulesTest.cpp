// Each rule about live playlists has a series of states that it alone tells of.
#include <hastool/check/PlaylistLines.h>

#include "CheckedFolder.h"

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using hastool::CheckedPlaylist;
using hastool::Evidence;
using Codes = std::set<std::string>;

constexpr char kUrl[] = "http://media.test/live.m3u8";
constexpr double kTarget = 2;

/// A playlist at one time.
struct Shape {
    double time = 0;
    int first = 0; ///< the media sequence number
    int count = 5; ///< of segments
    std::string head;
    std::string tail;
    int offset = 0;          ///< of the files' numbers to the media sequence numbers
    std::vector<int> breaks; ///< segments that begin with a discontinuity
    std::string target = "2";
    std::string duration = "2.0";
};

std::string textOf(const Shape& shape) {
    std::string text = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:" + shape.target +
                       "\n#EXT-X-MEDIA-SEQUENCE:" + std::to_string(shape.first) + "\n" + shape.head;
    for (int i = shape.first; i < shape.first + shape.count; ++i) {
        for (const int it : shape.breaks)
            text += it == i ? "#EXT-X-DISCONTINUITY\n" : "";
        text += "#EXTINF:" + shape.duration + ",\n" + std::to_string(i + shape.offset) + ".ts\n";
    }
    return text + shape.tail;
}

Evidence evidenceOf(const std::vector<Shape>& shapes) {
    Evidence evidence;
    evidence.isLive = true;
    hastool::CheckedRendition rendition;
    rendition.name = "the playlist";
    rendition.url = kUrl;
    rendition.kind = hastool::CheckedRendition::Kind::Video;
    for (const Shape& shape : shapes) {
        CheckedPlaylist state;
        state.answer.ok = true;
        state.answer.finalUrl = kUrl;
        state.answer.begun = shape.time;
        state.text = textOf(shape);
        state.playlist = hastool::parseHlsPlaylist(state.text, kUrl);
        rendition.playlists.push_back(std::move(state));
    }
    evidence.renditions.push_back(std::move(rendition));
    hastool::readPlaylistLines(evidence);
    return evidence;
}

/// The codes of rules about playlists that the states give.
Codes codesFor(const std::vector<Shape>& shapes) {
    Codes codes;
    for (const std::string& code :
         codesOf(hastool::judge(evidenceOf(shapes)), hastool::Severity::Note)) {
        if (code.compare(0, 4, "hls-") == 0)
            codes.insert(code);
    }
    return codes;
}

Shape at(double time, int first) {
    Shape shape;
    shape.time = time;
    shape.first = first;
    return shape;
}

/// A series of states with one changed.
Codes codesWith(size_t index, const std::function<void(Shape&)>& change) {
    std::vector<Shape> shapes = {at(0, 10), at(2, 11), at(4, 12), at(6, 13)};
    change(shapes[index]);
    return codesFor(shapes);
}

TEST(HlsLiveRules, AreSilentOnAPlaylistThatMovesOn) {
    EXPECT_EQ(codesWith(0, [](Shape&) {}), Codes());
    EXPECT_EQ(codesFor({at(0, 10), at(1, 10), at(2, 11), at(3, 11), at(6, 13), at(40, 30)}),
              Codes());
}

TEST(HlsLiveRules, TellOfASequenceThatGoesBack) {
    EXPECT_EQ(codesWith(2, [](Shape& it) { it.first = 9; }), Codes{"hls-live-sequence-back"});
}

TEST(HlsLiveRules, TellOfSegmentsThatAreNotCounted) {
    std::vector<Shape> shapes = {at(0, 10), at(2, 10), at(4, 11)};
    shapes[1].offset = shapes[2].offset = 1;
    EXPECT_EQ(codesFor(shapes), Codes{"hls-live-sequence-uncounted"});
}

TEST(HlsLiveRules, TellOfSegmentsThatChange) {
    const Codes codes = {"hls-live-segment-changed"};
    EXPECT_EQ(codesFor({at(0, 10),
                        [] {
                            Shape shape = at(2, 11);
                            shape.offset = 100;
                            return shape;
                        }()}),
              codes);
    EXPECT_EQ(codesWith(3, [](Shape& it) { it.duration = "1.9"; }), codes);
    EXPECT_EQ(codesWith(3, [](Shape& it) { it.breaks = {15}; }), codes);
    EXPECT_EQ(
        codesWith(3, [](Shape& it) { it.head = "#EXT-X-KEY:METHOD=AES-128,URI=\"a.key\"\n"; }),
        codes);
}

TEST(HlsLiveRules, TellOfSegmentsThatVanish) {
    EXPECT_EQ(codesFor({at(0, 10),
                        [] {
                            Shape shape = at(1, 10);
                            shape.count = 4;
                            return shape;
                        }()}),
              Codes{"hls-live-segments-vanished"});
}

TEST(HlsLiveRules, TellOfAnEventThatLosesItsBegin) {
    const std::string event = "#EXT-X-PLAYLIST-TYPE:EVENT\n";
    std::vector<Shape> shapes = {at(0, 10), at(2, 11)};
    shapes[0].head = shapes[1].head = event;
    EXPECT_EQ(codesFor(shapes), Codes{"hls-event-shrunk"});
    shapes[1] = shapes[0];
    shapes[1].time = 2;
    ++shapes[1].count;
    EXPECT_EQ(codesFor(shapes), Codes());
}

TEST(HlsLiveRules, TellOfAPlaylistThatIsTooShort) {
    std::vector<Shape> shapes = {at(0, 10), at(2, 11)};
    shapes[0].count = shapes[1].count = 2;
    EXPECT_EQ(codesFor(shapes), Codes{"hls-live-too-short"});
    shapes[0].count = shapes[1].count = 3;
    EXPECT_EQ(codesFor(shapes), Codes());
}

TEST(HlsLiveRules, AreSilentOnAShortPlaylistThatGrows) {
    std::vector<Shape> shapes = {at(0, 10), at(2, 10)};
    shapes[0].count = 1;
    shapes[1].count = 2;
    EXPECT_EQ(codesFor(shapes), Codes());
}

TEST(HlsLiveRules, TellOfSegmentsThatCouldNotBeSeen) {
    EXPECT_EQ(codesFor({at(0, 10), at(2, 17)}), Codes{"hls-live-segments-missed"});
    EXPECT_EQ(codesFor({at(0, 10), at(2, 15)}), Codes());
}

TEST(HlsLiveRules, TellOfADiscontinuityThatIsNotCounted) {
    std::vector<Shape> shapes = {at(0, 10), at(2, 11), at(4, 12)};
    for (Shape& it : shapes)
        it.breaks = {11};
    EXPECT_EQ(codesFor(shapes), Codes{"hls-live-discontinuity-sequence"});
    shapes[2].head = "#EXT-X-DISCONTINUITY-SEQUENCE:1\n";
    EXPECT_EQ(codesFor(shapes), Codes());
    shapes[1].breaks.clear(); // counted as soon as it is the first
    shapes[1].head = shapes[2].head;
    EXPECT_EQ(codesFor(shapes), Codes());
}

TEST(HlsLiveRules, TellOfATargetDurationThatChanges) {
    EXPECT_EQ(codesWith(3, [](Shape& it) { it.target = "3"; }), Codes{"hls-live-target-changed"});
}

TEST(HlsLiveRules, TellOfAnEndThatIsTakenBack) {
    EXPECT_EQ(codesWith(2, [](Shape& it) { it.tail = "#EXT-X-ENDLIST\n"; }),
              Codes{"hls-live-reopened"});
    EXPECT_EQ(codesWith(3, [](Shape& it) { it.tail = "#EXT-X-ENDLIST\n"; }), Codes());
}

TEST(HlsLiveRules, TellOfAPlaylistThatDoesNotMoveOn) {
    EXPECT_EQ(codesFor({at(0, 10), at(1.5 * kTarget, 10), at(4, 11)}), Codes());
    EXPECT_EQ(codesFor({at(0, 10), at(1.5 * kTarget + 0.1, 10), at(4, 11)}),
              Codes{"hls-live-late"});
    EXPECT_EQ(codesFor({at(0, 10), at(3 * kTarget, 10)}), Codes{"hls-live-late"});
    EXPECT_EQ(codesFor({at(0, 10), at(3 * kTarget + 0.1, 10)}), Codes{"hls-live-stalled"});
}

TEST(HlsLiveRules, DoNotBlameTheServerForASlowLine) {
    Evidence evidence = evidenceOf({at(0, 10), at(7, 10), at(8, 11)});
    evidence.renditions[0].playlists[0].answer.seconds = 5; // it may have been new all the time
    for (const std::string& code : codesOf(hastool::judge(evidence)))
        EXPECT_NE(code.compare(0, 9, "hls-live-"), 0) << code;
}

TEST(HlsLiveRules, TakeNumbersAtTheEndOfAllNumbers) {
    Evidence evidence = evidenceOf({at(0, 10), at(2, 11), at(4, 12)});
    auto& states = evidence.renditions[0].playlists;
    states[0].playlist.mediaSequence = UINT64_MAX - 2;
    states[1].playlist.mediaSequence = UINT64_MAX;
    states[2].playlist.mediaSequence = 0;
    EXPECT_TRUE(codesOf(hastool::judge(evidence)).count("hls-live-sequence-back"));
}

TEST(HlsLiveRules, LookAtTheStatesThatWereLoaded) {
    CheckedFolder folder;
    folder.onFetch([&](const std::string& path, double time) {
        Shape shape = at(time, static_cast<int>(time / kTarget));
        if (time > 5)
            shape.first = 0;
        if (path == "live.m3u8")
            folder.file(path) = textOf(shape);
    });
    hastool::CheckOptions options;
    options.manifestOnly = true;
    options.liveSeconds = 7;
    const hastool::Findings findings = folder.check("live.m3u8", options);
    EXPECT_EQ(codesOf(findings).count("hls-live-sequence-back"), 1u) << linesOf(findings);
}

} // namespace
