#include <Hascommon/CCDebugHAS.h>
#include <Hascommon/CHASDebug.h>
#include <Hascommon/detail/Log.h>
#include <support/LogCapture.h>

#include <gtest/gtest.h>

namespace {

void logPlain() {
    HAS_LOG("value %d", 3);
}

void logHighlighted() {
    HAS_LOG_HIGHLIGHTED("PAUSE ERROR");
}

TEST(LogLine, CarriesLogIdPriorityTagAndPrefix) {
    test::LogCapture log;
    logPlain();
    ASSERT_EQ(log.lines().size(), 1U);
    const test::LogLine line = log.lines().front();
    EXPECT_EQ(line.logId, 0);
    EXPECT_EQ(line.priority, 4);
    EXPECT_EQ(line.tag, "DASH_HLS");
    EXPECT_EQ(line.format, "%s: %s(%d) > value %d");
    EXPECT_EQ(line.file, "LogLineTest.cpp");
    EXPECT_EQ(line.function, "logPlain");
    EXPECT_GT(line.line, 0);
    EXPECT_EQ(line.message, "value 3");
}

TEST(LogLine, HighlightedIsWrappedInColourAtItsOwnPriority) {
    test::LogCapture log;
    logHighlighted();
    ASSERT_EQ(log.lines().size(), 1U);
    const test::LogLine line = log.lines().front();
    EXPECT_EQ(line.priority, 16);
    EXPECT_EQ(line.format, "%s: %s(%d) > \x1B[1;31;42m PAUSE ERROR\x1B[0m ");
    EXPECT_EQ(line.message, test::highlighted("PAUSE ERROR"));
}

TEST(LogLine, FileNameIsTheLastPathComponent) {
    EXPECT_STREQ(hascommon::detail::fileName("Src/Hasnet/Curl.cpp"), "Curl.cpp");
    EXPECT_STREQ(hascommon::detail::fileName("Curl.cpp"), "Curl.cpp");
}

TEST(LogLine, LevelAndModuleSettingsDoNotFilterThePlatformLog) {
    test::LogCapture log;
    CHASDebug::SetLogLevel(0);
    CHASDebug::SetDebugModule(0, false);
    logPlain();
    logHighlighted();
    EXPECT_EQ(log.lines().size(), 2U);
}

} // namespace
