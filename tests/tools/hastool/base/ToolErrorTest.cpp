#include <tools/hastool/ErrorOf.h>

#include <string>

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
