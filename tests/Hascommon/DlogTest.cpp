#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include <unistd.h>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

struct Output {
    std::string out;
    std::string err;
};

std::string slurp(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

class DlogTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/has-dlog-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        m_dir = pattern;
    }

    void TearDown() override {
        for (const char* name : {"/out", "/err", "/log"})
            unlink((m_dir + name).c_str());
        rmdir(m_dir.c_str());
    }

    Output run(const std::string& environment, const std::string& arguments = {}) {
        const std::string command = environment + " " DLOG_DEFAULT_PROGRAM " " + arguments + " >" +
                                    m_dir + "/out 2>" + m_dir + "/err";
        EXPECT_EQ(system(command.c_str()), 0);
        return {slurp(m_dir + "/out"), slurp(m_dir + "/err")};
    }

    std::string m_dir;
};

TEST_F(DlogTest, NothingIsWrittenUnlessAskedFor) {
    for (const char* environment : {"env -u HAS_LOG", "HAS_LOG=", "HAS_LOG=off"}) {
        const Output output = run(environment);
        EXPECT_EQ(output.err, "") << environment;
        EXPECT_EQ(output.out, "formatted 0\n") << environment;
    }
}

TEST_F(DlogTest, ErrorWritesOnlyHighlightedLinesToStandardError) {
    const Output output = run("HAS_LOG=error");
    EXPECT_THAT(output.err, HasSubstr("16/DASH_HLS: error 7\n"));
    EXPECT_THAT(output.err, Not(HasSubstr("plain")));
}

TEST_F(DlogTest, DroppedLineIsNeverFormatted) {
    EXPECT_EQ(run("HAS_LOG=error").out, "formatted 0\n");
    EXPECT_EQ(run("HAS_LOG=stderr").out, "formatted 10\n");
}

TEST_F(DlogTest, ColoursGoToATerminalOnly) {
    const std::string highlighted = "16/DASH_HLS: \033[1;31;42m red 1\033[0m ";
    const std::string plain = "16/DASH_HLS:  red 1 \n";
    EXPECT_THAT(run("HAS_LOG=error", "colours").err, HasSubstr(plain));
    EXPECT_THAT(run("HAS_LOG=stderr", "colours").err, HasSubstr(plain));
    run("HAS_LOG=file:" + m_dir + "/log", "colours");
    EXPECT_THAT(slurp(m_dir + "/log"), HasSubstr(plain));
    EXPECT_THAT(run("HAS_LOG=error", "colours terminal").out, HasSubstr(highlighted));
}

TEST_F(DlogTest, WhatOnlyLooksLikeAColourStays) {
    EXPECT_THAT(run("HAS_LOG=stderr", "colours").err, HasSubstr("cursor \033[2J end \033[1\n"));
}

TEST_F(DlogTest, UnknownModeIsToldOnceAndMeansOff) {
    EXPECT_EQ(run("HAS_LOG=loud").err,
              "HAS_LOG: unknown mode \"loud\" (off, error, stderr, syslog, file:PATH); there is no "
              "log\n");
}

TEST_F(DlogTest, StderrWritesEverythingWithTimePriorityAndTag) {
    const Output output = run("HAS_LOG=stderr");
    EXPECT_THAT(output.err, ::testing::ContainsRegex(
                                "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}\\.[0-9]{3}  4/DASH_HLS: "
                                "plain line\n"));
    EXPECT_THAT(output.err, HasSubstr("16/DASH_HLS: error 7\n"));
}

TEST_F(DlogTest, SyslogLeavesTheStandardStreamsAlone) {
    EXPECT_EQ(run("HAS_LOG=syslog").err, "");
}

TEST_F(DlogTest, FileIsAppendedTo) {
    run("HAS_LOG=file:" + m_dir + "/log");
    run("HAS_LOG=file:" + m_dir + "/log");
    const std::string log = slurp(m_dir + "/log");
    const size_t first = log.find("plain line\n");
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(log.find("plain line\n", first + 1), std::string::npos);
}

TEST_F(DlogTest, FileThatCannotBeOpenedIsToldOnceAndMeansOff) {
    EXPECT_EQ(run("HAS_LOG=file:/no/such/folder/log").err,
              "HAS_LOG: cannot write /no/such/folder/log: No such file or directory; there is no "
              "log\n");
}

TEST_F(DlogTest, SinkSetInCodeTakesTheLinesAndNullRestoresTheDefault) {
    const Output output = run("HAS_LOG=stderr", "sink");
    EXPECT_THAT(output.out, HasSubstr("user|0|4|DASH_HLS|to sink\n"));
    EXPECT_THAT(output.err, Not(HasSubstr("to sink")));
    EXPECT_THAT(output.err, HasSubstr("plain line"));
}

} // namespace
