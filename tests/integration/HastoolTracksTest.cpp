// Audio, video and subtitles that come separately.
#include "Hastool.h"

#include <support/FaultOrigin.h>
#include <support/MediaLadder.h>
#include <support/Nginx.h>

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using test::Child;
using test::readFile;
using test::Reply;
using test::runOk;

namespace {

namespace fs = std::filesystem;

constexpr char kMaster[] =
    "#EXTM3U\n"
    "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"English\",LANGUAGE=\"en\",URI=\"a.m3u8\"\n"
    "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"English\",LANGUAGE=\"en\",URI=\"s.m3u8\"\n"
    "#EXT-X-STREAM-INF:BANDWIDTH=300000,AUDIO=\"a\",SUBTITLES=\"s\"\nv.m3u8\n";

/// Six seconds of a test picture or a tone, as HLS of three segments.
void pack(const std::string& playlist, const std::vector<std::string>& source,
          const std::vector<std::string>& how) {
    std::vector<std::string> command = {"ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i"};
    command.insert(command.end(), source.begin(), source.end());
    for (const char* const word : {"-f", "hls", "-hls_time", "2", "-hls_playlist_type", "vod"})
        command.emplace_back(word);
    command.insert(command.end(), how.begin(), how.end());
    command.push_back(playlist);
    runOk(command);
}

const std::vector<std::string> kVideo = {
    "testsrc2=size=192x108:rate=25:duration=6",
    "-c:v",
    "libx264",
    "-preset",
    "ultrafast",
    "-g",
    "50",
    "-keyint_min",
    "50",
    "-sc_threshold",
    "0",
};
const std::vector<std::string> kAudio = {"sine=440:duration=6", "-c:a", "aac"};

std::string cue(int second, const std::string& text) {
    return "WEBVTT\nX-TIMESTAMP-MAP=LOCAL:00:00:00.000,MPEGTS:126000\n\n00:0" +
           std::to_string(second) + ".000 --> 00:0" + std::to_string(second + 1) + ".000\n" + text +
           "\n";
}

class HastoolTracks : public testing::Test {
protected:
    HastoolTracks() {
        m_server.write("p/m.m3u8", kMaster);
        const std::string folder = m_server.root() + "/p/";
        const std::vector<std::string> fragments = {"-hls_segment_type", "fmp4",
                                                    "-hls_fmp4_init_filename"};
        for (const std::string name : {"v", "a"}) {
            std::vector<std::string> how = fragments;
            how.push_back(name + ".mp4");
            pack(folder + name + ".m3u8", name == "v" ? kVideo : kAudio, how);
        }
        m_server.write("p/s.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXTINF:2,\ns0.vtt\n"
                                   "#EXTINF:2,\ns1.vtt\n#EXTINF:2,\ns2.vtt\n#EXT-X-ENDLIST\n");
    }

    Child::Result play(std::vector<std::string> arguments,
                       const std::vector<std::string>& environment = {}) {
        arguments.insert(arguments.begin(), {"play", "--fast", "-q", "--json", "-o", out()});
        arguments.push_back(m_server.url("/p/m.m3u8"));
        auto all = test::hastoolEnvironment();
        all.insert(all.end(), environment.begin(), environment.end());
        return test::run(test::hastoolCommand(arguments), all, std::chrono::seconds(100));
    }
    std::string out() const { return m_dir.file("film.mp4"); }
    std::string audioOut() const { return m_dir.file("film.audio.mp4"); }
    /// "video,audio": what ffprobe finds in a file.
    static std::string streams(const std::string& file) {
        const json found = json::parse(runOk(
            {"ffprobe", "-v", "error", "-show_entries", "stream=codec_type", "-of", "json", file}));
        std::string text;
        for (const json& stream : found["streams"])
            text += (text.empty() ? "" : ",") + stream["codec_type"].get<std::string>();
        return text;
    }
    /// The names in the folder of the output.
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(m_dir.path()))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }
    /// A folder with a program "ffmpeg" that does this.
    std::string fakeFfmpeg(const std::string& script) const {
        const std::string file = m_tools.write("ffmpeg", "#!/bin/sh\n" + script);
        fs::permissions(file, fs::perms::owner_all);
        return "PATH=" + m_tools.path().string();
    }

    test::TempDir m_dir;
    test::TempDir m_tools;
    test::Nginx m_server;
};

} // namespace

TEST_F(HastoolTracks, OneMp4HasSeparateAudioAndVideo) {
    const Child::Result result = play({});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(files(), std::vector<std::string>{"film.mp4"});
    EXPECT_EQ(streams(out()), "video,audio");
    EXPECT_EQ(test::decodeErrors(out()), "");
    EXPECT_NEAR(test::decodedSeconds(out()), 6, 0.1);
}

TEST_F(HastoolTracks, WithoutFfmpegThereAreTwoFiles) {
    const Child::Result result = play({}, {"PATH=" + m_tools.path().string()});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.err.find("there is no ffmpeg to join them"), std::string::npos) << result.err;
    EXPECT_EQ(test::lines(result.err), 1) << result.err;
    EXPECT_EQ(files(), (std::vector<std::string>{"film.audio.mp4", "film.mp4"}));
    EXPECT_EQ(streams(out()), "video");
    EXPECT_EQ(streams(audioOut()), "audio");
}

TEST_F(HastoolTracks, WhenFfmpegFailsTheTwoFilesStay) {
    const Child::Result result =
        play({}, {fakeFfmpeg("for last; do :; done; echo part > \"${last#file:}\"\n"
                             "echo 'no \033[31mway' >&2; exit 3\n")});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("ffmpeg: \"no ?[31mway\""), std::string::npos) << result.err;
    EXPECT_EQ(test::lines(result.err), 1) << result.err;
    EXPECT_GE(json::parse(result.out)["segments"], 6) << "the summary is there";
    EXPECT_EQ(files(), (std::vector<std::string>{"film.audio.mp4", "film.mp4"}));
    EXPECT_EQ(streams(out()), "video");
}

TEST_F(HastoolTracks, AnInterruptEndsFfmpegToo) {
    const std::string path =
        fakeFfmpeg("echo > " + m_tools.file("begun") + "\nexec /bin/sleep 60\n");
    Child child(
        test::hastoolCommand({"play", "--fast", "-q", "-o", out(), m_server.url("/p/m.m3u8")}),
        {"no_proxy=127.0.0.1", path});
    while (!fs::exists(m_tools.file("begun")) && child.isRunning())
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    child.signal(SIGINT);
    EXPECT_EQ(child.wait(std::chrono::seconds(30)).status, 1);
    EXPECT_EQ(files(), (std::vector<std::string>{"film.audio.mp4", "film.mp4"}));
}

TEST_F(HastoolTracks, SubtitlesAreWrittenBesideWithTheTimesOfTheMedia) {
    // Fragmented MP4 begins at 0, the subtitles' clock at 1.4 s.
    m_server.write("p/s0.vtt", cue(0, "one"));
    m_server.write("p/s1.vtt", cue(0, "one"));
    m_server.write("p/s2.vtt", cue(4, "two"));
    const Child::Result result = play({"--subtitles", "en", "--trace", m_dir.file("t.json")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(readFile(m_dir.file("film.en.vtt")),
              "WEBVTT\n\n00:00:01.400 --> 00:00:02.400\none\n\n00:00:05.400 --> 00:00:06.400\n"
              "two\n");
    const json summary = json::parse(result.out);
    EXPECT_EQ(summary["subtitle_segments"], 3);
    int rows = 0;
    for (const json& row : json::parse(readFile(m_dir.file("t.json"))))
        rows += row["track"] == "subtitles" ? 1 : 0;
    EXPECT_EQ(rows, 3);
}

TEST_F(HastoolTracks, SubtitlesFollowTheClockOfTransportStreams) {
    pack(m_server.root() + "/p/v.m3u8", kVideo, {}); // ffmpeg's begin at 1.4 s
    for (int i = 0; i < 3; ++i)
        m_server.write("p/s" + std::to_string(i) + ".vtt", cue(2 * i, std::to_string(i)));
    const Child::Result result = play({"--subtitles", "English", "--audio", "none"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(readFile(m_dir.file("film.en.vtt")),
              "WEBVTT\n\n00:00:00.000 --> 00:00:01.000\n0\n\n00:00:02.000 --> 00:00:03.000\n1\n\n"
              "00:00:04.000 --> 00:00:05.000\n2\n");
}

TEST_F(HastoolTracks, SubtitlesThatAreMissingAreLeftOut) {
    m_server.write("p/s0.vtt", "<html>gone</html>");
    m_server.write("p/s2.vtt", cue(4, "two"));
    const Child::Result result = play({"--subtitles", "en", "--report", m_dir.file("report.html")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.err.find("/p/s0.vtt: subtitles: neither WebVTT nor TTML; left out"),
              std::string::npos)
        << result.err;
    EXPECT_NE(result.err.find("/p/s1.vtt: subtitles: HTTP 404"), std::string::npos) << result.err;
    EXPECT_NE(readFile(m_dir.file("film.en.vtt")).find("two"), std::string::npos);
    EXPECT_EQ(json::parse(result.out)["skipped"], 0);
    EXPECT_EQ(json::parse(result.out)["subtitles_skipped"], 2);
    EXPECT_NE(readFile(m_dir.file("report.html")).find("<td>subtitles</td>"), std::string::npos);
}

TEST_F(HastoolTracks, SaysInOneLineWhichSubtitlesThereAre) {
    const Child::Result result = play({"--subtitles", "fr"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "hastool: --subtitles: no such rendition: \"fr\"; there are \"en\" "
                          "(\"English\")\n");
    EXPECT_TRUE(files().empty());
}

/// Both come after four seconds; one after the other would take eight.
TEST(HastoolTrackFaults, OfAudioAndVideoCostAsMuchAsOne) {
    test::FaultOrigin origin;
    const std::string master(kMaster);
    origin.on("/m.m3u8", Reply().body(master));
    for (const std::string name : {"v", "a"}) {
        origin.on("/" + name + ".m3u8",
                  Reply().body("#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXTINF:2,\n" + name +
                               "0\n#EXTINF:2,\n" + name + "1\n#EXT-X-ENDLIST\n"));
        origin.on("/" + name + "0", Reply().body(name));
        origin.on("/" + name + "1", Reply().body(name).delayed(std::chrono::seconds(4)));
    }
    const Child::Result result =
        test::runHastool({"play", "--fast", "-q", "--json", origin.url("/m.m3u8")});
    EXPECT_EQ(result.status, 0) << result.err;
    const double seconds = json::parse(result.out)["wall_s"];
    EXPECT_GE(seconds, 4);
    EXPECT_LT(seconds, 7.5);
}

/// What the first engine has learnt opens the door to the subtitles too.
TEST(HastoolTrackCookies, SubtitlesThatNeedACookieAreFetchedWithIt) {
    test::FaultOrigin origin;
    origin.on("/m.m3u8", Reply()
                             .body("#EXTM3U\n#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"x\","
                                   "LANGUAGE=\"en\",URI=\"s.m3u8\"\n"
                                   "#EXT-X-STREAM-INF:BANDWIDTH=1,SUBTITLES=\"s\"\nv.m3u8\n")
                             .setCookie("door=open; path=/"));
    for (const std::string name : {"v", "s"})
        origin.on("/" + name + ".m3u8",
                  Reply().body("#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXTINF:2,\n" + name +
                               "0\n#EXTINF:2,\n" + name + "1\n#EXT-X-ENDLIST\n"));
    for (const std::string name : {"v0", "v1"})
        origin.on("/" + name, Reply().body(name));
    for (const std::string name : {"s0", "s1"})
        origin.on("/" + name, [](const test::Request& request) {
            const bool isOpen = request.header("Cookie").find("door=open") != std::string::npos;
            return isOpen ? Reply().body(cue(0, "inside")) : Reply().status(403);
        });
    const Child::Result result = test::runHastool(
        {"play", "--fast", "-q", "--json", "--subtitles", "en", origin.url("/m.m3u8")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(json::parse(result.out)["subtitle_segments"], 2) << result.err;
}
