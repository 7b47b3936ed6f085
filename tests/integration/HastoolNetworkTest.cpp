// Options for requests and their time limits, the same for get and play; lists of URLs.
#include "Hastool.h"

#include <support/FaultOrigin.h>
#include <support/SilentPort.h>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using test::Child;
using test::lines;
using test::pattern;
using test::readFile;
using test::Reply;
using test::runHastool;
using test::Stage;

namespace {

constexpr char kPlaylist[] =
    "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n/s.ts\n#EXT-X-ENDLIST\n";

class HastoolNetwork : public testing::Test {
protected:
    HastoolNetwork() {
        m_origin.on("/a", Reply().body("hello"));
        m_origin.on("/list.m3u8", Reply().body(kPlaylist));
        m_origin.on("/s.ts", Reply().body(std::string(188, 'G')));
    }

    std::string file(const std::string& name = "a") const { return m_dir.file(name); }
    Child::Result get(const std::string& path, std::vector<std::string> options) const {
        options.insert(options.begin(), "get");
        options.insert(options.end(), {"-o", file(), m_origin.url(path)});
        return runHastool(options);
    }
    static bool has(const std::string& text, const std::string& part) {
        return text.find(part) != std::string::npos;
    }

    test::TempDir m_dir;
    test::FaultOrigin m_origin;
};

} // namespace

TEST_F(HastoolNetwork, SendsHeaders) {
    EXPECT_EQ(get("/a", {"-H", "X-One: 1", "--header", "X-Two: 2, 3"}).status, 0);
    const test::Request request = m_origin.requests("/a").at(0);
    EXPECT_EQ(request.header("X-One"), "1");
    EXPECT_EQ(request.header("X-Two"), "2, 3");
    EXPECT_EQ(request.header("Accept-Encoding").find("identity"), std::string::npos);
    runHastool({"play", "--fast", "-q", "-H", "X-One: 1", m_origin.url("/list.m3u8")});
    EXPECT_EQ(m_origin.requests("/list.m3u8").at(0).header("X-One"), "1");
    ASSERT_GE(m_origin.requests("/s.ts").size(), 1U);
    EXPECT_EQ(m_origin.requests("/s.ts").at(0).header("X-One"), "1");
}

TEST_F(HastoolNetwork, KeepsSecretsFromOtherHosts) {
    m_origin.on("/away", Reply().redirect(m_origin.url("/a", "localhost")));
    EXPECT_EQ(get("/away", {"-H", "Authorization: s", "-H", "X-One: 1"}).status, 0);
    EXPECT_EQ(m_origin.requests("/away").at(0).header("Authorization"), "s");
    EXPECT_EQ(m_origin.requests("/a").at(0).header("Authorization"), "");
    EXPECT_EQ(m_origin.requests("/a").at(0).header("X-One"), "1");
}

TEST_F(HastoolNetwork, RefusesInOneLineWhatIsNoHeaderAndNoTime) {
    for (const char* command : {"get", "play"}) {
        for (const std::vector<std::string>& option : {std::vector<std::string>{"-H", "no colon"},
                                                       {"-H", "X: 1\r\nY: 2"},
                                                       {"-H", "X: 1\n"},
                                                       {"-H", ": 1"},
                                                       {"-H", "X Y: 1"},
                                                       {"-H", "X\xC3\xA4: 1"},
                                                       {"-H", "X: \x01"},
                                                       {"-H", ""},
                                                       {"--timeout", "0"},
                                                       {"--timeout", "-3"},
                                                       {"--connect-timeout", "0"},
                                                       {"--connect-timeout", "-0.5"},
                                                       {"--max-time", "0"},
                                                       {"--max-time", "-1"},
                                                       {"--max-time", "nan"},
                                                       {"--max-time", "soon"},
                                                       {"--timeout", "1e9"},
                                                       {"--timeout", "0.0001"}}) {
            const Child::Result result =
                runHastool({command, option.at(0), option.at(1), m_origin.url("/a")});
            EXPECT_EQ(result.status, 2) << option.at(0) << " " << option.at(1);
            EXPECT_EQ(lines(result.err), 1) << result.err;
            EXPECT_EQ(result.out, "");
        }
    }
    EXPECT_FALSE(has(get("/a", {"-H", "Cookie secret"}).err, "secret")) << "not repeated";
    EXPECT_EQ(m_origin.requests().size(), 0U);
}

TEST_F(HastoolNetwork, GivesUpAConnectionThatDoesNotStand) {
    const test::SilentPort port;
    const Child::Result result =
        runHastool({"get", "--connect-timeout", "0.2", port.url("https"), "-o", file()});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(lines(result.err), 1) << result.err;
    EXPECT_TRUE(has(result.err, "/a: timed out: ")) << result.err;
    EXPECT_TRUE(has(result.err, "(code -53, 127.0.0.1:")) << result.err;
}

TEST_F(HastoolNetwork, GivesUpWhenNoByteComes) {
    m_origin.on("/none", Reply().stalledAt(Stage::BeforeStatus));
    m_origin.on("/some", Reply().body(pattern(100000)).stalledAt(Stage::InBody, 50000));
    for (const char* path : {"/none", "/some"}) {
        const Child::Result result = get(path, {"--timeout", "0.3"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "hastool: " + m_origin.url(path) +
                                  ": timed out: no byte for 0.3 s, see --timeout (code -53)\n");
        EXPECT_FALSE(std::filesystem::exists(file()));
    }
    EXPECT_EQ(m_origin.requests("/some").size(), 1U) << "not retried";
}

TEST_F(HastoolNetwork, ADownloadThatComesSlowlyIsNoneThatDoesNotCome) {
    m_origin.on("/slow", Reply().body(pattern(20000)).dripped(1000, 60ms));
    EXPECT_EQ(get("/slow", {"-q", "--timeout", "1", "--connect-timeout", "1"}).status, 0);
    EXPECT_TRUE(readFile(file()) == pattern(20000).all());
}

TEST_F(HastoolNetwork, GivesUpWhatTakesTooLongWithItsRepetitions) {
    m_origin.on("/slow", Reply().body(pattern(200000)).dripped(100, 10ms));
    const Child::Result slow = get("/slow", {"--max-time", "0.5"});
    EXPECT_EQ(slow.status, 1);
    EXPECT_TRUE(has(slow.err, ": timed out: not done after 0.5 s, see --max-time (code -53)\n"))
        << slow.err;
    m_origin.on("/never", Reply().status(503));
    const Child::Result never = get("/never", {"--max-time", "2", "--retries", "1000"});
    EXPECT_EQ(never.status, 1);
    EXPECT_TRUE(has(never.err, ": timed out: not done after 2 s")) << never.err;
}

TEST_F(HastoolNetwork, PlayGivesUpASegmentThatDoesNotCome) {
    m_origin.on("/s.ts", Reply().stalledAt(Stage::BeforeStatus));
    const Child::Result result = runHastool(
        {"play", "--fast", "--timeout", "0.3", "--retries", "0", m_origin.url("/list.m3u8")});
    EXPECT_TRUE(has(result.err, "no byte for 0.3 s")) << result.err;
}

TEST_F(HastoolNetwork, ShowsRequestsResponsesAndTimings) {
    m_origin.on("/r", Reply().redirect("/a?token=two"));
    m_origin.on("/a", Reply().body("hello").header("X-Say", "\x1B[31mred").setCookie("s=secret"));
    const Child::Result result = get("/r?token=one", {"-v", "-H", "Authorization: secret"});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(has(result.err, "[1] > GET " + m_origin.url("/r") + "?...\n")) << result.err;
    EXPECT_TRUE(has(result.err, "[1] > Authorization: ...\n")) << result.err;
    EXPECT_TRUE(has(result.err, "[1] < HTTP/1.1 302 ")) << result.err;
    EXPECT_TRUE(has(result.err, "[1] < Location: /a?...\n")) << result.err;
    EXPECT_TRUE(has(result.err, "[1] < HTTP/1.1 200 ")) << result.err;
    EXPECT_TRUE(has(result.err, "[1] < Set-Cookie: ...\n")) << result.err;
    EXPECT_TRUE(has(result.err, "[1] < X-Say: ?[31mred\n")) << result.err;
    EXPECT_TRUE(has(result.err, "[1] * done, 5 bytes, 127.0.0.1:")) << result.err;
    EXPECT_TRUE(has(result.err, ", first byte ")) << result.err;
    for (const char* secret : {"secret", "=one", "=two", "BeginDownload"})
        EXPECT_FALSE(has(result.err, secret)) << result.err;

    const Child::Result shown =
        get("/r?token=one", {"-v", "--show-urls", "-H", "Authorization: secret"});
    for (const char* secret : {"Authorization: secret", "s=secret", "token=one", "token=two"})
        EXPECT_TRUE(has(shown.err, secret)) << shown.err;
    EXPECT_FALSE(has(get("/a", {}).err, "GET ")) << "only where asked";
}

TEST_F(HastoolNetwork, ShowsTheLibrarysLogToo) {
    m_origin.on("/a", Reply().body("hello").setCookie("s=secret"));
    const Child::Result result = get("/a?token=one", {"-vv"});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(has(result.err, "> GET ")) << result.err;
    EXPECT_TRUE(has(result.err, "BeginDownloadImpl() with URL = " + m_origin.url("/a") + "?..."))
        << result.err;
    EXPECT_TRUE(has(result.err, "addCookieToPool ...")) << result.err;
    for (const char* secret : {"secret", "one\n", "token", "\x1B"})
        EXPECT_FALSE(has(result.err, secret)) << result.err;
    const Child::Result play =
        runHastool({"play", "--fast", "-q", "-v", "-v", m_origin.url("/list.m3u8")});
    EXPECT_TRUE(has(play.err, "> GET " + m_origin.url("/s.ts") + "\n")) << play.err;
    EXPECT_TRUE(has(play.err, "Constructor starts.")) << play.err;
}

TEST_F(HastoolNetwork, ReadsUrlsFromAFileOrTheStandardInput) {
    m_origin.on("/b", Reply().body("b"));
    const std::string text =
        "# two files\n\n  " + m_origin.url("/a") + " \r\n\t\n" + m_origin.url("/b");
    m_dir.write("urls", text);
    EXPECT_EQ(runHastool({"get", "-q", "-O", file("one"), "-i", file("urls")}).status, 0);
    EXPECT_EQ(readFile(file("one/a")) + readFile(file("one/b")), "hellob");
    const std::string command =
        std::string(HASTOOL_PATH) + " get -q -O " + file("two") + " -i - <" + file("urls");
    EXPECT_EQ(test::run({"sh", "-c", command}, test::hastoolEnvironment()).status, 0);
    EXPECT_EQ(readFile(file("two/a")) + readFile(file("two/b")), "hellob");

    m_dir.write("none", "# nothing\n\n");
    const Child::Result none = runHastool({"get", "-i", file("none")});
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.err, "hastool: " + file("none") + ": no URLs in it\n");
    const Child::Result missing = runHastool({"get", "-i", file("missing")});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(lines(missing.err), 1) << missing.err;
}

TEST_F(HastoolNetwork, HasFilesOpenOnlyWhileTheyAreWritten) {
    std::string urls;
    for (int i = 0; i < 300; ++i) {
        const std::string path = "/f" + std::to_string(i);
        m_origin.on(path, Reply().body(path));
        urls += m_origin.url(path) + "\n";
    }
    m_dir.write("urls", urls);
    const std::string command = "ulimit -n 64; " + std::string(HASTOOL_PATH) + " get -q -O " +
                                file("many") + " -i " + file("urls");
    const Child::Result result = test::run({"sh", "-c", command}, test::hastoolEnvironment());
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(readFile(file("many/f299")), "/f299");
}
