#include "Hastool.h"

#include <support/FaultOrigin.h>
#include <support/FreePort.h>
#include <support/Nginx.h>
#include <support/Proxy.h>

#include <csignal>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace std::chrono_literals;
using nlohmann::json;
using test::Child;
using test::lines;
using test::pattern;
using test::readFile;
using test::Reply;
using test::runHastool;
using test::Stage;

namespace {

class HastoolGet : public testing::Test {
protected:
    std::string file(const std::string& name) const { return m_dir.file(name); }
    bool exists(const std::string& name) const { return std::filesystem::exists(file(name)); }
    /// Expects a failure that prints one line and nothing else.
    static void expectOneLine(const Child::Result& result, const std::string& line) {
        EXPECT_EQ(result.err, "hastool: " + line + "\n");
    }

    test::TempDir m_dir;
    test::FaultOrigin m_origin;
};

} // namespace

TEST_F(HastoolGet, WritesAFileAndATable) {
    m_origin.on("/r", Reply().redirect("/a.bin"));
    m_origin.on("/a.bin", Reply().body(pattern(2000000)));
    const Child::Result result = runHastool({"get", m_origin.url("/r"), "-o", file("a")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(readFile(file("a")) == pattern(2000000).all());
    ASSERT_EQ(lines(result.out), 2) << result.out;
    EXPECT_EQ(result.out.rfind("  code  status       bytes        rate  first byte  redirects", 0),
              0U);
    EXPECT_NE(result.out.find("\n     0     200     2000000"), std::string::npos) << result.out;
    EXPECT_EQ(result.err.rfind(file("a") + ": 2.00 MB, ", 0), 0U) << result.err;
}

TEST_F(HastoolGet, DownloadsManyInParallelIntoAFolder) {
    std::vector<std::string> arguments = {"get", "-q", "-j", "20", "-O", file("sub/dir")};
    for (int i = 0; i < 45; ++i) {
        const std::string path = "/f" + std::to_string(i) + ".bin";
        m_origin.on(path, Reply().body(pattern(30000, static_cast<unsigned>(i))).delayed(10ms));
        arguments.push_back(m_origin.url(path));
    }
    const Child::Result result = runHastool(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(lines(result.out), 46);
    for (unsigned i = 0; i < 45; ++i)
        EXPECT_TRUE(readFile(file("sub/dir/f" + std::to_string(i) + ".bin")) ==
                    pattern(30000, i).all());
    EXPECT_GT(m_origin.connections(), 5);
}

TEST_F(HastoolGet, FetchesARange) {
    m_origin.on("/a", Reply().body(pattern(10000)));
    m_origin.on("/b", Reply().body(pattern(10000)).withoutRanges());
    EXPECT_EQ(runHastool({"get", m_origin.url("/a"), "-o", file("a"), "--range", "100-299"}).status,
              0);
    EXPECT_TRUE(readFile(file("a")) == pattern(10000).part(100, 200));
    EXPECT_EQ(runHastool({"get", m_origin.url("/b"), "-o", file("b"), "--range", "9000-"}).status,
              0);
    EXPECT_TRUE(readFile(file("b")) == pattern(10000).part(9000, 1000));
}

TEST_F(HastoolGet, RetriesAndKeepsWhatIsThere) {
    const Reply whole = Reply().body(pattern(500000));
    m_origin.on("/a", {Reply().status(503), Reply(whole).closedAt(Stage::InBody, 300000), whole});
    const Child::Result result = runHastool({"get", "--json", m_origin.url("/a"), "-o", file("a")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(readFile(file("a")) == pattern(500000).all());
    EXPECT_EQ(m_origin.requests("/a").at(2).header("Range"), "bytes=300000-");
    EXPECT_EQ(json::parse(result.out)[0]["retries"], 2);
}

TEST_F(HastoolGet, RetriesThreeTimesWithGrowingPausesAndShowsIt) {
    m_origin.on("/a", Reply().status(404));
    const Child::Result result =
        runHastool({"get", "--json", m_origin.url("/a") + "?token=secret", "-o", file("a")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(json::parse(result.out)[0]["retries"], 3);
    for (int i = 1; i <= 3; ++i) {
        const std::string line = file("a") + ": retry " + std::to_string(i) + " of 3, HTTP 404\n";
        EXPECT_NE(result.err.find(line), std::string::npos) << result.err;
    }
    const std::vector<test::Request> requests = m_origin.requests("/a");
    ASSERT_EQ(requests.size(), 4U);
    for (size_t i = 1; i <= 3; ++i) // besides the engine's own half second
        EXPECT_GE(requests.at(i).time - requests.at(i - 1).time, 500ms + 250ms * (1 << i)) << i;
    EXPECT_NE(runHastool({"get", "--help"}).out.find("half a second"), std::string::npos);
}

TEST_F(HastoolGet, NamesWhatFailedAndTheAddress) {
    const std::string peer = "127.0.0.1:" + std::to_string(test::freePort());
    const Child::Result refused = runHastool({"get", "http://" + peer + "/a", "-o", file("a")});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err.rfind("hastool: http://" + peer + "/a: connection refused: ", 0), 0U)
        << refused.err;
    EXPECT_NE(refused.err.find("(code -20, " + peer + ")\n"), std::string::npos) << refused.err;
}

TEST_F(HastoolGet, ReportsAsJson) {
    m_origin.on("/a", Reply().body("12345"));
    m_origin.on("/b", Reply().status(410));
    const Child::Result result =
        runHastool({"get", "--json", "-O", file(""), m_origin.url("/a"), m_origin.url("/b")});
    EXPECT_EQ(result.status, 1);
    const json list = json::parse(result.out);
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0]["url"], m_origin.url("/a"));
    EXPECT_EQ(list[0]["file"], file("a"));
    EXPECT_EQ(list[0]["ok"], true);
    EXPECT_EQ(list[0]["code"], 0);
    EXPECT_EQ(list[0]["status"], 200);
    EXPECT_EQ(list[0]["bytes"], 5);
    EXPECT_EQ(list[0]["redirects"], 0);
    EXPECT_EQ(list[0]["final_url"], m_origin.url("/a"));
    EXPECT_EQ(list[1]["ok"], false);
    EXPECT_EQ(list[1]["status"], 410);
    EXPECT_LT(list[1]["code"], 0);
    EXPECT_NE(list[1]["error"], "");
}

TEST_F(HastoolGet, KeepsTheOldFileWhenItFails) {
    m_dir.write("a", "old");
    m_origin.on("/a", Reply().status(401));
    const Child::Result result = runHastool({"get", m_origin.url("/a"), "-o", file("a")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err.rfind("hastool: " + m_origin.url("/a") + ": HTTP 401 (code ", 0), 0U);
    EXPECT_EQ(lines(result.err), 1);
    EXPECT_EQ(readFile(file("a")), "old");
    EXPECT_FALSE(exists("a.part"));
}

TEST_F(HastoolGet, SaysInOneLineWhatIsWrongAndWhere) {
    m_origin.on("/a", Reply().body("x"));
    const Child::Result folder = runHastool({"get", m_origin.url("/a"), "-o", file("none/a")});
    EXPECT_EQ(folder.status, 1);
    expectOneLine(folder, file("none/a") + ": cannot be written: No such file or directory");
    const Child::Result full = runHastool({"get", m_origin.url("/a"), "-o", "/dev/full"});
    EXPECT_EQ(full.status, 1);
    expectOneLine(full, m_origin.url("/a") + ": /dev/full: No space left on device");
    const Child::Result host =
        runHastool({"get", "http://no-such-host.invalid/a", "-o", file("a")});
    EXPECT_EQ(host.status, 1);
    EXPECT_EQ(host.err.rfind("hastool: http://no-such-host.invalid/a: ", 0), 0U) << host.err;
    EXPECT_EQ(lines(host.err), 1);
    const Child::Result local = runHastool({"get", "file:///etc/hostname", "-o", file("a")});
    EXPECT_EQ(local.status, 1);
    expectOneLine(local, "file:///etc/hostname: not a URL that can be requested (code -1)");
    EXPECT_FALSE(exists("a"));
}

TEST_F(HastoolGet, RefusesWrongUsage) {
    const std::vector<std::vector<std::string>> wrong = {
        {"get"},
        {"get", "http://h/a", "--none"},
        {"get", "http://h/a", "http://h/b", "-o", file("a")},
        {"get", "http://h/a", "-o", file("a"), "-O", file("")},
        {"get", "http://h/a", "-j", "21"},
        {"get", "http://h/a", "--range", "5-4"},
        {"get", "http://h/a", "--cacert", file("none")},
    };
    for (const auto& arguments : wrong) {
        const Child::Result result = runHastool(arguments);
        EXPECT_EQ(result.status, 2) << result.err;
        EXPECT_EQ(lines(result.err), 1) << result.err;
        EXPECT_EQ(result.out, "");
    }
    const Child::Result same = runHastool({"get", "-O", file(""), "http://h/1/a", "http://i/2/a"});
    EXPECT_EQ(same.status, 2);
    expectOneLine(same, "http://i/2/a and http://h/1/a would both become " + file("a"));
}

TEST_F(HastoolGet, ShowsHelpWithExamples) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--help"}, {"get", "--help"}, {"play", "--help"}}) {
        const Child::Result result = runHastool(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_NE(result.out.find("Usage: hastool"), std::string::npos);
        EXPECT_EQ(result.err, "");
        const bool hasExamples = result.out.find("Examples:") != std::string::npos;
        EXPECT_EQ(hasExamples, arguments.size() == 2);
    }
}

TEST_F(HastoolGet, CancelsCleanlyWhenInterrupted) {
    m_origin.on("/a", Reply().body(pattern(1000)).stalledAt(Stage::InBody, 500));
    Child child(test::hastoolCommand({"get", m_origin.url("/a"), "-o", file("a")}),
                test::hastoolEnvironment());
    ASSERT_TRUE(m_origin.waitForRequests("/a", 1));
    child.signal(SIGINT);
    const Child::Result result = child.wait(std::chrono::seconds(20));
    EXPECT_EQ(result.status, 1);
    expectOneLine(result, m_origin.url("/a") + ": cancelled (code -12)");
    EXPECT_FALSE(exists("a") || exists("a.part"));
}

TEST_F(HastoolGet, SendsAgentAndEngineInfo) {
    m_origin.on("/a", Reply());
    EXPECT_EQ(runHastool({"get", m_origin.url("/a"), "-o", file("a"), "--agent", "x/1"}).status, 0);
    EXPECT_EQ(m_origin.requests("/a").at(0).header("User-Agent"), "x/1");
    EXPECT_EQ(runHastool({"get", m_origin.url("/a"), "-o", file("a"), "--engine-info", "5"}).status,
              0);
    EXPECT_EQ(m_origin.requests("/a").at(1).header("User-Agent"), "Hbbtv/1.2.1");
}

TEST_F(HastoolGet, GoesThroughAProxy) {
    const test::Proxy proxy;
    m_origin.on("/a", Reply().body("through"));
    // The proxy comes from the option alone, but hosts in no_proxy bypass it: so that is empty.
    const Child::Result result = test::run(
        test::hastoolCommand({"get", m_origin.url("/a"), "-o", file("a"), "--proxy", proxy.url()}),
        {"no_proxy=", "NO_PROXY="});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(readFile(file("a")), "through");
    EXPECT_EQ(proxy.requests(), 1) << proxy.log();
}

TEST_F(HastoolGet, VerifiesServersWhereAsked) {
    const test::Nginx server;
    server.write("a", "secret");
    const std::string url = server.tlsUrl("/a");
    EXPECT_EQ(runHastool({"get", url, "-o", file("a")}).status, 0);
    EXPECT_EQ(runHastool({"get", url, "-o", file("b"), "--cacert", server.caFile()}).status, 0);
    EXPECT_EQ(readFile(file("b")), "secret");
    const test::Nginx other;
    EXPECT_EQ(runHastool({"get", url, "-o", file("c"), "--cacert", other.caFile()}).status, 1);
    EXPECT_FALSE(exists("c"));
}

TEST_F(HastoolGet, ShowsItsProgressInPlaceOnATerminal) {
    m_origin.on("/a", Reply().body(pattern(100000)).dripped(5000, 30ms));
    const std::string command =
        std::string(HASTOOL_PATH) + " get " + m_origin.url("/a") + " -o " + file("a");
    const Child::Result result =
        test::run({"script", "-qec", command, "/dev/null"}, {"TERM=xterm", "no_proxy=127.0.0.1"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("\r\033[K0 of 1 done, "), std::string::npos) << result.out;
    EXPECT_NE(result.out.find(" %, "), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("\r\033[K  code  status"), std::string::npos) << result.out;
}

TEST_F(HastoolGet, LogsTheLibraryWhereAsked) {
    m_origin.on("/a", Reply().body("x"));
    const auto command = test::hastoolCommand({"get", m_origin.url("/a"), "-o", file("a"), "-q"});
    EXPECT_EQ(test::run(command).err, "");
    EXPECT_NE(test::run(command, {"HAS_LOG=stderr"}).err.find("DASH_HLS"), std::string::npos);
}
