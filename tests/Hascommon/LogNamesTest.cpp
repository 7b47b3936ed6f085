// A source of its own: it names another file and another function for all of its lines.
#define HAS_LOG_FILE "Elsewhere.cpp"
#define HAS_LOG_FUNCTION "Operation"
#include <Hascommon/detail/Log.h>
#include <support/LogCapture.h>

#include <gtest/gtest.h>

namespace {

void helper() {
    HAS_LOG("value %d", 3);
    HAS_LOG("no value");
}

void highlightedHelper() {
    HAS_LOG_HIGHLIGHTED("PAUSE ERROR");
}

TEST(LogNames, ASourceMayNameTheFileAndTheFunctionOfItsLines) {
    test::LogCapture log;
    helper();
    ASSERT_EQ(log.lines().size(), 2U);
    for (const test::LogLine& line : log.lines()) {
        EXPECT_EQ(line.file, "Elsewhere.cpp");
        EXPECT_EQ(line.function, "Operation");
    }
    EXPECT_EQ(log.lines()[0].message, "value 3");
    EXPECT_EQ(log.lines()[1].message, "no value");
}

TEST(LogNames, HighlightedLinesCarryTheSourcesNamesToo) {
    test::LogCapture log;
    highlightedHelper();
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].file, "Elsewhere.cpp");
    EXPECT_EQ(log.lines()[0].function, "Operation");
    EXPECT_EQ(log.lines()[0].message, test::highlighted("PAUSE ERROR"));
}

TEST(LogNames, ASingleLineMayNameItsFunction) {
    test::LogCapture log;
    HAS_LOG_OF("Process", "%d left", 2);
    HAS_LOG_OF("Process", "done");
    HAS_LOG_HIGHLIGHTED_OF("Process", "failed");
    ASSERT_EQ(log.lines().size(), 3U);
    for (const test::LogLine& line : log.lines())
        EXPECT_EQ(line.function, "Process");
    EXPECT_EQ(log.lines()[0].message, "2 left");
    EXPECT_EQ(log.lines()[1].message, "done");
    EXPECT_EQ(log.lines()[2].priority, 16);
    EXPECT_EQ(log.lines()[2].message, test::highlighted("failed"));
}

} // namespace
