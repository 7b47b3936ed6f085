#include "Hastool.h"

#include <Hasnet/AdaptiveSegSwitcher.h>
#include <support/FaultOrigin.h>
#include <support/MediaLadder.h>
#include <support/Nginx.h>

#include <cmath>
#include <csignal>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace std::chrono_literals;
using nlohmann::json;
using test::Child;
using test::decodeErrors;
using test::MediaLadder;
using test::readFile;
using test::Reply;
using test::Request;
using test::runHastool;
using test::Stage;

namespace {

const std::vector<int> kBitrates = {100, 250, 500};

/// Figures computed from a trace.
class ReplayedChecker : public hascommon::IBandwidthChecker {
public:
    bool Start() override { return true; }
    bool Stop() override { return true; }
    bool IsMonitoring() override { return true; }
    void OnPolling(long long) override {}
    void SetMonitorInterval(unsigned int) override {}
    unsigned int GetMonitorInterval() override { return 250; }
    unsigned int GetCurrentBandwidth() override { return current; }
    unsigned int GetBeginingBandwidth() override { return first; }
    unsigned int GetCurrentMinBandwidth() override { return mean; }
    unsigned int GetCurrentAvgBandwidth() override { return mean; }
    unsigned int GetAverageBandwidth() override { return mean; }
    int GetVariationRateBandwidth() override { return 0; }
    unsigned int GetDownloadPerHour() override { return 0; }

    unsigned current = 0;
    unsigned mean = 0;
    unsigned first = 0;
};

class HastoolPlay : public testing::Test {
protected:
    /// Makes a presentation and serves it below /v/.
    MediaLadder& serve(MediaLadder::Format format, int seconds = 8,
                       const std::vector<int>& bitrates = {100}) {
        m_ladder = std::make_unique<MediaLadder>(m_dir.path() / "v", format, seconds, bitrates);
        m_origin.serve("/v/", m_ladder->folder().string());
        return *m_ladder;
    }
    /// Lets the rate of media depend on the number of its segment, in bytes per second.
    void shape(const std::function<uint64_t(int segment)>& rate) {
        m_origin.onPrefix("/v/", [this, rate](const Request& request) {
            const std::string name = request.path.substr(request.path.rfind('/') + 1);
            Reply reply = Reply().file((m_ladder->folder() / request.path.substr(3)).string());
            if (std::isdigit(static_cast<unsigned char>(name[0])) != 0)
                reply.rate(rate(std::stoi(name)));
            return reply;
        });
    }
    std::string file(const std::string& name) const { return m_dir.file(name); }
    std::string master() const { return m_origin.url("/v/master.m3u8"); }
    /// The trace of a play, and the summary in `m_summary`.
    json play(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"play", "--json", "--trace", file("t.json")});
        const Child::Result result = runHastool(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        m_err = result.err;
        m_summary = json::parse(result.out);
        return json::parse(readFile(file("t.json")));
    }
    /// The bitrates of all qualities, as the master playlist has them.
    std::vector<int> bitrates() const {
        const std::string text = readFile(m_ladder->folder() / "master.m3u8");
        std::vector<int> result;
        const std::string name = "BANDWIDTH=";
        for (size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + 1))
            result.push_back(std::stoi(text.substr(at + name.size())));
        return result;
    }
    static int count(const json& trace, const std::string& change) {
        int result = 0;
        for (const json& row : trace)
            result += row["switch"] == change ? 1 : 0;
        return result;
    }

    test::TempDir m_dir;
    std::unique_ptr<MediaLadder> m_ladder;
    test::FaultOrigin m_origin; // its handlers use the ladder
    json m_summary;
    std::string m_err;
};

void expectFailure(const Child::Result& result, const std::string& line) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "hastool: " + line + "\n");
}

} // namespace

TEST_F(HastoolPlay, WritesTransportStreamsByteByByte) {
    const MediaLadder& ladder = serve(MediaLadder::Format::TransportStream);
    const json trace = play({"--fast", "-o", file("o.ts"), master()});
    EXPECT_TRUE(readFile(file("o.ts")) == ladder.joined(0));
    EXPECT_EQ(decodeErrors(file("o.ts")), "");
    ASSERT_EQ(trace.size(), 4U);
    EXPECT_EQ(trace[3]["index"], 3);
    EXPECT_EQ(trace[3]["duration_s"], 2.0);
    EXPECT_EQ(m_summary["segments"], 4);
    EXPECT_EQ(m_summary["played_s"], 8.0);
    EXPECT_EQ(m_summary["skipped"], 0);
    EXPECT_EQ(m_summary["live"], false);
    EXPECT_EQ(m_summary["bytes"], std::filesystem::file_size(file("o.ts")));
}

TEST_F(HastoolPlay, WritesFragmentedMp4ByteByByte) {
    const MediaLadder& ladder = serve(MediaLadder::Format::FragmentedMp4);
    play({"--fast", "-o", file("o.mp4"), master()});
    EXPECT_TRUE(readFile(file("o.mp4")) == ladder.joined(0));
    EXPECT_EQ(decodeErrors(file("o.mp4")), "");
}

TEST_F(HastoolPlay, PlaysAMediaPlaylistByItself) {
    const MediaLadder& ladder = serve(MediaLadder::Format::TransportStream);
    play({"--fast", "-o", file("o.ts"), m_origin.url("/v/0/index.m3u8")});
    EXPECT_TRUE(readFile(file("o.ts")) == ladder.joined(0));
    EXPECT_EQ(m_summary["streams"], 1);
}

TEST_F(HastoolPlay, SwitchesDownAndUpInTransportStreams) {
    serve(MediaLadder::Format::TransportStream, 48, kBitrates);
    shape([](int segment) { return segment < 10 || segment > 12 ? 400000 : 60000; });
    const json trace = play({"--fast", "-o", file("o.ts"), master()});
    EXPECT_GE(count(trace, "up"), 2) << trace.dump(1);
    EXPECT_GE(count(trace, "down"), 1) << trace.dump(1);
    EXPECT_EQ(m_summary["switches_up"], count(trace, "up"));
    EXPECT_EQ(m_summary["switches_down"], count(trace, "down"));
    EXPECT_NE(m_err.find("  up from 145 kbit/s to 310 kbit/s\n"), std::string::npos) << m_err;
    EXPECT_EQ(trace.size(), 24U);
    EXPECT_EQ(decodeErrors(file("o.ts")), "");
    EXPECT_EQ(test::decodedSeconds(file("o.ts")), 48);
}

TEST_F(HastoolPlay, SwitchesDownAndUpInFragmentedMp4) {
    serve(MediaLadder::Format::FragmentedMp4, 48, kBitrates);
    shape([](int segment) { return segment < 10 || segment > 12 ? 400000 : 60000; });
    const json trace = play({"--fast", "-o", file("o.mp4"), master()});
    EXPECT_GE(count(trace, "up"), 2) << trace.dump(1);
    EXPECT_GE(count(trace, "down"), 1) << trace.dump(1);
    EXPECT_EQ(decodeErrors(file("o.mp4")), "");
    EXPECT_EQ(test::decodedSeconds(file("o.mp4")), 48);
}

TEST_F(HastoolPlay, SwitchesAsTheSwitchersOwnRulesGiveForTheTrace) {
    serve(MediaLadder::Format::TransportStream, 48, kBitrates);
    shape([](int segment) { return segment < 10 || segment > 12 ? 400000 : 60000; });
    const json trace = play({"--fast", master()});
    ASSERT_EQ(trace.size(), 24U);
    ReplayedChecker checker;
    hascommon::AdaptiveSegSwitcher switcher;
    switcher.Init(&checker);
    switcher.SetSwitchParam(0, 0);
    switcher.ResetData(bitrates(), false);
    int stream = 0;
    for (const json& row : trace) {
        SCOPED_TRACE(row.dump());
        constexpr int kNotAsked = -2;
        if (row["choice"] != kNotAsked) {
            checker.mean = row["choice_mean_bps"];
            checker.first = row["choice_first_bps"];
            EXPECT_EQ(switcher.ProcessAdaptiveSeg(stream, row["choice_buffer_ms"]), row["choice"]);
        }
        if (row["choice"] >= 0)
            stream = row["choice"];
        EXPECT_EQ(stream, row["stream"]);
        checker.current = row["bandwidth_bps"];
        switcher.ProcessAdaptiveSegLevel(
            0, static_cast<unsigned>(std::lround(row["buffer_s"].get<double>() * 1000)), false);
    }
    EXPECT_GE(count(trace, "up"), 2);
}

TEST_F(HastoolPlay, DrainsInRealTime) {
    serve(MediaLadder::Format::TransportStream);
    const auto begin = std::chrono::steady_clock::now();
    const json trace = play({"--duration", "3", master()});
    const auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(took, 2900ms);
    EXPECT_EQ(trace.size(), 2U);
    EXPECT_EQ(m_summary["stalls"], 0);
    EXPECT_GE(m_summary["played_s"], 3.0);
}

TEST_F(HastoolPlay, CountsStallsWhenMediaComesTooSlowly) {
    serve(MediaLadder::Format::TransportStream, 6);
    shape([](int segment) { return segment == 0 ? 0 : 12000; });
    const json trace = play({"--max-segments", "2", master()});
    EXPECT_EQ(m_summary["stalls"], 1) << trace.dump(1);
    EXPECT_GT(m_summary["stall_s"], 0.2);
    EXPECT_NE(m_err.find(" s  stall: no media at 2.0 s\n"), std::string::npos) << m_err;
    EXPECT_NE(m_err.find(" s  stall: over after "), std::string::npos) << m_err;
}

TEST_F(HastoolPlay, HoldsNoMoreThanItsBuffer) {
    serve(MediaLadder::Format::TransportStream, 20);
    const json trace = play({"--buffer", "4", "--duration", "3", master()});
    for (const json& row : trace)
        EXPECT_LE(row["buffer_s"], 6.0);
}

TEST_F(HastoolPlay, BeginsWithTheBestStreamThatIsAsked) {
    const MediaLadder& ladder = serve(MediaLadder::Format::TransportStream, 4, kBitrates);
    play({"--fast", "--start-bitrate", "400000", "-o", file("o.ts"), master()});
    EXPECT_TRUE(readFile(file("o.ts")) == ladder.joined(1));
}

TEST_F(HastoolPlay, PlaysByteRanges) {
    const MediaLadder& ladder = serve(MediaLadder::Format::TransportStream);
    const std::string all = ladder.joined(0);
    const std::string third = std::to_string(all.size() / 3);
    m_dir.write("v/0/all.ts", all);
    m_dir.write("v/range.m3u8", "#EXTM3U\n#EXT-X-BYTERANGE:" + third +
                                    "@0\n#EXTINF:3,\n0/all.ts\n"
                                    "#EXT-X-BYTERANGE:" +
                                    third +
                                    "\n#EXTINF:3,\n0/all.ts\n"
                                    "#EXT-X-BYTERANGE:" +
                                    std::to_string(all.size() - 2 * (all.size() / 3)) +
                                    "\n#EXTINF:2,\n0/all.ts\n#EXT-X-ENDLIST\n");
    play({"--fast", "-o", file("o.ts"), m_origin.url("/v/range.m3u8")});
    EXPECT_TRUE(readFile(file("o.ts")) == all);
    EXPECT_EQ(m_origin.requests("/v/0/all.ts").size(), 3U);
}

TEST_F(HastoolPlay, FollowsRedirectsOfPlaylistsAndSegments) {
    const MediaLadder& ladder = serve(MediaLadder::Format::TransportStream, 4);
    m_origin.on("/m", Reply().redirect(m_origin.url("/v/master.m3u8", "localhost")));
    m_origin.on("/v/0/1.ts", Reply().redirect("/elsewhere/1.ts"));
    m_origin.serve("/elsewhere/", (ladder.folder() / "0").string());
    play({"--fast", "-o", file("o.ts"), m_origin.url("/m")});
    EXPECT_TRUE(readFile(file("o.ts")) == ladder.joined(0));
    EXPECT_EQ(m_origin.requests("/v/0/0.ts").at(0).header("Host").rfind("localhost:", 0), 0U);
}

TEST_F(HastoolPlay, SurvivesMissingSegmentsAndCutConnections) {
    const MediaLadder& ladder = serve(MediaLadder::Format::TransportStream);
    const auto segment = [&](int i) {
        return Reply().file((ladder.folder() / "0" / (std::to_string(i) + ".ts")).string());
    };
    m_origin.on("/v/0/0.ts", {Reply().status(404), Reply().status(503), segment(0)});
    m_origin.on("/v/0/1.ts", {segment(1).closedAt(Stage::InBody, 10000), segment(1)});
    m_origin.on("/v/0/2.ts", {segment(2).resetAt(Stage::InBody, 20000), segment(2)});
    const json trace = play({"--fast", "-o", file("o.ts"), master()});
    EXPECT_TRUE(readFile(file("o.ts")) == ladder.joined(0));
    EXPECT_EQ(trace[0]["retries"], 2);
    EXPECT_EQ(trace[1]["retries"], 1);
    EXPECT_EQ(trace[2]["retries"], 1);
    EXPECT_EQ(m_summary["retries"], 4);
    EXPECT_NE(m_err.find(" s  retry: 0.ts: retry 2 of 20, HTTP 503\n"), std::string::npos) << m_err;
    EXPECT_NE(m_err.find(" s  retry: 1.ts: retry 1 of 20, body cut short\n"), std::string::npos);
    EXPECT_EQ(m_origin.requests("/v/0/1.ts").at(1).header("Range"), "bytes=10000-");
}

TEST_F(HastoolPlay, SkipsASegmentThatCannotBeHad) {
    serve(MediaLadder::Format::TransportStream);
    m_origin.on("/v/0/1.ts", Reply().status(410));
    const json trace = play({"--fast", "-o", file("o.ts"), master()});
    EXPECT_EQ(m_summary["skipped"], 1);
    EXPECT_EQ(m_summary["segments"], 3);
    EXPECT_EQ(trace[1]["skipped"], true);
    EXPECT_NE(m_err.find("hastool: " + m_origin.url("/v/0/1.ts") + ": HTTP 410 "),
              std::string::npos);
    EXPECT_EQ(decodeErrors(file("o.ts")), "");
}

TEST_F(HastoolPlay, GivesUpWhenNothingCanBeHadAnyMore) {
    serve(MediaLadder::Format::TransportStream, 12);
    m_origin.onPrefix("/v/0/", [&](const Request& request) {
        const bool isLost = request.path > "/v/0/1.ts" && request.path < "/v/0/index";
        return isLost ? Reply().status(410)
                      : Reply().file((m_ladder->folder() / request.path.substr(3)).string());
    });
    const Child::Result result = runHastool({"play", "--fast", "-q", "-o", file("o.ts"), master()});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("like the segments before it; given up\n"), std::string::npos);
    EXPECT_NE(result.out.find("segments      2, "), std::string::npos);
    EXPECT_EQ(decodeErrors(file("o.ts")), "") << "what was there stays whole";
}

TEST_F(HastoolPlay, LeavesAStreamWhosePlaylistCannotBeHad) {
    const MediaLadder& ladder = serve(MediaLadder::Format::TransportStream, 30, {100, 250});
    shape([](int) { return 200000; });
    m_origin.on("/v/1/index.m3u8", Reply().status(410));
    play({"--fast", "-o", file("o.ts"), master()});
    EXPECT_TRUE(readFile(file("o.ts")) == ladder.joined(0));
    EXPECT_NE(m_err.find("hastool: " + m_origin.url("/v/1/index.m3u8") + ": HTTP 410 "),
              std::string::npos)
        << m_err;
    EXPECT_EQ(m_origin.requests("/v/1/index.m3u8").size(), 1U);
}

TEST_F(HastoolPlay, PlaysALiveStreamToItsEnd) {
    const MediaLadder& ladder = serve(MediaLadder::Format::TransportStream, 12);
    std::atomic<int> loads{0};
    m_origin.on("/v/0/index.m3u8", [&](const Request&) {
        // A window of three segments that moves on with every load.
        const int first = std::min(loads++, 3);
        std::string text =
            "#EXTM3U\n#EXT-X-TARGETDURATION:0.3\n#EXT-X-MEDIA-SEQUENCE:" + std::to_string(first) +
            "\n";
        for (int i = first; i < first + 3; ++i)
            text += "#EXTINF:2,\n" + std::to_string(i) + ".ts\n";
        return Reply().body(text + (first == 3 ? "#EXT-X-ENDLIST\n" : ""));
    });
    play({"--fast", "-o", file("o.ts"), master()});
    EXPECT_TRUE(readFile(file("o.ts")) == ladder.joined(0));
    EXPECT_EQ(loads, 4);
}

TEST_F(HastoolPlay, StopsALiveStreamAfterItsDuration) {
    serve(MediaLadder::Format::TransportStream, 12);
    std::string text = readFile(m_ladder->folder() / "0/index.m3u8");
    text.erase(text.find("#EXT-X-ENDLIST"));
    m_origin.on("/v/0/index.m3u8", Reply().body(text));
    play({"--fast", "--duration", "4", master()});
    EXPECT_EQ(m_summary["segments"], 2);
    EXPECT_EQ(m_summary["live"], true);
}

TEST_F(HastoolPlay, CarriesOnOverADiscontinuityAndAnotherInitialisation) {
    serve(MediaLadder::Format::FragmentedMp4, 8, {100, 250});
    m_dir.write("v/two.m3u8", "#EXTM3U\n#EXT-X-MAP:URI=\"0/init_0.mp4\"\n#EXTINF:2,\n0/0.m4s\n"
                              "#EXTINF:2,\n0/1.m4s\n#EXT-X-DISCONTINUITY\n"
                              "#EXT-X-MAP:URI=\"1/init_1.mp4\"\n#EXTINF:2,\n1/2.m4s\n"
                              "#EXTINF:2,\n1/3.m4s\n#EXT-X-ENDLIST\n");
    play({"--fast", "-o", file("o.mp4"), m_origin.url("/v/two.m3u8")});
    EXPECT_EQ(decodeErrors(file("o.mp4")), "");
    EXPECT_EQ(test::decodedSeconds(file("o.mp4")), 8);
}

TEST_F(HastoolPlay, PlaysOverHttp2WithTls) {
    const test::Nginx server;
    const MediaLadder ladder(server.root() + "/v", MediaLadder::Format::TransportStream, 4, {100});
    play({"--fast", "--cacert", server.caFile(), "-o", file("o.ts"),
          server.tlsUrl("/v/master.m3u8")});
    EXPECT_TRUE(readFile(file("o.ts")) == ladder.joined(0));
    EXPECT_NE(server.accessLog().find("HTTP/2.0"), std::string::npos);
}

TEST_F(HastoolPlay, SaysInOneLineWhatIsWrongAndWhere) {
    const std::string url = m_origin.url("/x");
    m_origin.on("/x", Reply().body("<html>no playlist</html>\n"));
    expectFailure(runHastool({"play", url}),
                  url + ":1: not a playlist: no #EXTM3U before \"<html>no playlist</html>\"");
    m_origin.on("/x", Reply().body("#EXTM3U\n"));
    expectFailure(runHastool({"play", url}), url + ": an empty playlist");
    m_origin.on("/x", Reply());
    expectFailure(runHastool({"play", url}), url + ": not a playlist: no #EXTM3U");
    m_origin.on("/x", Reply().body(test::pattern(70000000)));
    expectFailure(runHastool({"play", url}), url + ": more than 64 MiB");
    m_origin.on("/x", Reply().status(410));
    const Child::Result gone = runHastool({"play", url});
    EXPECT_EQ(gone.status, 1);
    EXPECT_EQ(gone.err.rfind("hastool: " + url + ": HTTP 410 (code ", 0), 0U) << gone.err;
    const Child::Result host = runHastool({"play", "http://no-such-host.invalid/a.m3u8"});
    EXPECT_EQ(host.status, 1);
    EXPECT_EQ(host.err.rfind("hastool: http://no-such-host.invalid/a.m3u8: ", 0), 0U);
    expectFailure(runHastool({"play", url, "-o", file("none/o")}),
                  file("none/o") + ": cannot be written: No such file or directory");
    expectFailure(runHastool({"play", url, "--trace", file("none/t.csv")}),
                  file("none/t.csv") + ": cannot be written: No such file or directory");
}

TEST_F(HastoolPlay, SaysWhenTheOutputIsFull) {
    serve(MediaLadder::Format::TransportStream, 4);
    expectFailure(runHastool({"play", "--fast", "-q", "-o", "/dev/full", master()}),
                  "/dev/full: cannot be written: No space left on device");
}

TEST_F(HastoolPlay, RefusesWrongUsage) {
    const std::vector<std::vector<std::string>> wrong = {
        {"play"},
        {"play", "http://h/a", "--buffer", "0"},
        {"play", "http://h/a", "--duration", "x"},
        {"play", "http://h/a", "--start-bitrate", "-1"},
        {"play", "http://h/a", "--trace", "t.txt"},
    };
    for (const auto& arguments : wrong) {
        const Child::Result result = runHastool(arguments);
        EXPECT_EQ(result.status, 2) << result.err;
        EXPECT_EQ(test::lines(result.err), 1) << result.err;
    }
}

TEST_F(HastoolPlay, EndsWithASummaryWhenInterrupted) {
    serve(MediaLadder::Format::TransportStream, 12);
    Child child(test::hastoolCommand({"play", "-o", file("o.ts"), master()}),
                test::hastoolEnvironment());
    ASSERT_TRUE(m_origin.waitForRequests("/v/0/1.ts", 1));
    child.signal(SIGINT);
    const Child::Result result = child.wait(std::chrono::seconds(20));
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.out.find("played "), std::string::npos);
    EXPECT_NE(result.err.find("hastool: " + master() + ": interrupted\n"), std::string::npos);
    EXPECT_EQ(decodeErrors(file("o.ts")), "");
}

TEST_F(HastoolPlay, TakesARuleOfOnesOwn) {
    serve(MediaLadder::Format::TransportStream, 8, kBitrates);
    const json trace =
        play({"--fast", "--rule", std::string(TEST_RULES) + "/own_rule.so", master()});
    ASSERT_EQ(trace.size(), 4U);
    EXPECT_EQ(trace[0]["stream"], 0);
    for (size_t i = 1; i < trace.size(); ++i)
        EXPECT_EQ(trace[i]["stream"], 1) << "it always wants the second one";
    EXPECT_EQ(m_summary["given_up"], 0);
}

TEST_F(HastoolPlay, SaysWhatIsWrongWithARule) {
    const Child::Result unknown = runHastool({"play", "--rule", "other", master()});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.err,
              "hastool: --rule: neither adaptive nor hybrid nor a name that ends in .so: "
              "\"other\"\n");
    const std::string none = file("none.so");
    const Child::Result missing = runHastool({"play", "--rule", none, master()});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, "hastool: " + none + ": no such file\n");
    const std::string empty = std::string(TEST_RULES) + "/empty_rule.so";
    const Child::Result wrong = runHastool({"play", "--rule", empty, master()});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(wrong.err, "hastool: " + empty + ": it has no function hastool_make_switcher\n");
}
