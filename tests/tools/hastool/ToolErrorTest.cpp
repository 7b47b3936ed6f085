#include "ErrorOf.h"

#include <hastool/engine/ResultText.h>

#include <gtest/gtest.h>

TEST(ToolError, SaysWhereAndWhat) {
    EXPECT_EQ(test::errorOf([] { throw hastool::ToolError("http://host/a", "gone"); }),
              "http://host/a: gone");
}

TEST(ToolError, QuotesForeignTextOnOneShortLine) {
    EXPECT_EQ(hastool::inQuotes("a\nb\033[1m\x7F\xC3\xA4"), "\"a?b?[1m???\"");
    EXPECT_EQ(hastool::inQuotes(std::string(60, 'x')), "\"" + std::string(60, 'x') + "\"");
    EXPECT_EQ(hastool::inQuotes(std::string(61, 'x')), "\"" + std::string(60, 'x') + "...\"");
}

TEST(ResultText, NamesTheStatusOrTheCode) {
    EXPECT_EQ(hastool::resultText(0, 200), "done");
    EXPECT_EQ(hastool::resultText(-23, 404), "HTTP 404 (code -23)");
    EXPECT_EQ(hastool::resultText(-17, 0), "host not resolved (code -17)");
    EXPECT_EQ(hastool::resultText(-26, 200), "body cut short (code -26)");
    EXPECT_EQ(hastool::resultText(-160, 0), "transfer failed (code -160)");
}
