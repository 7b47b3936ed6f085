// Tables and outside text in a terminal.
#include <hastool/info/ShownText.h>
#include <hastool/info/TextTable.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

using hastool::shownText;
using hastool::TextTable;

namespace {

TEST(ShownText, KeepsLettersOfAllLanguages) {
    const std::string text = "Fran\u00e7ais \u65e5\u672c\u8a9e \U0001F600";
    EXPECT_EQ(shownText(text), text);
    EXPECT_EQ(hastool::shownWidth(text), 8U + 1 + 6 + 1 + 2);
}

TEST(ShownText, ReplacesWhatCouldControlATerminal) {
    EXPECT_EQ(shownText("a\x1b[31mb\n\x7f"), "a?[31mb??");
    EXPECT_EQ(shownText("\u009b31m"), "?31m") << "an escape sequence in one character";
    EXPECT_EQ(shownText("a\u202eb"), "a?b") << "the other direction";
    EXPECT_EQ(shownText(std::string("a\0b", 3)), "a?b");
}

TEST(ShownText, ReplacesWhatIsNotUtf8) {
    EXPECT_EQ(shownText("\xff"), "?");
    EXPECT_EQ(shownText("\xe6\x97"), "??");
    EXPECT_EQ(shownText("\xc0\x80"), "??") << "too long";
    EXPECT_EQ(shownText("\xed\xa0\x80"), "???") << "half of a character of UTF-16";
    EXPECT_EQ(shownText("\xf5\x80\x80\x80"), "????");
}

TEST(ShownText, IsFilledOrCutToAWidth) {
    EXPECT_EQ(hastool::fitted("ab", 4), "ab  ");
    EXPECT_EQ(hastool::fitted("ab", 4, true), "  ab");
    EXPECT_EQ(hastool::fitted("abcdef", 5), "ab...");
    EXPECT_EQ(hastool::fitted("\u65e5\u672c\u8a9e", 5), "\u65e5...");
    EXPECT_EQ(hastool::fitted("abc", 2), "..");
}

TEST(TextTable, LeavesEmptyColumnsOut) {
    TextTable table({{"a"}, {"empty"}, {"n", true}, {"last"}});
    table.add({"x", "", "5", "y"});
    table.add({"long", "", "10", ""});
    EXPECT_EQ(table.text(), "  a      n  last\n"
                            "  x      5  y\n"
                            "  long  10\n");
}

size_t widest(const std::string& text) {
    std::istringstream lines(text);
    size_t most = 0;
    for (std::string line; std::getline(lines, line);)
        most = std::max(most, hastool::shownWidth(line));
    return most;
}

TEST(TextTable, BreaksTheLastColumnAtItsCommasAndCutsTheWidestText) {
    TextTable table({{"name"}, {"n", true}, {"codecs"}});
    table.add({std::string(70, 'n'), "123456", "avc1.640020,mp4a.40.2,hvc1.2.4.L123.B0"});
    const std::string text = table.text();
    EXPECT_EQ(widest(text), 80U) << text;
    EXPECT_NE(text.find("n...  123456  avc1.640020,\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  mp4a.40.2,\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  hvc1.2.4.L123.B0\n"), std::string::npos) << text;
}

} // namespace
