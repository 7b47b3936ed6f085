#include <hastool/media/CueJoiner.h>
#include <hastool/media/WebVtt.h>

#include <gtest/gtest.h>

using hastool::CueJoiner;
using hastool::CuePlace;
using hastool::parseWebVtt;
using hastool::VttDocument;

namespace {

constexpr int64_t kSecond = hastool::kCueClock;

VttDocument parsed(const std::string& text) {
    const auto document = parseWebVtt(text);
    EXPECT_TRUE(document) << text;
    return document.value_or(VttDocument());
}

std::string joined(const std::vector<std::pair<std::string, CuePlace>>& segments,
                   int64_t clockStart = 0) {
    CueJoiner joiner;
    for (const auto& [text, place] : segments)
        joiner.add(parsed(text), place);
    return joiner.text(
        [&](size_t stretch) { return clockStart - static_cast<int64_t>(stretch) * 10 * kSecond; });
}

CuePlace clockPlace(int64_t offset = 0, size_t stretch = 0) {
    return {true, stretch, offset, false};
}

} // namespace

TEST(WebVtt, ReadsCuesWithIdsAndSettings) {
    const VttDocument document =
        parsed("\xEF\xBB\xBFWEBVTT a title\r\nX: y\r\n\r\nNOTE\r\nnothing\r\n\r\n"
               "STYLE\r\n::cue { color: red }\r\n\r\nREGION\r\nid:r\r\n\r\n"
               "one\r\n00:01.500 --> 00:02.000 line:0 align:left\r\n<b>a</b>\r\nb\r\n\r\n"
               "100:00:00.000 --> 100:00:01.000\r\n");
    ASSERT_EQ(document.cues.size(), 2U);
    EXPECT_EQ(document.cues[0].id, "one");
    EXPECT_EQ(document.cues[0].start, kSecond * 3 / 2);
    EXPECT_EQ(document.cues[0].end, kSecond * 2);
    EXPECT_EQ(document.cues[0].settings, "line:0 align:left");
    EXPECT_EQ(document.cues[0].text, "<b>a</b>\nb");
    EXPECT_EQ(document.cues[1].start, kSecond * 360000);
    EXPECT_EQ(document.blocks,
              (std::vector<std::string>{"STYLE\n::cue { color: red }", "REGION\nid:r"}));
}

TEST(WebVtt, IsNothingElse) {
    for (const char* const text :
         {"", "WEBVTTx\n", "<html>", "webvtt\n", "\n\nWEBVTT\n", "#EXTM3U\n"})
        EXPECT_FALSE(parseWebVtt(text)) << text;
    EXPECT_TRUE(parseWebVtt("WEBVTT"));
}

TEST(WebVtt, DropsCuesThatCannotBeUsed) {
    const VttDocument document =
        parsed("WEBVTT\n\n00:02.000 --> 00:01.000\nback\n\n00:xx.000 --> 00:01.000\nx\n\n"
               "00:60.000 --> 01:61.000\nx\n\n99999999:00:00.000 --> 99999999:00:01.000\nx\n\n"
               "00:01.000 --> 00:02.000\n" +
               std::string(hastool::kMaxCueBytes + 1, 'x') + "\n\n00:01.000 --> 00:02.000\ngood\n");
    ASSERT_EQ(document.cues.size(), 1U);
    EXPECT_EQ(document.cues[0].text, "good");
    EXPECT_EQ(document.dropped, 5U);
}

TEST(WebVtt, ATimeEndsTheTextOfTheCueBefore) {
    const VttDocument document =
        parsed("WEBVTT\n00:01.000 --> 00:02.000\na\n00:03.000 --> 00:04.000\nb\n");
    ASSERT_EQ(document.cues.size(), 2U);
    EXPECT_EQ(document.cues[0].text, "a");
}

TEST(WebVtt, ReadsTheMapToTheMediasClock) {
    EXPECT_EQ(parsed("WEBVTT\nX-TIMESTAMP-MAP=LOCAL:00:00:01.000,MPEGTS:900000\n").clockOffset,
              9 * kSecond);
    EXPECT_EQ(parsed("WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:900000, LOCAL:00:00.000\n").clockOffset,
              10 * kSecond);
    EXPECT_EQ(parsed("WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:x,LOCAL:00:00.000\n").clockOffset, 0);
    EXPECT_EQ(
        parsed("WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:18446744073709551615,LOCAL:00:00.000\n").clockOffset,
        (int64_t{1} << 33) - 1);
}

TEST(WebVtt, MakesTextsFromElsewhereSafe) {
    const hastool::VttCue cue =
        hastool::cleanCue({0, 1, "a\r\n\r\nb", "x --> y", "one\n\n00:00 --> two\r\rthree"});
    EXPECT_EQ(cue.id, "a b");
    EXPECT_EQ(cue.settings, "x --&gt; y");
    EXPECT_EQ(cue.text, "one\n00:00 --&gt; two\nthree");
}

TEST(CueJoiner, WritesOneFileInTheTimesOfTheMedia) {
    const std::string first = "WEBVTT\n\nSTYLE\na\n\n7\n00:12.000 --> 00:14.500 line:0\nx\n";
    const std::string second = "WEBVTT\n\nSTYLE\na\n\n7\n00:14.500 --> 00:15.000\ny\n";
    EXPECT_EQ(joined({{second, clockPlace()}, {first, clockPlace()}}, 10 * kSecond),
              "WEBVTT\n\nSTYLE\na\n\n7\n00:00:02.000 --> 00:00:04.500 line:0\nx\n\n"
              "00:00:04.500 --> 00:00:05.000\ny\n");
}

TEST(CueJoiner, WritesOnceWhatAdjacentSegmentsRepeat) {
    const std::string cue = "WEBVTT\n\n00:01.000 --> 00:05.000\nx\n";
    const std::string other = "WEBVTT\n\n00:01.000 --> 00:05.000 line:0\nx\n";
    const std::string text =
        joined({{cue, clockPlace()}, {cue, clockPlace(45)}, {other, clockPlace()}});
    EXPECT_EQ(parsed(text).cues.size(), 2U) << text;
}

TEST(CueJoiner, MendsCuesThatWereCutUp) {
    const CuePlace cut{false, 0, 0, true};
    const std::string text = joined({{"WEBVTT\n\n00:01.000 --> 00:02.000\nx\n", cut},
                                     {"WEBVTT\n\n00:02.000 --> 00:03.000\nx\n", cut},
                                     {"WEBVTT\n\n00:04.000 --> 00:05.000\nx\n", cut}});
    EXPECT_EQ(text, "WEBVTT\n\n00:00:01.000 --> 00:00:03.000\nx\n\n"
                    "00:00:04.000 --> 00:00:05.000\nx\n");
}

TEST(CueJoiner, FollowsTheClockOverItsWrapAndBreaks) {
    const std::string cue = "WEBVTT\n\n00:01.000 --> 00:02.000\nx\n";
    const int64_t wrap = int64_t{1} << 33;
    EXPECT_EQ(joined({{cue, clockPlace()}}, wrap - kSecond),
              "WEBVTT\n\n00:00:02.000 --> 00:00:03.000\nx\n");
    EXPECT_EQ(joined({{cue, clockPlace(wrap + kSecond)}}, 0),
              "WEBVTT\n\n00:00:02.000 --> 00:00:03.000\nx\n");
    EXPECT_EQ(joined({{cue, clockPlace(0, 2)}}, 0), "WEBVTT\n\n00:00:21.000 --> 00:00:22.000\nx\n");
}

TEST(CueJoiner, LeavesOutWhatLiesBeforeTheMedia) {
    const std::string cue = "WEBVTT\n\n00:01.000 --> 00:03.000\nx\n\n00:00.000 --> 00:01.000\ny\n";
    EXPECT_EQ(joined({{cue, clockPlace()}}, 2 * kSecond),
              "WEBVTT\n\n00:00:00.000 --> 00:00:01.000\nx\n");
}

TEST(CueJoiner, KeepsWithinItsBounds) {
    VttDocument document;
    hastool::VttCue cue;
    cue.end = 90000;
    cue.text = std::string(hastool::kMaxCueBytes, 'x');
    document.cues.assign(CueJoiner::kMaxBytes / hastool::kMaxCueBytes + 3, cue);
    CueJoiner joiner;
    joiner.add(document, {});
    EXPECT_EQ(joiner.leftOut(), 3U);
}
