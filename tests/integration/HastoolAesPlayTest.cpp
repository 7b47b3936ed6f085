// Playing HLS that is encrypted by AES-128.
#include "Hastool.h"

#include <support/AesPeer.h>
#include <support/FaultOrigin.h>
#include <support/MediaLadder.h>
#include <support/Nginx.h>

#include <csignal>
#include <filesystem>
#include <functional>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using test::Bytes;
using test::Child;
using test::decodeErrors;
using test::MediaLadder;
using test::readFile;
using test::Reply;
using test::runHastool;
using test::Stage;

namespace {

std::string text(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

/// A key made of one letter.
Bytes keyOf(char letter) {
    return Bytes(16, static_cast<unsigned char>(letter));
}

/// The vector that HLS makes from a media sequence number.
Bytes ivOf(unsigned char number) {
    Bytes iv(16, 0);
    iv.back() = number;
    return iv;
}

std::string encrypt(const std::string& plain, const Bytes& key, const Bytes& iv) {
    return text(test::encrypted({key, iv, true}, Bytes(plain.begin(), plain.end())));
}

std::string tag(const std::string& uri, const std::string& more = {}) {
    return "#EXT-X-KEY:METHOD=AES-128,URI=\"" + uri + "\"" + more + "\n";
}

void expectFailure(const Child::Result& result, const std::string& line) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "hastool: " + line + "\n");
}

/// Segments of a clear presentation, served encrypted.
class HastoolAesPlay : public testing::Test {
protected:
    /// Makes a presentation of one quality, four segments.
    void make(MediaLadder::Format format = MediaLadder::Format::TransportStream) {
        m_ladder =
            std::make_unique<MediaLadder>(m_dir.path() / "v", format, 8, std::vector<int>{100});
    }
    std::string clear(const std::string& name) const {
        return readFile(m_ladder->folder() / "0" / name);
    }
    std::string clear(int segment) const { return clear(std::to_string(segment) + ".ts"); }
    /// Serves the playlist and plays it into the file "o".
    Child::Result play(const std::string& lines, const std::string& retries = "0") {
        m_origin.on("/p/a.m3u8", Reply().body("#EXTM3U\n#EXT-X-TARGETDURATION:2\n" + lines +
                                              "#EXT-X-ENDLIST\n"));
        return runHastool(
            {"play", "--fast", "-q", "--retries", retries, "-o", out(), url("a.m3u8")});
    }
    void serve(const std::string& name, const std::string& body) {
        m_origin.on("/p/" + name, Reply().body(body));
    }
    std::string out() const { return m_dir.file("o"); }
    std::string url(const std::string& name) const { return m_origin.url("/p/" + name); }

    test::TempDir m_dir;
    std::unique_ptr<MediaLadder> m_ladder;
    test::FaultOrigin m_origin;
};

/// The segments of a playlist, packed anew by ffmpeg. @return the folder's playlist
std::string repack(const std::string& playlist, const std::filesystem::path& folder,
                   const std::vector<std::string>& more) {
    std::filesystem::create_directories(folder);
    std::vector<std::string> command = {"ffmpeg",
                                        "-v",
                                        "error",
                                        "-nostdin",
                                        "-i",
                                        playlist,
                                        "-c",
                                        "copy",
                                        "-f",
                                        "hls",
                                        "-hls_time",
                                        "2",
                                        "-hls_playlist_type",
                                        "vod",
                                        "-start_number",
                                        "5"};
    command.insert(command.end(), more.begin(), more.end());
    command.insert(command.end(), {"-hls_segment_filename", (folder / "%d.ts").string(),
                                   (folder / "a.m3u8").string()});
    test::runOk(command);
    return (folder / "a.m3u8").string();
}

std::string joined(const std::filesystem::path& folder) {
    std::string result;
    for (int i = 5; std::filesystem::exists(folder / (std::to_string(i) + ".ts")); ++i)
        result += readFile(folder / (std::to_string(i) + ".ts"));
    return result;
}

int countOf(const std::string& text, const std::string& part) {
    int count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

} // namespace

TEST_F(HastoolAesPlay, YieldsWhatTheClearPresentationYields) {
    make();
    const test::Nginx server;
    const std::filesystem::path root = server.root();
    const std::string source = (m_ladder->folder() / "0/index.m3u8").string();
    repack(source, root / "clear", {});
    server.write("keys/one.key", text(keyOf('k')));
    for (const std::string iv : {"", "00112233445566778899aabbccddeeff\n"}) {
        SCOPED_TRACE(iv);
        const std::string name = iv.empty() ? "numbered" : "given";
        const std::string info =
            m_dir.write("info", "../keys/one.key\n" + (root / "keys/one.key").string() + "\n" + iv);
        const std::string playlist =
            readFile(repack(source, root / name, {"-hls_key_info_file", info}));
        EXPECT_NE(playlist.find("METHOD=AES-128"), std::string::npos) << playlist;
        ASSERT_NE(readFile(root / name / "5.ts"), readFile(root / "clear/5.ts"));
        const Child::Result result =
            runHastool({"play", "--fast", "-q", "-o", out(), server.url("/" + name + "/a.m3u8")});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(readFile(out()).size(), joined(root / "clear").size());
        EXPECT_TRUE(readFile(out()) == joined(root / "clear"));
        EXPECT_EQ(decodeErrors(out()), "");
    }
    EXPECT_EQ(countOf(server.accessLog(), "/keys/one.key"), 2) << "once in each play";
}

TEST_F(HastoolAesPlay, FollowsTheRotationOfKeys) {
    make();
    const test::Nginx server;
    server.write("k/a", text(keyOf('a')));
    server.write("k/b", text(keyOf('b')));
    server.write("p/0.ts", encrypt(clear(0), keyOf('a'), ivOf(7)));
    server.write("p/1.ts", encrypt(clear(1), keyOf('b'), ivOf(99)));
    server.write("p/2.ts", clear(2));
    server.write("p/3.ts", encrypt(clear(3), keyOf('a'), ivOf(10)));
    server.write("p/a.m3u8", "#EXTM3U\n#EXT-X-MEDIA-SEQUENCE:7\n" + tag("../k/a") +
                                 "#EXTINF:2,\n0.ts\n" + tag("/k/b", ",IV=0x63") +
                                 "#EXTINF:2,\n1.ts\n#EXT-X-KEY:METHOD=NONE\n#EXTINF:2,\n2.ts\n" +
                                 tag(server.url("/k/a")) + "#EXTINF:2,\n3.ts\n#EXT-X-ENDLIST\n");
    const Child::Result result =
        runHastool({"play", "--fast", "-q", "-o", out(), server.url("/p/a.m3u8")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(readFile(out()) == m_ladder->joined(0));
    EXPECT_EQ(countOf(server.accessLog(), "/k/a"), 1);
    EXPECT_EQ(countOf(server.accessLog(), "/k/b"), 1);
}

TEST_F(HastoolAesPlay, DecryptsTheInitialisationOfFragmentedMp4) {
    make(MediaLadder::Format::FragmentedMp4);
    serve("k", text(keyOf('k')));
    std::string lines = tag("k", ",IV=0x05") + "#EXT-X-MAP:URI=\"i\"\n";
    serve("i", encrypt(clear(m_ladder->uris(0)[0]), keyOf('k'), ivOf(5)));
    for (int i = 0; i < 4; ++i) {
        const std::string name = std::to_string(i) + ".m4s";
        serve(name, encrypt(clear(name), keyOf('k'), ivOf(5)));
        lines.append("#EXTINF:2,\n").append(name).append("\n");
    }
    const Child::Result result = play(lines);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(readFile(out()) == m_ladder->joined(0));
    EXPECT_EQ(m_origin.requests("/p/i").size(), 1U);
}

TEST_F(HastoolAesPlay, FollowsRedirectsOfKeyAndSegment) {
    make();
    m_origin.on("/p/k", Reply().redirect("/keys/one"));
    m_origin.on("/keys/one", Reply().body(text(keyOf('k'))));
    m_origin.on("/p/s", Reply().redirect("/media/s"));
    m_origin.on("/media/s", Reply().body(encrypt(clear(0), keyOf('k'), ivOf(0))));
    const Child::Result result = play(tag("k") + "#EXTINF:2,\ns\n");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(readFile(out()) == clear(0));
}

TEST_F(HastoolAesPlay, DecryptsEachByteRangeByItself) {
    make();
    serve("k", text(keyOf('k')));
    std::string body = "front";
    std::string lines = tag("k");
    for (int i = 0; i < 4; ++i) {
        const std::string cipher =
            encrypt(clear(i), keyOf('k'), ivOf(static_cast<unsigned char>(i)));
        lines += "#EXTINF:2,\n#EXT-X-BYTERANGE:" + std::to_string(cipher.size()) + "@" +
                 std::to_string(body.size()) + "\nall\n";
        body += cipher;
    }
    serve("all", body);
    const Child::Result result = play(lines);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(readFile(out()) == m_ladder->joined(0));
}

TEST_F(HastoolAesPlay, GoesOnInTheMiddleOfABlockAfterABrokenConnection) {
    make();
    serve("k", text(keyOf('k')));
    const std::string cipher = encrypt(clear(0), keyOf('k'), ivOf(0));
    m_origin.on("/p/s", {Reply().body(cipher).closedAt(Stage::InBody, 10007),
                         Reply().body(cipher).resetAt(Stage::InBody, 5), Reply().body(cipher)});
    const Child::Result result = play(tag("k") + "#EXTINF:2,\ns\n", "20");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(readFile(out()) == clear(0));
    EXPECT_GE(m_origin.requests("/p/s").size(), 3U);
}

/// A good segment and then one that cannot be decrypted.
class HastoolAesFailure : public HastoolAesPlay {
protected:
    void SetUp() override {
        make();
        serve("k", text(keyOf('k')));
        serve("0", encrypt(clear(0), keyOf('k'), ivOf(4)));
        serve("1", encrypt(clear(1), keyOf('k'), ivOf(5)));
    }
    /// Plays both, with the text `between` before the second. The first has to stay whole.
    Child::Result playBoth(const std::string& between) {
        Child::Result result = play("#EXT-X-MEDIA-SEQUENCE:4\n" + tag("k") + "#EXTINF:2,\n0\n" +
                                    between + "#EXTINF:2,\n1\n");
        EXPECT_TRUE(readFile(out()) == clear(0));
        EXPECT_NE(result.out.find("played "), std::string::npos) << "the summary is there";
        return result;
    }
};

TEST_F(HastoolAesFailure, SaysThatAKeyHasTheWrongLength) {
    for (const size_t size : {0U, 15U, 17U, 70000U}) {
        serve("bad", std::string(size, 'x'));
        expectFailure(playBoth(tag("bad")), url("bad") + ": the key of segment 5 has " +
                                                std::to_string(size) + " bytes instead of 16");
    }
    serve("bad", std::string(2u << 20, 'x'));
    expectFailure(playBoth(tag("bad")), url("bad") + ": the key of segment 5: more than 1 MiB");
}

TEST_F(HastoolAesFailure, SaysThatAKeyCannotBeHad) {
    m_origin.on("/p/bad", Reply().status(410));
    const Child::Result result = playBoth(tag("bad"));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err.rfind("hastool: " + url("bad") + ": the key of segment 5: HTTP 410", 0),
              0U)
        << result.err;
    EXPECT_EQ(test::lines(result.err), 1);
}

TEST_F(HastoolAesFailure, SaysThatThePaddingIsBad) {
    serve("other", text(keyOf('o')));
    const std::string bad = ": segment 5 cannot be decrypted: bad padding: wrong key or "
                            "initialisation vector, or damaged data";
    expectFailure(playBoth(tag("other")), url("1") + bad);
    serve("1", encrypt(clear(1), keyOf('k'), ivOf(5)).substr(0, 1600));
    expectFailure(playBoth(""), url("1") + bad);
}

TEST_F(HastoolAesFailure, SaysThatASegmentIsNoWholeBlocks) {
    serve("1", encrypt(clear(1), keyOf('k'), ivOf(5)).substr(0, 1605));
    expectFailure(playBoth(""), url("1") + ": segment 5 cannot be decrypted: cut short or not "
                                           "encrypted: 1605 bytes are no whole blocks of 16");
    serve("1", "");
    expectFailure(playBoth(""),
                  url("1") + ": segment 5 cannot be decrypted: empty, without even the padding");
}

TEST_F(HastoolAesFailure, SaysThatTheMethodIsNotKnown) {
    expectFailure(playBoth("#EXT-X-KEY:METHOD=SAMPLE-AES,URI=\"k\"\n"),
                  url("a.m3u8") + ": segment 5 is encrypted by \"SAMPLE-AES\"; only AES-128 can be "
                                  "played");
    EXPECT_EQ(m_origin.requests("/p/1").size(), 0U);
}

TEST_F(HastoolAesFailure, SkipsASegmentThatCannotBeHad) {
    m_origin.on("/p/0", Reply().status(410));
    const Child::Result result =
        play("#EXT-X-MEDIA-SEQUENCE:4\n" + tag("k") + "#EXTINF:2,\n0\n#EXTINF:2,\n1\n");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(readFile(out()) == clear(1));
}

TEST_F(HastoolAesFailure, EndsQuietlyWhenInterruptedOverAKey) {
    m_origin.on("/p/bad", Reply().body("x").stalledAt(Stage::BeforeStatus));
    m_origin.on("/p/a.m3u8", Reply().body("#EXTM3U\n" + tag("bad") +
                                          "#EXTINF:2,\n0\n"
                                          "#EXT-X-ENDLIST\n"));
    Child child(test::hastoolCommand({"play", "-q", url("a.m3u8")}), test::hastoolEnvironment());
    ASSERT_TRUE(m_origin.waitForRequests("/p/bad", 1));
    child.signal(SIGINT);
    const Child::Result result = child.wait(std::chrono::seconds(20));
    expectFailure(result, url("a.m3u8") + ": interrupted");
}
