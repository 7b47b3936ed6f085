// The demo, short.
#include "Hastool.h"

#include <support/TempDir.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>

using test::Child;
using test::runHastool;
using ::testing::EndsWith;
using ::testing::HasSubstr;

namespace fs = std::filesystem;

TEST(HastoolDemo, PlaysAllPresentationsAtOnceAndChecksThem) {
    const test::TempDir dir;
    const std::string page = dir.file("demo.html");
    const Child::Result result =
        runHastool({"demo", "--duration", "8", "--report", page, "--media", PRESENTATIONS});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_EQ(test::lines(result.out), 9) << result.out;
    EXPECT_THAT(result.out, EndsWith("report: " + page + "\n"));
    const std::string html = test::readFile(page);
    for (const char* const name :
         {"hls", "hls-aes", "dash", "dash-hybrid", "dash-cenc", "dash-muxed", "smooth"}) {
        EXPECT_THAT(result.out, HasSubstr(std::string("\n") + name + " "));
        EXPECT_THAT(html, HasSubstr(std::string(">") + name + "<"));
        EXPECT_THAT(result.err, HasSubstr(std::string(" s  ") + name + ": up from "));
    }
}

TEST(HastoolDemo, FailsWhenSomethingIsNotAsItShouldBe) {
    const test::TempDir dir;
    fs::copy(fs::path(PRESENTATIONS) / "hls", dir.path() / "hls", fs::copy_options::recursive);
    fs::copy(fs::path(PRESENTATIONS) / "hls", dir.path() / "hls-aes",
             fs::copy_options::recursive); // clear, but the same
    for (int i = 0; i < 5; ++i)
        dir.write("hls-aes/" + std::to_string(i) + "/1.ts", "not the same");
    const Child::Result result =
        runHastool({"demo", "-q", "--only", "hls-aes", "--duration", "3", "--report",
                    dir.file("demo.html"), "--media", dir.path().string()});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out,
                HasSubstr("  failed\nhls-aes: differs from the clear segments at byte 0\n"));
}

TEST(HastoolDemo, EndsWhenItIsInterrupted) {
    Child child(test::hastoolCommand({"demo", "--media", PRESENTATIONS}),
                test::hastoolEnvironment());
    const auto begin = std::chrono::steady_clock::now();
    while (child.err().empty() &&
           std::chrono::steady_clock::now() - begin < std::chrono::seconds(60))
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    child.signal(SIGINT);
    const Child::Result result = child.wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("hastool: demo: interrupted\n"));
}

TEST(HastoolDemo, SaysInOneLineWhatItCannotDo) {
    const Child::Result unknown = runHastool({"demo", "--only", "mss", "--media", PRESENTATIONS});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.err, "hastool: --only: no such presentation: \"mss\"\n");
    const test::TempDir dir;
    const Child::Result missing = runHastool(
        {"demo", "-q", "--only", "hls", "--media", "/none", "--report", dir.file("demo.html")});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.out, HasSubstr("hls: /none/hls: No such file or directory\n"));
}

TEST(HastoolSeconds, SaysWhatIsNoTime) {
    const std::pair<std::vector<std::string>, std::string> rows[] = {
        {{"demo", "--duration", "abc"}, "--duration: not a number of seconds: \"abc\""},
        {{"play", "--duration", "5s", "http://x/"}, "--duration: not a number of seconds: \"5s\""},
        {{"play", "--duration", "nan", "http://x/"},
         "--duration: not a number of seconds: \"nan\""},
        {{"play", "--duration", "-1", "http://x/"},
         "--duration: not from 0 to 1000000 seconds: \"-1\""},
        {{"play", "--buffer", "0", "http://x/"}, "--buffer: not from 1 to 1000000 seconds: \"0\""},
    };
    for (const auto& [arguments, message] : rows) {
        const test::Child::Result result = test::runHastool(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.err, "hastool: " + message + "\n");
    }
}
