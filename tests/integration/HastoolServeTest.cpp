// Playing the built-in presentations from the tool's own origin, judged by ffmpeg.
#include "Hastool.h"
#include "Serve.h"

#include <support/FreePort.h>
#include <support/MediaLadder.h>
#include <support/Nginx.h>
#include <support/TempDir.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using test::Child;
using test::hastoolCommand;
using test::hastoolEnvironment;
using test::runHastool;
using test::Serve;
using ::testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

constexpr char kKey[] = "00112233445566778899aabbccddeeff"; // of scripts/presentations.sh
constexpr long kFrames = 42 * 25;
constexpr long kAudioFrames = 42 * 48000 / 1024;

int countOf(const std::string& text, const std::string& part) {
    int count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

class HastoolServe : public ::testing::Test {
protected:
    /// Plays something to its end as fast as it comes. @return the summary
    json play(Serve& serve, const std::string& manifest,
              const std::vector<std::string>& more = {}) const {
        std::vector<std::string> command = {"play", "--fast",           "-q", "--json", "-o",
                                            out(),  serve.url(manifest)};
        command.insert(command.end(), more.begin(), more.end());
        const Child::Result result = runHastool(command);
        EXPECT_EQ(result.status, 0) << result.err << serve.state();
        return result.status == 0 ? json::parse(result.out) : json();
    }
    std::string out() const { return m_dir.file("out.media"); }
    std::string audioOut() const { return m_dir.file("out.audio.media"); }

    test::TempDir m_dir;
};

/// Frames that decode without an error, by stream; of protected media with the key.
std::pair<long, long> decodedFrames(const std::string& path, bool isProtected = false) {
    std::vector<std::string> command = {"ffmpeg", "-v", "error", "-nostdin"};
    // With "ignidx" it reads fragment by fragment; else it mixes up their encryption tables.
    if (isProtected)
        command.insert(command.end(), {"-xerror", "-fflags", "+ignidx", "-decryption_key", kKey});
    command.insert(command.end(), {"-i", path, "-map", "0:v?", "-map", "0:a?", "-fps_mode",
                                   "passthrough", "-f", "framecrc", "-"});
    const Child::Result result = test::run(command);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const bool hasVideo = result.out.find("#codec_id 0: rawvideo") != std::string::npos;
    const int first = countOf(result.out, "\n0,");
    return hasVideo ? std::pair<long, long>(first, countOf(result.out, "\n1,"))
                    : std::pair<long, long>(0, first);
}

/// What has to come out when a presentation is played.
struct Row {
    const char* manifest;
    bool hasAudioTrack;
    bool isProtected;
    /// How often a PSSH box is in the output: per fragment and per movie.
    int psshPerFragment;
    int psshPerMovie;
};

std::ostream& operator<<(std::ostream& stream, const Row& row) {
    return stream << row.manifest;
}

class HastoolServed : public HastoolServe, public ::testing::WithParamInterface<Row> {};

INSTANTIATE_TEST_SUITE_P(Presentations, HastoolServed,
                         ::testing::Values(Row{"/hls/master.m3u8", false, false, 0, 0},
                                           Row{"/hls-aes/master.m3u8", false, false, 0, 0},
                                           Row{"/dash/manifest.mpd", true, false, 0, 0},
                                           Row{"/dash-cenc/manifest.mpd", true, true, 1, 0},
                                           Row{"/dash-muxed/manifest.mpd", false, true, 0, 1},
                                           Row{"/smooth/Manifest", true, false, 0, 0}));

/// A presentation, and a segment of its best quality.
struct StoppedRow {
    const char* manifest;
    const char* segment;
    bool hasAudioTrack;
    bool isProtected;
};

std::ostream& operator<<(std::ostream& stream, const StoppedRow& row) {
    return stream << row.manifest;
}

class HastoolGivenUp : public HastoolServe, public ::testing::WithParamInterface<StoppedRow> {};

INSTANTIATE_TEST_SUITE_P(
    Presentations, HastoolGivenUp,
    ::testing::Values(StoppedRow{"/hls-aes/master.m3u8", "/4/12.ts", false, false},
                      StoppedRow{"/dash-cenc/manifest.mpd", "/v4/12.m4s", true, true},
                      StoppedRow{"/smooth/Manifest", "(1140000)/Fragments(video=240000000)", true,
                                 false}));

} // namespace

TEST_P(HastoolServed, PlaysToItsEndWithAllItsFrames) {
    const Row& row = GetParam();
    // Slow enough for the bandwidth to be measured, and once too slow for the best quality.
    const std::string profile = m_dir.write("p.csv", "0,6000\n2,500\n3.5,8000\n60,\n");
    Serve serve({"--root", PRESENTATIONS, "--profile", profile});
    const json summary = play(serve, row.manifest);
    EXPECT_EQ(summary["segments"], row.hasAudioTrack ? 42 : 21);
    EXPECT_EQ(summary["streams"], 5);
    EXPECT_EQ(summary["skipped"], 0);
    EXPECT_GE(summary["switches_up"], 1);
    EXPECT_NEAR(summary["played_s"].get<double>(), 42, 0.05);
    const auto [video, audio] = decodedFrames(out(), row.isProtected);
    EXPECT_EQ(video, kFrames);
    if (row.hasAudioTrack) {
        EXPECT_EQ(decodedFrames(audioOut(), row.isProtected).second, kAudioFrames);
    } else {
        // Segments are cut where the picture is, so a switch loses or repeats some audio frames.
        EXPECT_NEAR(static_cast<double>(audio), kAudioFrames, 20);
    }
}

/// A segment of the best quality stops in its middle, and comes of a lower stream.
TEST_P(HastoolGivenUp, LosesNoFrame) {
    const StoppedRow& row = GetParam();
    const std::string profile = m_dir.write("p.csv", "0,8000\n60,\n");
    Serve serve({"--root", PRESENTATIONS, "--profile", profile, "--fault",
                 std::string("path=") + row.segment + ":stall=60"});
    const std::string trace = m_dir.file("t.json");
    const json summary = play(serve, row.manifest,
                              {"--rule", "hybrid", "--start-bitrate", "1300000", "--trace", trace});
    EXPECT_GE(summary["given_up"], 1);
    EXPECT_GT(summary["wasted_bytes"], 0);
    EXPECT_EQ(summary["skipped"], 0);
    EXPECT_EQ(summary["segments"], row.hasAudioTrack ? 42 : 21);
    uint64_t wasted = 0;
    for (const json& it : json::parse(test::readFile(trace)))
        wasted += it["wasted_bytes"].get<uint64_t>();
    EXPECT_EQ(summary["wasted_bytes"], wasted);
    EXPECT_EQ(decodedFrames(out(), row.isProtected).first, kFrames);
}

TEST_P(HastoolServed, PlaysToItsEndFromNginx) {
    const Row& row = GetParam();
    const test::Nginx server;
    fs::copy(PRESENTATIONS, server.root(), fs::copy_options::recursive);
    const Child::Result result =
        runHastool({"play", "--fast", "-q", "--json", "-o", out(), server.url(row.manifest)});
    ASSERT_EQ(result.status, 0) << result.err;
    const json summary = json::parse(result.out);
    EXPECT_EQ(summary["segments"], row.hasAudioTrack ? 42 : 21);
    EXPECT_EQ(summary["skipped"], 0);
    EXPECT_EQ(decodedFrames(out(), row.isProtected).first, kFrames);
}

TEST_P(HastoolServed, HasPsshDataWhereThePlatformLooksForIt) {
    const Row& row = GetParam();
    Serve serve({"--root", PRESENTATIONS});
    play(serve, row.manifest, {"--max-segments", "8"});
    for (const std::string& path : {out(), audioOut()}) {
        if (!fs::exists(path))
            continue;
        const std::string media = test::readFile(path);
        const int movies = countOf(media, "moov");
        EXPECT_EQ(countOf(media, "pssh"),
                  row.psshPerFragment * countOf(media, "moof") + row.psshPerMovie * movies);
    }
}

TEST_P(HastoolServed, IsToldOfWithoutAByteOfMedia) {
    const Row& row = GetParam();
    const test::Nginx server;
    fs::copy(PRESENTATIONS, server.root(), fs::copy_options::recursive);
    const Child::Result result = runHastool({"info", "--json", server.url(row.manifest)});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const json info = json::parse(result.out);
    EXPECT_EQ(info["live"], false);
    EXPECT_EQ(info["complete"], true);
    EXPECT_NEAR(info["duration_s"].get<double>(), 42, 0.1);
    ASSERT_EQ(info["periods"].size(), 1U);
    const json& tracks = info["periods"][0]["tracks"];
    ASSERT_EQ(tracks.size(), row.hasAudioTrack ? 2U : 1U);
    EXPECT_EQ(tracks[0]["type"], "video");
    ASSERT_EQ(tracks[0]["streams"].size(), 5U);
    for (const json& stream : tracks[0]["streams"]) {
        EXPECT_EQ(stream["segments"]["count"], 21) << stream;
        EXPECT_NEAR(stream["segments"]["mean_s"].get<double>(), 2, 0.01) << stream;
    }
    EXPECT_EQ(tracks[0]["streams"][4]["width"], 640);
    const bool isEncrypted = std::string(row.manifest).find("hls-aes") != std::string::npos;
    EXPECT_EQ(!tracks[0]["protection"].empty(), row.isProtected || isEncrypted);
    if (row.isProtected) {
        EXPECT_EQ(tracks[0]["protection"][1]["system"], "PlayReady");
        EXPECT_EQ(tracks[0]["protection"][0]["key_ids"].size(), 1U);
    }
    std::istringstream log(server.accessLog());
    for (std::string line; std::getline(log, line);) {
        const bool isManifest = line.find(".m3u8") != std::string::npos ||
                                line.find(".mpd") != std::string::npos ||
                                line.find("anifest") != std::string::npos;
        EXPECT_TRUE(isManifest || line.find(" 206 ") != std::string::npos) << line;
    }
}

TEST_F(HastoolServe, ToldPresentationsFitATerminal) {
    Serve serve({"--root", PRESENTATIONS});
    std::istringstream urls(serve.out());
    int told = 0;
    for (std::string url; std::getline(urls, url); ++told) {
        const Child::Result result = runHastool({"info", url});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out.rfind(url + "\n", 0), 0U) << result.out;
        EXPECT_THAT(result.out, HasSubstr(", recorded, 42.0 s\n\nVideo\n"));
        EXPECT_THAT(result.out, HasSubstr("640x360"));
        std::istringstream lines(result.out);
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(line.size(), 80U) << line;
    }
    EXPECT_EQ(told, 6);
    const Child::Result aes = runHastool({"info", serve.url("/hls-aes/master.m3u8")});
    EXPECT_THAT(aes.out, HasSubstr("\n  protection: AES-128\n"));
}

TEST_F(HastoolServe, EncryptedHlsComesOutAsTheClearSegments) {
    Serve serve({"--root", PRESENTATIONS});
    play(serve, "/hls-aes/master.m3u8", {"--limit", "0-200000"});
    std::string clear;
    for (int i = 1; i <= 21; ++i)
        clear += test::readFile(fs::path(PRESENTATIONS) / "hls/0" / (std::to_string(i) + ".ts"));
    EXPECT_TRUE(test::readFile(out()) == clear);
    EXPECT_NE(test::readFile(fs::path(PRESENTATIONS) / "hls-aes/0/1.ts").substr(0, 1), "G");
}

TEST_F(HastoolServe, PlaysOnThroughFaults) {
    Serve serve({"--root", PRESENTATIONS, "--fault", "seg=2:404*1", "--fault", "seg=3:reset*1",
                 "--fault", "seg=4:truncate=1000*1", "--fault", "seg=5:stall=0.2"});
    for (const char* const manifest :
         {"/hls/master.m3u8", "/dash-muxed/manifest.mpd", "/smooth/Manifest"}) {
        SCOPED_TRACE(manifest);
        const json summary = play(serve, manifest, {"--max-segments", "12"});
        EXPECT_EQ(summary["skipped"], 0);
    }
    const std::string log = serve.err();
    EXPECT_EQ(countOf(log, ": 404\n"), 1) << log;
    EXPECT_EQ(countOf(log, ": reset\n"), 1) << log;
    EXPECT_EQ(countOf(log, ": cut behind 1000 bytes\n"), 1) << log;
    EXPECT_GE(countOf(log, ": stalled for 0.2 s\n"), 3) << log;
}

TEST_F(HastoolServe, SkipsASegmentThatIsNeverThere) {
    Serve serve({"--root", PRESENTATIONS, "--fault", "seg=3:404"});
    const json summary = play(serve, "/hls/master.m3u8", {"--retries", "1", "--max-segments", "5"});
    EXPECT_EQ(summary["skipped"], 1);
    EXPECT_EQ(summary["segments"], 5);
}

TEST_F(HastoolServe, SendsAtTheRateOfAProfile) {
    const std::string profile = m_dir.write("p.csv", "time_s,kbps\n0,400\n");
    Serve serve({"--root", PRESENTATIONS, "--profile", profile});
    const auto begin = std::chrono::steady_clock::now();
    play(serve, "/hls/master.m3u8", {"--max-segments", "3", "--limit", "0-200000"});
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    double bits = 0;
    for (int i = 1; i <= 3; ++i)
        bits += 8.0 * static_cast<double>(fs::file_size(fs::path(PRESENTATIONS) / "hls/0" /
                                                        (std::to_string(i) + ".ts")));
    EXPECT_GE(time.count(), bits / 400000 * 0.99);
}

TEST_F(HastoolServe, EndsWhenItIsInterrupted) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Serve serve({"--root", PRESENTATIONS});
        EXPECT_EQ(test::lines(serve.out()), 6) << serve.out();
        EXPECT_EQ(serve.interrupt(signal).status, 0);
    }
}

TEST_F(HastoolServe, ServesAFolderOnAChosenPort) {
    m_dir.write("root/a b.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n1.ts\n"
                                 "#EXT-X-ENDLIST\n");
    m_dir.write("root/1.ts", "media");
    const std::string port = std::to_string(test::freePort());
    Serve serve({"--root", m_dir.file("root"), "--port", port});
    EXPECT_EQ(serve.out(), "http://127.0.0.1:" + port + "/a%20b.m3u8\n");
    EXPECT_EQ(play(serve, ".m3u8")["segments"], 1);
    EXPECT_EQ(test::readFile(out()), "media");
}

TEST_F(HastoolServe, IsAsFastAsAPlainServer) {
    const test::Nginx plain;
    const std::string media(size_t{64} << 20, 'm');
    m_dir.write("root/a.bin", media);
    plain.write("a.bin", media);
    const std::string port = std::to_string(test::freePort());
    Serve serve({"--root", m_dir.file("root"), "--port", port});
    const auto secondsOf = [&](const std::string& url) {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(runHastool({"get", "-q", "-o", m_dir.file("got"), url}).status, 0);
        EXPECT_EQ(fs::file_size(m_dir.file("got")), media.size());
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    };
    const double expected = secondsOf(plain.url("/a.bin"));
    // The bound leaves room for a loaded machine; an origin that delays takes a hundred times that.
    EXPECT_LT(secondsOf("http://127.0.0.1:" + port + "/a.bin"), 5 * expected + 2);
}

TEST_F(HastoolServe, FindsTheBuiltInPresentations) {
    Serve serve({});
    EXPECT_THAT(serve.out(), HasSubstr("/dash-cenc/manifest.mpd\n"));
}

TEST_F(HastoolServe, SaysInOneLineWhatItCannotDo) {
    m_dir.write("bad.csv", "time_s,kbps\n0,fast\n");
    const std::string root = m_dir.path().string();
    const std::tuple<std::vector<std::string>, int, std::string> rows[] = {
        {{"--root", "/none"}, 1, "hastool: /none: No such file or directory\n"},
        {{"--root", root, "--fault", "seg=1:x"},
         2,
         "hastool: --fault: neither a status from 400 to 599, reset, stall=SECONDS nor "
         "truncate=BYTES: \"seg=1:x\"\n"},
        {{"--root", root, "--profile", m_dir.file("bad.csv")},
         2,
         "hastool: " + m_dir.file("bad.csv") +
             ":2: not a time in seconds and a rate in kbit/s: \"0,fast\"\n"},
        {{"--root", root, "--profile", "/none"},
         2,
         "hastool: /none: cannot be read: No such file or directory\n"},
    };
    for (const auto& [arguments, status, message] : rows) {
        std::vector<std::string> command = {"serve"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const Child::Result result = runHastool(command);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.err, message);
    }
    for (const char* const port : {"65536", "-1", "x"})
        EXPECT_EQ(runHastool({"serve", "--root", root, "--port", port}).status, 2) << port;
}
