// What the tool prints, and what it does when that cannot be written.
#include "Hastool.h"

#include <support/FaultOrigin.h>
#include <support/TempDir.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using test::Child;
using test::Reply;
using test::TempDir;

/// A command of the tool for the shell.
std::string shell(const std::string& arguments) {
    return std::string(HASTOOL_PATH) + " " + arguments;
}

Child::Result runShell(const std::string& command) {
    return test::run({"sh", "-c", command}, test::hastoolEnvironment(), std::chrono::seconds(60));
}

constexpr char kNoSpace[] =
    "hastool: standard output: cannot be written: No space left on device\n";

class HastoolOutput : public ::testing::Test {
protected:
    HastoolOutput() {
        m_origin.on("/a", Reply().body("some text"));
        m_origin.on("/m.m3u8", Reply().body("#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\na\n"
                                            "#EXT-X-ENDLIST\n"));
        m_dir.write("a.xml", "<a><b>1</b></a>");
        m_dir.write("a.mp4", std::string("\0\0\0\x10"
                                         "ftypisom\0\0\0\0",
                                         16));
        std::string packet(188, '\xFF');
        packet.replace(0, 4, std::string("\x47\x1F\xFF\x10", 4));
        m_dir.write("a.ts", packet + packet + packet + packet + packet);
        m_dir.write("a.264", std::string("\0\0\0\1\x67\x42\xC0\x1E\xDA\x02\x80\xBF\xE5", 13));
    }

    TempDir m_dir;
    test::FaultOrigin m_origin;
};

TEST_F(HastoolOutput, EveryCommandFailsWhenItsOutputCannotBeWritten) {
    const std::string folder = m_dir.path().string();
    for (const std::string& arguments :
         {"xpath " + folder + "/a.xml '/a/b/text()'", "boxes " + folder + "/a.mp4",
          "boxes --json " + folder + "/a.mp4", "ts " + folder + "/a.ts",
          "ts --json " + folder + "/a.ts", "sps " + folder + "/a.264",
          "get -q -O " + folder + " " + m_origin.url("/a"),
          "get -q --json -O " + folder + " " + m_origin.url("/a"),
          "cenc --scheme-id urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95 " + folder + "/a.mp4 " +
              folder + "/b.mp4",
          "play -q --fast " + m_origin.url("/m.m3u8"),
          "play -q --fast --json " + m_origin.url("/m.m3u8"), std::string("--help"),
          std::string("play --help"), std::string("--version")}) {
        const Child::Result result = runShell(shell(arguments) + " >/dev/full");
        EXPECT_EQ(result.status, 1) << arguments;
        EXPECT_THAT(result.err, ::testing::EndsWith(kNoSpace)) << arguments;
    }
}

TEST_F(HastoolOutput, ReaderThatHasGoneIsNoFailure) {
    // The status is that of `head`; the test is that the tool prints no error.
    const Child::Result result = runShell(shell("play --help") + " | head -n 1");
    EXPECT_EQ(result.err, "");
    const Child::Result ignoring = runShell(
        "trap '' PIPE; (sleep 0.2; " +
        shell("xpath " + m_dir.path().string() + "/a.xml '/a/b/text()'; echo $? >&2)") + " | true");
    EXPECT_EQ(ignoring.err, "0\n");
}

TEST_F(HastoolOutput, GetWritesToTheStandardOutput) {
    const Child::Result result = test::runHastool({"get", "-q", "-o", "-", m_origin.url("/a")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "some text");
    EXPECT_EQ(result.err, "");
}

TEST_F(HastoolOutput, GetToTheStandardOutputTellsThatItCannotBeWritten) {
    const Child::Result result =
        runShell(shell("get -q -o - " + m_origin.url("/a")) + " >/dev/full");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, ::testing::HasSubstr("standard output: No space left on device"));
}

TEST_F(HastoolOutput, GetDoesNotMixJsonWithTheMedia) {
    const Child::Result result = test::runHastool({"get", "--json", "-o", "-", m_origin.url("/a")});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
}

TEST_F(HastoolOutput, EveryCommandTellsTheVersion) {
    const std::string version = test::runHastool({"--version"}).out;
    EXPECT_THAT(version, ::testing::MatchesRegex("hastool [0-9]+\\.[0-9]+\\.[0-9]+\n"));
    for (const char* command :
         {"demo", "play", "serve", "get", "decrypt", "cenc", "boxes", "ts", "sps", "xpath"}) {
        const Child::Result result = test::runHastool({command, "--version"});
        EXPECT_EQ(result.status, 0) << command << ": " << result.err;
        EXPECT_EQ(result.out, version) << command;
    }
}

TEST_F(HastoolOutput, UnknownCommandIsToldAsSuch) {
    const Child::Result result = test::runHastool({"paly", "http://host/a"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "hastool: no such command: \"paly\"; hastool --help lists them\n");
    EXPECT_EQ(test::runHastool({}).status, 2);
    EXPECT_EQ(test::runHastool({}).err,
              "hastool: a command is needed; hastool --help lists them\n");
    EXPECT_EQ(test::runHastool({"--unknown"}).status, 2);
    EXPECT_THAT(test::runHastool({"--unknown"}).err, ::testing::HasSubstr("--unknown"));
}

} // namespace
