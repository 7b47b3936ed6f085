// Playing DASH and Smooth Streaming, clear and protected, judged by ffmpeg.
#include "Hastool.h"

#include <support/BoxBuilder.h>
#include <support/CencFragments.h>
#include <support/FaultOrigin.h>
#include <support/MediaLadder.h>
#include <support/Nginx.h>

#include <ctime>
#include <filesystem>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using test::Child;
using test::readFile;
using test::Reply;
using test::runHastool;

namespace {

namespace fs = std::filesystem;

constexpr char kPlayReady[] = "urn:uuid:9a04f079-9840-4286-ab92-e65be0885f95";
constexpr char kMarlin[] = "urn:uuid:5E629AF5-38DA-4063-8977-97FFBD9902D4";

/// A test picture in two qualities and a tone, packed by ffmpeg.
void pack(const std::string& target, const std::vector<std::string>& how) {
    fs::create_directories(fs::path(target).parent_path());
    std::vector<std::string> command = {"ffmpeg",
                                        "-v",
                                        "error",
                                        "-nostdin",
                                        "-f",
                                        "lavfi",
                                        "-i",
                                        "testsrc2=size=192x108:rate=25:duration=6",
                                        "-f",
                                        "lavfi",
                                        "-i",
                                        "sine=440:duration=6",
                                        "-map",
                                        "0",
                                        "-map",
                                        "0",
                                        "-map",
                                        "1",
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
                                        "-b:v:0",
                                        "100k",
                                        "-b:v:1",
                                        "300k",
                                        "-c:a",
                                        "aac"};
    command.insert(command.end(), how.begin(), how.end());
    command.push_back(target);
    test::runOk(command);
}

/// Audio that begins at 0: the packer leaves out where the first chunk begins.
void packSmooth(const std::string& folder, const std::string& scratch) {
    const std::string video = scratch + "/v.mp4";
    const std::string adts = scratch + "/a.aac"; // knows of no delay at its begin
    const std::string audio = scratch + "/a.mp4";
    pack(video, {"-an"});
    pack(adts, {"-vn", "-f", "adts"});
    test::runOk({"ffmpeg", "-v", "error", "-nostdin", "-i", adts, "-c", "copy", audio});
    test::runOk({"ffmpeg", "-v", "error", "-nostdin", "-i", video, "-i", audio, "-map", "0:v",
                 "-map", "1:a", "-c", "copy", "-f", "smoothstreaming", "-min_frag_duration",
                 "2000000", folder});
}

int countOf(const std::string& text, const std::string& part) {
    int count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

class HastoolDashPlay : public testing::Test {
protected:
    json play(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"play", "--fast", "-q", "--json", "-o", out()});
        const Child::Result result = runHastool(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        return json::parse(result.out);
    }
    std::string out() const { return m_dir.file("o.m4v"); }
    std::string audioOut() const { return m_dir.file("o.audio.m4v"); }

    test::TempDir m_dir;
    test::Nginx m_server;
};

/// A manifest of one file with Common Encryption.
std::string protectedManifest(const std::string& descriptors, const std::string& codecs) {
    return "<MPD xmlns='urn:mpeg:dash:schema:mpd:2011' xmlns:cenc='urn:mpeg:cenc:2013' "
           "mediaPresentationDuration='PT3S'><Period><AdaptationSet contentType='video'>" +
           descriptors + "<Representation id='v' bandwidth='300000' codecs='" + codecs +
           "'><BaseURL>v.mp4</BaseURL></Representation></AdaptationSet></Period></MPD>";
}

std::string descriptor(const std::string& schemeId, const std::string& more = "") {
    return "<ContentProtection schemeIdUri='" + schemeId + "'>" + more + "</ContentProtection>";
}

} // namespace

TEST_F(HastoolDashPlay, WritesVideoAndAudioByteByByte) {
    const fs::path folder = fs::path(m_server.root()) / "d";
    pack((folder / "m.mpd").string(),
         {"-f", "dash", "-seg_duration", "2", "-adaptation_sets", "id=0,streams=v id=1,streams=a"});
    const json summary = play({m_server.url("/d/m.mpd")});
    EXPECT_EQ(summary["segments"], 6);
    EXPECT_EQ(summary["streams"], 2);
    EXPECT_EQ(summary["skipped"], 0);
    const auto joined = [&](const std::string& stream) {
        std::string bytes = readFile(folder / ("init-stream" + stream + ".m4s"));
        for (int i = 1; i <= 3; ++i)
            bytes +=
                readFile(folder / ("chunk-stream" + stream + "-0000" + std::to_string(i) + ".m4s"));
        return bytes;
    };
    EXPECT_TRUE(readFile(out()) == joined("0"));
    EXPECT_TRUE(readFile(audioOut()) == joined("2"));
    EXPECT_EQ(test::decodeErrors(out()), "");
    EXPECT_EQ(test::decodeErrors(audioOut()), "");
}

TEST_F(HastoolDashPlay, PlaysFilesWithASegmentIndex) {
    const fs::path folder = fs::path(m_server.root()) / "d";
    pack((folder / "m.mpd").string(),
         {"-f", "dash", "-seg_duration", "2", "-single_file", "1", "-global_sidx", "1",
          "-adaptation_sets", "id=0,streams=v id=1,streams=a"});
    const json summary = play({m_server.url("/d/m.mpd"), "--start-bitrate", "10000000"});
    EXPECT_EQ(summary["segments"], 6);
    EXPECT_EQ(test::decodeErrors(out()), "");
    EXPECT_EQ(test::decodedSeconds(out()), 6);
}

TEST_F(HastoolDashPlay, PlaysSmoothStreamingWithAnInitialisationOfItsOwn) {
    packSmooth(m_server.root() + "/s.ism", m_dir.path().string());
    const json summary = play({m_server.url("/s.ism/Manifest")});
    EXPECT_EQ(summary["segments"], 6);
    EXPECT_EQ(summary["renditions"][0]["resolution"], "192x108");
    EXPECT_EQ(test::decodeErrors(out()), "");
    EXPECT_EQ(test::decodeErrors(audioOut()), "");
    EXPECT_EQ(test::decodedSeconds(out()), 6);
}

TEST_F(HastoolDashPlay, PutsThePsshOfTheManifestIntoEachFragment) {
    const std::string file = m_server.root() + "/d/v.mp4";
    fs::create_directories(m_server.root() + "/d");
    test::makeEncryptedFragments(file, false);
    const std::string frames = test::decryptedFrames(file);
    ASSERT_NE(frames, "");
    const std::string box = "AAAAJHBzc2gAAAAAmgTweZhAQoarkuZb4IhflQAAAARkYXRh"; // "data"
    for (const std::string& descriptors :
         {descriptor(kPlayReady, "<cenc:pssh>" + box + "</cenc:pssh>"),
          descriptor("urn:mpeg:dash:mp4protection:2011") + descriptor("urn:uuid:other") +
              descriptor(kMarlin, "<cenc:pssh>" + box + "</cenc:pssh>")}) {
        m_server.write("d/m.mpd", protectedManifest(descriptors, "avc1.42c00d"));
        play({m_server.url("/d/m.mpd")});
        const std::string written = readFile(out());
        EXPECT_GT(countOf(written, "moof"), 1);
        EXPECT_EQ(countOf(written, "pssh"), countOf(written, "moof"));
        EXPECT_EQ(countOf(written, std::string("\0\0\0\4data", 8)), countOf(written, "moof"));
        EXPECT_EQ(test::decryptedFrames(out()), frames);
    }
}

TEST_F(HastoolDashPlay, LeavesAnIndexThatFitsTheGrownFragments) {
    const std::string file = m_server.root() + "/d/v.mp4";
    fs::create_directories(m_server.root() + "/d");
    test::runOk({"ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i", "testsrc2=s=320x180",
                 "-t", "3", "-c:v", "libx264", "-preset", "ultrafast", "-g", "5", "-movflags",
                 "frag_keyframe+empty_moov+default_base_moof+global_sidx", file});
    const std::string box = "AAAAJHBzc2gAAAAAmgTweZhAQoarkuZb4IhflQAAAARkYXRh";
    m_server.write("d/m.mpd",
                   protectedManifest(descriptor(kPlayReady, "<cenc:pssh>" + box + "</cenc:pssh>"),
                                     "avc1.42c00d"));
    play({m_server.url("/d/m.mpd")});
    EXPECT_EQ(countOf(readFile(out()), "pssh"), 15);
    EXPECT_EQ(countOf(readFile(out()), "sidx"), 1);
    const auto packets = [](const std::string& path) {
        return std::stoi(test::runOk({"ffprobe", "-v", "error", "-count_packets", "-show_entries",
                                      "stream=nb_read_packets", "-of", "csv=p=0", path}));
    };
    EXPECT_EQ(packets(out()), packets(file));
    std::vector<uint64_t> told;
    std::vector<uint64_t> sizes;
    for (const json& it : json::parse(runHastool({"boxes", "--json", out()}).out)) {
        for (const json& reference : it.value("references", json::array()))
            told.push_back(reference["size"]);
        if (it["type"] == "moof")
            sizes.push_back(it["size"]);
        else if (it["type"] == "mdat")
            sizes.back() += it["size"].get<uint64_t>();
    }
    EXPECT_EQ(told, sizes);
}

TEST_F(HastoolDashPlay, PutsThePsshIntoTheMovieWhereAudioAndVideoAreMultiplexed) {
    const std::string file = m_server.root() + "/d/v.mp4";
    fs::create_directories(m_server.root() + "/d");
    test::makeEncryptedFragments(file, true);
    const std::string box = "AAAAJHBzc2gAAAAAmgTweZhAQoarkuZb4IhflQAAAARkYXRh";
    m_server.write("d/m.mpd",
                   protectedManifest(descriptor(kPlayReady, "<cenc:pssh>" + box + "</cenc:pssh>"),
                                     "avc1.42c00d,mp4a.40.2"));
    play({m_server.url("/d/m.mpd")});
    EXPECT_EQ(countOf(readFile(out()), "pssh"), 1);
    EXPECT_EQ(readFile(out()).size(), fs::file_size(file) + 36);
    EXPECT_EQ(test::decryptedFrames(out()), test::decryptedFrames(file));
}

TEST_F(HastoolDashPlay, SaysWhenNoHandlerKnowsTheProtection) {
    m_server.write("d/v.mp4", "media");
    m_server.write("d/m.mpd", protectedManifest(descriptor("urn:uuid:other"), "avc1"));
    const Child::Result result = runHastool({"play", "--fast", "-q", m_server.url("/d/m.mpd")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "hastool: " + m_server.url("/d/v.mp4") +
                              ": protected by a system that is not supported\n");
}

TEST_F(HastoolDashPlay, EndsInOneLineForAManifestThatIsNone) {
    m_server.write("a.mpd", "<MPD><Period></MPD>");
    m_server.write("b.mpd", "<MPD/>");
    m_server.write("c", "<SmoothStreamingMedia/>");
    m_server.write("d", "<html></html>");
    const std::pair<const char*, const char*> rows[] = {
        {"/a.mpd", "not a well-formed XML document"},
        {"/b.mpd", "an MPD without a Period"},
        {"/c", "a Smooth Streaming manifest without a stream"},
        {"/d", "not a playlist: no #EXTM3U before \"<html></html>\""}};
    for (const auto& [path, message] : rows) {
        const Child::Result result = runHastool({"play", "--fast", "-q", m_server.url(path)});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(test::lines(result.err), 1) << result.err;
        EXPECT_NE(result.err.find(path), std::string::npos) << result.err;
        EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
    }
}

TEST_F(HastoolDashPlay, ReadsAManifestOfFiftyMegabytes) {
    std::string text = "<MPD mediaPresentationDuration='PT4S'><Period><AdaptationSet "
                       "contentType='video'><SegmentTemplate media='s$Number$' duration='2'/>"
                       "<Representation id='v' bandwidth='1'/></AdaptationSet><EventStream>";
    const std::string event = "<Event id='1'>" + std::string(1000, 'x') + "</Event>\n";
    while (text.size() < 50u << 20)
        text += event;
    text += "</EventStream></Period></MPD>";
    m_server.write("big.mpd", text);
    m_server.write("s1", "one");
    m_server.write("s2", "two");
    const json summary = play({m_server.url("/big.mpd")});
    EXPECT_EQ(summary["segments"], 2);
    EXPECT_EQ(readFile(out()), "onetwo");
}

TEST_F(HastoolDashPlay, PlaysUrlsWithBlanksAndOtherLetters) {
    m_server.write("d/\xC3\xA4 b/s 1.m4s", "one");
    m_server.write("d/m.mpd",
                   "<MPD mediaPresentationDuration='PT2S'><Period><AdaptationSet "
                   "contentType='video'><BaseURL>\xC3\xA4 b/</BaseURL>"
                   "<SegmentTemplate media='s $Number$.m4s' duration='2'/>"
                   "<Representation id='v' bandwidth='1'/></AdaptationSet></Period></MPD>");
    play({m_server.url("/d/m.mpd")});
    EXPECT_EQ(readFile(out()), "one");
}

TEST_F(HastoolDashPlay, TakesAnEmptySegmentAsItIs) {
    m_server.write("d/s1", "");
    m_server.write("d/s2", "two");
    m_server.write("d/m.mpd",
                   "<MPD mediaPresentationDuration='PT4S'><Period><AdaptationSet "
                   "contentType='video'><SegmentTemplate media='s$Number$' duration='2'/>"
                   "<Representation id='v' bandwidth='1'/></AdaptationSet></Period></MPD>");
    EXPECT_EQ(play({m_server.url("/d/m.mpd")})["segments"], 2);
    EXPECT_EQ(readFile(out()), "two");
}

TEST_F(HastoolDashPlay, KeepsWhatWasWrittenWhenALaterSegmentIsMissing) {
    m_server.write("d/s1", "one");
    m_server.write("d/s3", "three");
    m_server.write("d/m.mpd",
                   "<MPD mediaPresentationDuration='PT6S'><Period><AdaptationSet "
                   "contentType='video'><SegmentTemplate media='s$Number$' duration='2'/>"
                   "<Representation id='v' bandwidth='1'/></AdaptationSet></Period></MPD>");
    const json summary = play({"--retries", "0", m_server.url("/d/m.mpd")});
    EXPECT_EQ(summary["skipped"], 1);
    EXPECT_EQ(readFile(out()), "onethree");
}

namespace {

/// A manifest of segments "s1", "s2", ... of a second each.
std::string numbered(const std::string& attributes, const std::string& periodAttributes) {
    return "<MPD " + attributes + "><Period start='PT0S' " + periodAttributes +
           "><AdaptationSet contentType='video'><SegmentTemplate media='s$Number$' duration='1'/>"
           "<Representation id='v' bandwidth='1'/></AdaptationSet></Period></MPD>";
}

/// "2024-01-01T00:00:00Z" of so many seconds ago.
std::string dateOf(std::time_t secondsAgo) {
    const std::time_t time = std::time(nullptr) - secondsAgo;
    std::tm parts{};
    gmtime_r(&time, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

class HastoolPlayOrigin : public HastoolDashPlay {
protected:
    std::string url(const std::string& path) const { return m_origin.url(path); }

    test::FaultOrigin m_origin;
};

} // namespace

TEST_F(HastoolPlayOrigin, FollowsRedirectsOfManifestAndSegments) {
    m_origin.on("/a.mpd", Reply().redirect("/elsewhere/b.mpd"));
    m_origin.on("/elsewhere/b.mpd", Reply().body(numbered("mediaPresentationDuration='PT2S'", "")));
    m_origin.on("/elsewhere/s1", Reply().redirect(url("/one")));
    m_origin.on("/one", Reply().body("one"));
    m_origin.on("/elsewhere/s2", Reply().body("two"));
    EXPECT_EQ(play({url("/a.mpd")})["segments"], 2);
    EXPECT_EQ(readFile(out()), "onetwo");
}

TEST_F(HastoolPlayOrigin, PlaysALiveManifestToItsEnd) {
    m_origin.on("/m.mpd", Reply().body(numbered("type='dynamic' availabilityStartTime='" +
                                                    dateOf(4) + "' minimumUpdatePeriod='PT1S'",
                                                "duration='PT8S'")));
    for (int i = 1; i <= 8; ++i)
        m_origin.on("/s" + std::to_string(i), Reply().body(std::to_string(i)));
    const json summary = play({url("/m.mpd")});
    EXPECT_EQ(summary["live"], true);
    const std::string written = readFile(out());
    EXPECT_GE(written.size(), 4U) << written;
    EXPECT_EQ(written, std::string("12345678").substr(8 - written.size()));
    EXPECT_GE(m_origin.requests("/m.mpd").size(), 2U) << "loaded again";
}

TEST_F(HastoolPlayOrigin, RidesOutAStalledManifestAndAVanishedSegment) {
    int loads = 0;
    const std::string manifest = numbered("type='dynamic' availabilityStartTime='" + dateOf(4) +
                                              "' minimumUpdatePeriod='PT1S'",
                                          "duration='PT7S'");
    m_origin.onPrefix("/m.mpd", [&loads, manifest](const test::Request&) {
        return ++loads == 2 ? Reply().status(404) : Reply().body(manifest);
    });
    for (const int i : {1, 2, 3, 4, 6, 7})
        m_origin.on("/s" + std::to_string(i), Reply().body(std::to_string(i)));
    const json summary = play({"--retries", "0", url("/m.mpd")});
    EXPECT_EQ(summary["skipped"], 1);
    const std::string written = readFile(out());
    EXPECT_EQ(written.substr(written.size() - 3), "467");
}

TEST_F(HastoolPlayOrigin, TellsWhatThePlayerIsTold) {
    m_origin.on("/a.m3u8",
                Reply().body("#EXTM3U\n#EXT-X-TARGETDURATION:2\n"
                             "#EXT-X-PROGRAM-DATE-TIME:2024-01-01T00:01:00Z\n#EXTINF:2,\na\n"
                             "#EXT-X-CUE-OUT:2\n#EXT-X-DISCONTINUITY\n#EXTINF:2,\na\n"
                             "#EXT-X-CUE-IN\n#EXTINF:2,\na\n#EXT-X-ENDLIST\n"));
    m_origin.on("/a", Reply().body("media"));
    const Child::Result result = runHastool({"play", "--fast", url("/a.m3u8")});
    EXPECT_EQ(result.status, 0);
    for (const char* const line :
         {"date-time: 20240101T000100\n", "discontinuity: at 2000 ms of the media\n",
          "ad-start: at 2000 ms of the media\n", "ad-end: at 4000 ms of the media\n"})
        EXPECT_NE(result.err.find(line), std::string::npos) << line << result.err;
}

TEST_F(HastoolPlayOrigin, TellsTheEventsOfTheManifestAndOfTheSegments) {
    m_origin.on("/m.mpd",
                Reply().body("<MPD mediaPresentationDuration='PT6S'><Period id='p'>"
                             "<EventStream schemeIdUri='urn:scte:scte35:2013:xml'><Event id='1' "
                             "presentationTime='1'><SpliceInsert outOfNetworkIndicator='true'>"
                             "<BreakDuration duration='180000'/></SpliceInsert></Event>"
                             "</EventStream><AdaptationSet contentType='video'><SegmentTemplate "
                             "media='s$Number$' duration='2'/><Representation id='v' "
                             "bandwidth='1'/></AdaptationSet></Period></MPD>"));
    for (const int i : {1, 2})
        m_origin.on("/s" + std::to_string(i), Reply().body("media"));
    using namespace test::boxes;
    const auto message = fullBox("emsg", 0, 0,
                                 text("urn:x") + u8(0) + text("1") + u8(0) + u32(1000) + u32(500) +
                                     u32(0) + u32(7) + text("hello"));
    m_origin.on("/s3", Reply().body(std::string(message.begin(), message.end())));
    const Child::Result result = runHastool({"play", "--fast", url("/m.mpd")});
    EXPECT_EQ(result.status, 0);
    for (const char* const line :
         {"cue: EventStream p//1 of urn:scte:scte35:2013:xml at 1.0 s for 2.0 s: splice insert",
          "ad-start: at 1000 ms of the media\n", "ad-end: at 3000 ms of the media\n",
          "cue: emsg 1/7 of urn:x at 4.5 s: hello\n"})
        EXPECT_NE(result.err.find(line), std::string::npos) << line << result.err;
}

TEST_F(HastoolPlayOrigin, PlaysSeparateAudioOfHls) {
    m_origin.on("/m.m3u8", Reply().body("#EXTM3U\n#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"g\",NAME="
                                        "\"n\",DEFAULT=YES,URI=\"a.m3u8\"\n#EXT-X-STREAM-INF:"
                                        "BANDWIDTH=9,AUDIO=\"g\"\nv.m3u8\n"));
    for (const std::string name : {"a", "v"}) {
        m_origin.on("/" + name + ".m3u8",
                    Reply().body("#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXTINF:2,\n" + name +
                                 "\n#EXTINF:2,\n" + name + "\n#EXT-X-ENDLIST\n"));
        m_origin.on("/" + name, Reply().body(name));
    }
    play({url("/m.m3u8")});
    EXPECT_EQ(readFile(out()), "vv");
    EXPECT_EQ(readFile(audioOut()), "aa");
}

TEST_F(HastoolPlayOrigin, PausesAsAViewerWould) {
    m_origin.on("/m.mpd", Reply().body(numbered("mediaPresentationDuration='PT3S'", "")));
    for (int i = 1; i <= 3; ++i)
        m_origin.on("/s" + std::to_string(i), Reply().body("media"));
    const Child::Result result =
        runHastool({"play", "--json", "--pause-at", "0.5:1", url("/m.mpd")});
    EXPECT_EQ(result.status, 0);
    const size_t paused = result.err.find("pause: the viewer pauses\n");
    EXPECT_LT(paused, result.err.find("resume: the viewer goes on\n"));
    const json summary = json::parse(result.out);
    EXPECT_GE(summary["wall_s"], 3.9);
    EXPECT_EQ(summary["stalls"], 0);
}

TEST_F(HastoolPlayOrigin, RefusesOptionsThatAreNone) {
    const std::pair<std::vector<std::string>, std::string> rows[] = {
        {{"--limit", "5"}, "--limit: not a range of bitrates: \"5\""},
        {{"--pause-at", "5"}, "--pause-at: not a position and a time: \"5\""},
        {{"--groups", m_dir.write("g", "x")},
         m_dir.file("g") + ":1: not \"bitrate,group,class\": \"x\""}};
    for (const auto& [options, line] : rows) {
        std::vector<std::string> command = {"play"};
        command.insert(command.end(), options.begin(), options.end());
        command.push_back(url("/m.mpd"));
        const Child::Result result = runHastool(command);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.err, "hastool: " + line + "\n");
    }
}
