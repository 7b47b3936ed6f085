// Plays that go wrong in part: what is told, what is kept, how they end.
#include "Hastool.h"

#include <support/FaultOrigin.h>
#include <support/TempDir.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;
using test::Child;
using test::readFile;
using test::Reply;
using test::runHastool;
using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr size_t kSegmentBytes = 20000;

/// A media playlist of segments "NAME0.ts", "NAME1.ts" ... of a second each.
std::string playlist(const std::string& name, int segments) {
    std::string text = "#EXTM3U\n#EXT-X-TARGETDURATION:1\n";
    for (int i = 0; i < segments; ++i)
        text += "#EXTINF:1,\n" + name + std::to_string(i) + ".ts\n";
    return text + "#EXT-X-ENDLIST\n";
}

class HastoolTrouble : public ::testing::Test {
protected:
    /// Serves a media playlist and its segments, all but the missing ones.
    void serve(const std::string& name, int segments, const std::vector<int>& missing = {}) {
        m_origin.on("/" + name + ".m3u8", Reply().body(playlist(name, segments)));
        for (int i = 0; i < segments; ++i) {
            const bool isMissing = std::find(missing.begin(), missing.end(), i) != missing.end();
            m_origin.on("/" + name + std::to_string(i) + ".ts",
                        isMissing ? Reply().status(410)
                                  : Reply().body(std::string(kSegmentBytes, name[0])));
        }
    }
    void serveMaster(const std::string& lines) {
        m_origin.on("/master.m3u8", Reply().body("#EXTM3U\n" + lines));
    }
    /// Two variants of 100 and 300 kbit/s.
    void serveLadder() {
        serve("low", 4);
        serve("high", 4);
        serveMaster("#EXT-X-STREAM-INF:BANDWIDTH=100000\nlow.m3u8\n"
                    "#EXT-X-STREAM-INF:BANDWIDTH=300000\nhigh.m3u8\n");
    }
    std::string master() const { return m_origin.url("/master.m3u8"); }
    std::string file(const std::string& name) const { return m_dir.file(name); }
    Child::Result play(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"play", "--fast", "-q", "--json"});
        return runHastool(arguments);
    }

    test::TempDir m_dir;
    test::FaultOrigin m_origin;
};

TEST_F(HastoolTrouble, TrackThatLosesThreeSegmentsInARowFailsThePlay) {
    serve("video", 8);
    serve("audio", 8, {2, 3, 4});
    serveMaster("#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"en\",DEFAULT=YES,"
                "URI=\"audio.m3u8\"\n"
                "#EXT-X-STREAM-INF:BANDWIDTH=100000,AUDIO=\"a\"\nvideo.m3u8\n");
    const Child::Result result = play({master()});
    EXPECT_EQ(result.status, 1) << result.out;
    EXPECT_THAT(result.err, HasSubstr("audio4.ts"));
    EXPECT_THAT(result.err, EndsWith("like the segments before it; given up\n"));
}

TEST_F(HastoolTrouble, TrackThatLosesTwoSegmentsInARowPlaysOn) {
    serve("video", 8);
    serve("audio", 8, {2, 3, 5, 6});
    serveMaster("#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"en\",DEFAULT=YES,"
                "URI=\"audio.m3u8\"\n"
                "#EXT-X-STREAM-INF:BANDWIDTH=100000,AUDIO=\"a\"\nvideo.m3u8\n");
    const Child::Result result = play({master()});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(json::parse(result.out)["skipped"], 4);
}

TEST_F(HastoolTrouble, OutputsStayAsTheyWereWhenNothingComes) {
    for (const char* name : {"film.ts", "t.csv", "t.json"})
        m_dir.write(name, "old");
    for (const char* trace : {"t.csv", "t.json"}) {
        const Child::Result result = play({"-o", file("film.ts"), "--trace", file(trace),
                                           m_origin.url("/mistyped.m3u8"), "--retries", "0"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(readFile(file(trace)), "old");
    }
    EXPECT_EQ(readFile(file("film.ts")), "old");
    EXPECT_FALSE(std::filesystem::exists(file("film.ts.part")));
}

TEST_F(HastoolTrouble, OutputsHaveWhatCameBeforeThePlayFailed) {
    serve("v", 8, {3, 4, 5});
    m_dir.write("film.ts", "old");
    const Child::Result result =
        play({"-o", file("film.ts"), "--trace", file("t.json"), m_origin.url("/v.m3u8")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(readFile(file("film.ts")), std::string(3 * kSegmentBytes, 'v'));
    EXPECT_EQ(json::parse(readFile(file("t.json"))).size(), 5U); // The last one is the failure.
}

TEST_F(HastoolTrouble, AnotherVariantIsTriedWhenTheFirstCannotBeHad) {
    serve("high", 4);
    serveMaster("#EXT-X-STREAM-INF:BANDWIDTH=100000\nlow.m3u8\n"
                "#EXT-X-STREAM-INF:BANDWIDTH=300000\nhigh.m3u8\n");
    m_origin.on("/low.m3u8", Reply().status(410));
    const Child::Result result = play({"-o", file("film.ts"), master()});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("low.m3u8"));
    EXPECT_EQ(readFile(file("film.ts")), std::string(4 * kSegmentBytes, 'h'));
    EXPECT_EQ(json::parse(result.out)["switches_up"], 0);
}

TEST_F(HastoolTrouble, PlayFailsWhenNoVariantCanBeHad) {
    serveLadder();
    m_origin.on("/low.m3u8", Reply().status(410));
    m_origin.on("/high.m3u8", Reply().status(410));
    EXPECT_EQ(play({master()}).status, 1);
}

TEST_F(HastoolTrouble, LimitKeepsToItsBitrates) {
    serveLadder();
    const Child::Result result =
        play({"-o", file("film.ts"), "--limit", "200000-400000", master()});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(readFile(file("film.ts")), std::string(4 * kSegmentBytes, 'h'));
}

TEST_F(HastoolTrouble, LimitThatExcludesEveryStreamIsAnError) {
    serveLadder();
    const Child::Result result = play({"--limit", "1-2", master()});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "hastool: --limit: allows none of the streams: 100000, 300000 bit/s\n");
}

TEST_F(HastoolTrouble, MediaPlaylistShowsTheMeasuredBitrate) {
    serve("v", 4);
    const Child::Result result = runHastool({"play", "--fast", "--trace", file("t.json"),
                                             "--report", file("r.html"), m_origin.url("/v.m3u8")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("mean bitrate  160 kbit/s over 1 stream\n"));
    EXPECT_THAT(result.err, HasSubstr("segment 0  160 kbit/s"));
    EXPECT_EQ(json::parse(readFile(file("t.json")))[3]["bitrate_bps"], 160000);
    EXPECT_THAT(readFile(file("r.html")), HasSubstr("<dd>160 kbit/s</dd>"));
}

TEST_F(HastoolTrouble, CookieFolderThatIsAbsentIsTold) {
    serve("v", 1);
    const std::string line =
        "hastool: --cookie-dir: there is no folder /opt/usr/apps/no.such.app/data/cookie; cookies "
        "will not be kept\n";
    const Child::Result played = play({"--cookie-dir", "no.such.app", m_origin.url("/v.m3u8")});
    EXPECT_EQ(played.status, 0);
    EXPECT_EQ(played.err, line);
    const Child::Result got = runHastool(
        {"get", "-q", "--cookie-dir", "no.such.app", "-O", file("d"), m_origin.url("/v.m3u8")});
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.err, line);
}

/// All that a run has printed.
std::string toldBy(const Child::Result& result) {
    return result.out + result.err;
}

TEST_F(HastoolTrouble, PasswordsAndQueriesAreLeftOut) {
    serve("v", 6, {2, 3, 4});
    m_origin.on("/bad.m3u8", Reply().body("#EXTM3U\n#EXTINF:x,\nv0.ts\n"));
    std::string url = m_origin.url("/v.m3u8?token=SECRET");
    url.insert(url.find("//") + 2, "me:SECRET@");
    const std::string bad = m_origin.url("/bad.m3u8?token=SECRET");
    const std::string gone = m_origin.url("/gone?token=SECRET");
    const std::vector<std::vector<std::string>> commands = {
        {"play", "--fast", url},
        {"play", "--fast", "--json", "--report", file("r.html"), url},
        {"play", bad},
        {"get", "-O", file("d"), "--retries", "0", gone},
        {"get", "-O", file("d"), "--retries", "0", "--json", gone},
        {"play", "--no-such-option", url},
    };
    for (const auto& command : commands) {
        const Child::Result result = runHastool(command);
        EXPECT_NE(result.status, 0);
        EXPECT_THAT(toldBy(result), ::testing::Not(HasSubstr("SECRET"))) << command[0];
    }
    EXPECT_THAT(readFile(file("r.html")), ::testing::Not(HasSubstr("SECRET")));
    EXPECT_THAT(readFile(file("r.html")), HasSubstr("v.m3u8?..."));
    EXPECT_THAT(runHastool({"play", bad}).err, HasSubstr("/bad.m3u8?...:2: "));
}

TEST_F(HastoolTrouble, UrlsAreShownWholeWhenAskedFor) {
    const std::string gone = m_origin.url("/gone?token=SECRET");
    for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{
             {"play", "--show-urls", gone, "--retries", "0"},
             {"get", "--show-urls", "-O", file("d"), "--retries", "0", gone},
             {"get", "--show-urls", "--json", "-O", file("d"), "--retries", "0", gone}})
        EXPECT_THAT(toldBy(runHastool(command)), HasSubstr("token=SECRET"));
}

} // namespace
