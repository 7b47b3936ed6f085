#include <tools/hastool/Play.h>

#include <hastool/report/Report.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using hastool::playData;
using hastool::playFigures;
using hastool::PlayRecord;
using hastool::Report;
using hastool::ReportedPlay;
using nlohmann::json;
using test::reportedPlay;

namespace {

std::string pageOf(const std::vector<ReportedPlay>& plays) {
    Report report("all <plays>");
    for (const ReportedPlay& play : plays)
        report.add(play);
    return report.html();
}

int count(const std::string& text, const std::string& part) {
    int result = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++result;
    return result;
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// The data of the page's first play that the page's scripts read.
json dataIn(const std::string& page) {
    const std::string begin = "<script type=\"application/json\">";
    const size_t at = page.find(begin) + begin.size();
    return json::parse(page.substr(at, page.find("</script>", at) - at));
}

} // namespace

TEST(Report, ShowsTheSummarysFigures) {
    const ReportedPlay play = reportedPlay();
    const std::string page = pageOf({play});
    for (const auto& [name, value] : playFigures(play.summary))
        EXPECT_TRUE(has(page, "<div><dt>" + name + "</dt><dd>" + value + "</dd></div>")) << name;
    EXPECT_TRUE(has(page, "<dd>12.2 s in 14.5 s</dd>"));
    EXPECT_TRUE(has(page, "<dd>1, 0.5 s</dd>"));
    EXPECT_TRUE(has(page, "<dd>1 up, 0 down</dd>"));
    EXPECT_TRUE(has(page, "<dd>2, 1.23 MB</dd>"));
}

TEST(Report, HasNoChartsOfAPlayThatNeverBegan) {
    ReportedPlay play;
    play.failure = "http://host/a.m3u8: HTTP 404";
    const std::string page = pageOf({play});
    EXPECT_EQ(count(page, "class=\"chart\""), 0);
    EXPECT_TRUE(has(page, "Nothing was played, so there is nothing to draw."));
    EXPECT_EQ(count(pageOf({reportedPlay()}), "class=\"chart\""), 3);
}

TEST(Report, GivesTheChartsWhatWasRecorded) {
    const json data = dataIn(pageOf({reportedPlay()}));
    EXPECT_EQ(data["end"], 14.5);
    EXPECT_EQ(data["ladder"], json({300000, 900000}));
    EXPECT_EQ(data["firstBitrate"], 300000);
    EXPECT_EQ(data["samples"]["time"], json({0.25, 1.0, 1.5, 2.5}));
    EXPECT_EQ(data["samples"]["mean"], json({0, 1500000, 1400000, 1300000}));
    EXPECT_EQ(data["samples"]["bandwidth"], json({1000, 1501000, 1401000, 1301000}));
    EXPECT_EQ(data["samples"]["buffer"], json({0.0, 0.0, 3.0, 2.75}));
    EXPECT_EQ(data["samples"]["position"], data["samples"]["time"]);
    EXPECT_EQ(data["samples"]["bitrate"][3], 300000);
    EXPECT_EQ(data["switches"], json::parse("[[0.8, 300000, 900000]]"));
    EXPECT_EQ(data["stalls"], json::parse("[[1.0, 1.5]]"));
    EXPECT_EQ(data["pauses"], json::parse("[[1.5, 2.5]]"));
    EXPECT_EQ(data["holds"], data["pauses"]);
}

TEST(Report, GivesTheChartsEverySegment) {
    const json segments = dataIn(pageOf({reportedPlay()}))["segments"];
    ASSERT_EQ(segments.size(), 3U);
    EXPECT_EQ(segments[1], json::parse(R"({"time": 3.0, "begin": 2.5, "download": 0.5,
        "firstByte": 0.125, "audio": true, "text": false, "index": 7, "bitrate": 300000, "resolution": "320x180",
        "bytes": 75000, "duration": 2.0, "redirects": 1, "retries": 2, "skipped": false, "url": "",
        "attempts": []})"));
    EXPECT_EQ(segments[2]["skipped"], true);
}

TEST(Report, GivesTheAttemptsOfASegmentWithoutSecrets) {
    ReportedPlay play = reportedPlay();
    hastool::TraceRow row = test::traceRow(12, 4, 0);
    row.url = "http://me:secret@h/a?token=1";
    hastool::Attempt attempt;
    attempt.result = "HTTP 200";
    attempt.cache = "Via: http://me:secret@h/";
    attempt.connect = 0.0015;
    attempt.end = 0.25;
    attempt.bytes = 9;
    row.attempts = {attempt};
    play.record.onSegment(row);
    const std::string page = pageOf({play});
    const json segment = dataIn(page)["segments"].back();
    EXPECT_EQ(segment["url"], "http://me:...@h/a?...");
    EXPECT_EQ(segment["attempts"], json::parse(R"([{"result": "HTTP 200", "peer": "",
        "cache": "Via: http://me:...@h/", "lookup": null, "connect": 1.5, "tls": null,
        "firstByte": null, "end": 250.0, "bytes": 9}])"));
    EXPECT_FALSE(has(page, "secret"));
}

TEST(Report, ListsSegmentsAsTheTraceHasThem) {
    EXPECT_TRUE(has(pageOf({reportedPlay()}),
                    "<tr><td>audio</td><td class=\"number\">7</td><td class=\"number\">2.500</td>"
                    "<td class=\"number\">3.000</td><td class=\"number\">0.500</td>"
                    "<td class=\"number\">0.125</td><td class=\"number\">300000</td>"
                    "<td>320x180</td><td class=\"number\">75000</td>"
                    "<td class=\"number\">2.000</td><td class=\"number\">4.500</td>"
                    "<td class=\"number\">2100000</td><td class=\"number\">1900000</td>"
                    "<td class=\"number\">1</td><td class=\"number\">2</td>"
                    "<td class=\"number\"></td><td></td></tr>"));
}

TEST(Report, NotesSwitchesAndSkippedSegments) {
    ReportedPlay play = reportedPlay();
    hastool::TraceRow row = test::traceRow(12, 4, 0);
    row.change = "up";
    play.record.onSegment(row);
    row.skipped = true;
    play.record.onSegment(row);
    const std::string page = pageOf({play});
    EXPECT_EQ(count(page, "<td>up</td></tr>"), 1);
    EXPECT_EQ(count(page, "<td>up, skipped</td></tr>"), 1);
    EXPECT_EQ(count(page, "<td>skipped</td></tr>"), 1);
}

TEST(Report, TellsOfTransfersThatWereGivenUp) {
    ReportedPlay play = reportedPlay();
    EXPECT_FALSE(has(pageOf({play}), "<dt>Given up</dt>"));
    hastool::TraceRow row = test::traceRow(12, 4, 0);
    row.change = "down";
    row.givenUp = 2;
    row.wasted = 1500000;
    play.record.onSegment(row);
    play.summary.givenUp = 2;
    play.summary.wasted = 1500000;
    const std::string page = pageOf({play});
    EXPECT_TRUE(has(page, "<dt>Given up</dt><dd>2 transfers, 1.50 MB wasted</dd>"));
    EXPECT_EQ(count(page, "<td>down, given up 2 times, 1.50 MB wasted</td></tr>"), 1);
    EXPECT_EQ(dataIn(page)["segments"].back()["givenUp"], 2);
    EXPECT_EQ(dataIn(page)["segments"].back()["wasted"], 1500000);
    EXPECT_EQ(dataIn(page)["segments"][0].count("givenUp"), 0U);
}

TEST(Report, ListsWhatThePlayerWasToldWithItsTime) {
    const std::string page = pageOf({reportedPlay()});
    EXPECT_TRUE(has(page, "<tr><td class=\"number\">0.800</td><td>bitrate</td><td>up from 300 "
                          "kbit/s to 900 kbit/s</td></tr>"));
    EXPECT_TRUE(has(page, "What the player was told (2)"));
}

TEST(Report, EscapesWhatOthersWrote) {
    ReportedPlay play = reportedPlay("<b>title</b>");
    play.summary.url = "http://h/</script><script>alert(1)</script>";
    play.failure = "<i>failure</i>";
    play.record.onEvent(4, "event", "</td><img src=x>");
    hastool::TraceRow row = test::traceRow(1, 1, 1);
    row.resolution = "</script>\xE2\x80\xA8";
    play.record.onSegment(row);
    const std::string page = pageOf({play});
    for (const char* const evil : {"<b>", "<i>", "<img", "<script>alert", "all <plays>"})
        EXPECT_FALSE(has(page, evil)) << evil;
    EXPECT_TRUE(has(page, "http://h/a?...: gone; skipped"));
    EXPECT_TRUE(has(page, "&lt;/script&gt;&lt;script&gt;alert(1)&lt;/script&gt;"));
    EXPECT_EQ(count(page, "</script>"), 2) << "the data and the program";
    EXPECT_EQ(dataIn(page)["segments"][3]["resolution"], row.resolution);
}

TEST(Report, AsksNoNetworkForAnything) {
    const std::string page = pageOf({reportedPlay(), reportedPlay()});
    EXPECT_EQ(count(page, "src="), 0);
    EXPECT_EQ(count(page, "@import"), 0);
    EXPECT_EQ(count(page, "<link"), 0);
    EXPECT_EQ(count(page, "href="), count(page, "href=\"#"));
    EXPECT_EQ(count(page, "url("), count(page, "url(#"));
    EXPECT_TRUE(has(page, "default-src 'none'"));
}

TEST(Report, LeadsToEachOfSeveralPlays) {
    ReportedPlay second = reportedPlay("the other");
    second.failure = "gone";
    const std::string page = pageOf({reportedPlay(), second});
    EXPECT_TRUE(has(page, "<td><a href=\"#play-1\">a play</a></td><td>whole</td>"));
    EXPECT_TRUE(has(page,
                    "<td><a href=\"#play-2\">the other</a></td><td class=\"failure\">"
                    "ended early</td><td class=\"number\" data-column=\"played\">12.2 s</td>"));
    EXPECT_TRUE(has(page, "id=\"play-1\""));
    EXPECT_TRUE(has(page, "id=\"play-2\""));
    EXPECT_TRUE(has(page, "It ended early: gone"));
}

TEST(Report, NeedsNoOverviewOfASinglePlay) {
    const std::string page = pageOf({reportedPlay()});
    EXPECT_FALSE(has(page, "<nav"));
    EXPECT_EQ(count(page, "<section"), 1);
}

TEST(Report, ShowsAPlayOfNothing) {
    ReportedPlay play;
    play.title = "nothing";
    play.failure = "cannot be reached";
    const std::string page = pageOf({play});
    EXPECT_TRUE(has(page, "cannot be reached"));
    EXPECT_EQ(dataIn(page)["segments"], json::array());
    EXPECT_EQ(dataIn(page)["samples"]["time"], json::array());
}

TEST(Report, TellsHowMuchItDoesNotList) {
    ReportedPlay play = reportedPlay();
    for (size_t i = 0; i < PlayRecord::kMaxEvents; ++i)
        play.record.onTrouble("again");
    const std::string page = pageOf({play});
    EXPECT_TRUE(has(page, "2 more events are not listed."));
    EXPECT_TRUE(has(page, "What the player was told (5002)"));
}
