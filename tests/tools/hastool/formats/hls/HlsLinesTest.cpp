#include <hastool/formats/hls/HlsLines.h>

#include <string>

#include <gtest/gtest.h>

using hastool::HlsAttributeLine;
using hastool::HlsLine;
using hastool::HlsLines;
using hastool::readHlsAttributeLine;

namespace {

TEST(HlsLines, KnowTheirNumbersAndKinds) {
    const HlsLines lines("#EXTM3U\r\n\r\n# a comment\n  \n#EXTINF:2.0,a:b \na.ts\n");
    ASSERT_EQ(lines.lines().size(), 4u);
    EXPECT_EQ(lines.lines()[0].tag, "EXTM3U");
    EXPECT_FALSE(lines.lines()[0].hasColon);
    EXPECT_FALSE(lines.lines()[0].hasSpaces) << "a carriage return is an end";
    EXPECT_EQ(lines.lines()[1].kind, HlsLine::Kind::Comment);
    EXPECT_EQ(lines.lines()[1].number, 3u);
    EXPECT_EQ(lines.lines()[2].tag, "EXTINF");
    EXPECT_EQ(lines.lines()[2].value, "2.0,a:b");
    EXPECT_TRUE(lines.lines()[2].hasSpaces);
    EXPECT_EQ(lines.lines()[2].number, 5u);
    EXPECT_EQ(lines.lines()[3].kind, HlsLine::Kind::Uri);
    EXPECT_EQ(lines.lines()[3].text, "a.ts");
}

TEST(HlsLines, FindTheFirstLineOfATag) {
    const HlsLines lines("#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-VERSION:4\na.ts");
    ASSERT_NE(lines.find("EXT-X-VERSION"), nullptr);
    EXPECT_EQ(lines.find("EXT-X-VERSION")->value, "3");
    EXPECT_FALSE(lines.has("EXT-X-VERSIO"));
    EXPECT_EQ(lines.find(""), nullptr);
}

TEST(HlsLines, LeaveTheByteOrderMarkOut) {
    const HlsLines lines("\xEF\xBB\xBF#EXTM3U");
    EXPECT_TRUE(lines.hasByteOrderMark());
    EXPECT_TRUE(lines.has("EXTM3U"));
    EXPECT_FALSE(HlsLines("#EXTM3U").hasByteOrderMark());
    EXPECT_TRUE(HlsLines("").lines().empty());
}

TEST(HlsLines, EndATagAtABlank) {
    const HlsLines lines("#EXTM3U url=\"http://host/\"\n#EXT-X-ENDLIST \n#EXT\n");
    EXPECT_EQ(lines.lines()[0].tag, "EXTM3U");
    EXPECT_FALSE(lines.lines()[0].hasColon);
    EXPECT_EQ(lines.lines()[1].tag, "EXT-X-ENDLIST");
    EXPECT_EQ(lines.lines()[2].tag, "EXT");
}

TEST(HlsLines, StopAtTheirLimit) {
    std::string text;
    for (size_t i = 0; i < hastool::kMaxHlsLines + 10; ++i)
        text += "a\n";
    EXPECT_EQ(HlsLines(std::move(text)).lines().size(), hastool::kMaxHlsLines);
}

TEST(HlsAttributeLine, KeepsNamesValuesAndQuotation) {
    const HlsAttributeLine list =
        readHlsAttributeLine("BANDWIDTH=1,CODECS=\"a,b\", NAME = x ,EMPTY=\"\",CODECS=c");
    ASSERT_FALSE(list.isBroken);
    ASSERT_EQ(list.attributes.size(), 5u);
    EXPECT_EQ(list.get("CODECS"), "a,b") << "the first one";
    EXPECT_TRUE(list.find("CODECS")->isQuoted);
    EXPECT_FALSE(list.find("CODECS")->hasSpaces);
    EXPECT_EQ(list.get("NAME"), "x");
    EXPECT_TRUE(list.find("NAME")->hasSpaces);
    EXPECT_TRUE(list.has("EMPTY"));
    EXPECT_EQ(list.get("OTHER"), "");
}

TEST(HlsAttributeLine, TellsWhereItIsBroken) {
    struct Row {
        const char* text;
        size_t attributes; ///< before that
        const char* rest;
    };
    const Row rows[] = {
        {"A=1,B", 1, "B"},
        {"A=1,=2", 1, "=2"},
        {"A=\"1", 0, "A=\"1"},
        {"A=1,B=\"x\"y", 1, "B=\"x\"y"},
        {"A=1,B=\"x\"y\"", 1, "B=\"x\"y\""},
        {"A=YES\",B=2", 0, "A=YES\",B=2"},
        {"A=1,,B=2", 1, ",B=2"},
        {"A B=1", 0, "A B=1"},
        {"A=1,B=\"", 1, "B=\""},
    };
    for (const Row& row : rows) {
        const HlsAttributeLine list = readHlsAttributeLine(row.text);
        EXPECT_TRUE(list.isBroken) << row.text;
        EXPECT_EQ(list.attributes.size(), row.attributes) << row.text;
        EXPECT_EQ(list.rest, row.rest) << row.text;
    }
}

TEST(HlsAttributeLine, KeepsACommaAtItsEnd) {
    const HlsAttributeLine list = readHlsAttributeLine("A=1,");
    EXPECT_FALSE(list.isBroken);
    ASSERT_EQ(list.attributes.size(), 2u);
    EXPECT_EQ(list.attributes[1].name, "");
    EXPECT_TRUE(readHlsAttributeLine("").attributes.empty());
}

} // namespace
