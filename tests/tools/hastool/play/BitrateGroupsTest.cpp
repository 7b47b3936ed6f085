#include <tools/hastool/ErrorOf.h>

#include <hastool/play/BitrateGroups.h>

#include <gtest/gtest.h>

using hastool::parseBitrateGroups;
using hastool::parseBitrateLimit;
using hastool::parsePauseAt;
using test::errorOf;

TEST(BitrateGroups, AreReadLineByLine) {
    const auto groups =
        parseBitrateGroups("# bitrate,group,class\n\n 300000 , 1 ,0\r\n900000,2,1", "g");
    ASSERT_EQ(groups.size(), 2U);
    EXPECT_EQ(groups[0].bitrate, 300000);
    EXPECT_EQ(groups[0].group, 1);
    EXPECT_EQ(groups[0].upgradeClass, 0);
    EXPECT_EQ(groups[1].upgradeClass, 1);
    EXPECT_TRUE(parseBitrateGroups("", "g").empty());
}

TEST(BitrateGroups, NameTheLineThatIsNone) {
    EXPECT_EQ(errorOf([] { parseBitrateGroups("1,2,3\nfast,2,3", "g.csv"); }),
              "g.csv:2: not \"bitrate,group,class\": \"fast,2,3\"");
    for (const char* const text : {"1,2", "1,2,3,4", "-1,2,3", "1,2,99999999999", "1;2;3"})
        EXPECT_NE(errorOf([&] { parseBitrateGroups(text, "g"); }), "") << text;
}

TEST(BitrateLimit, IsARange) {
    EXPECT_EQ(parseBitrateLimit("0-1500000"), std::make_pair(0, 1500000));
    EXPECT_EQ(parseBitrateLimit("5-5"), std::make_pair(5, 5));
    for (const char* const text : {"", "5", "5-", "-5", "6-5", "1-2-3", "a-b", "0-99999999999"})
        EXPECT_FALSE(parseBitrateLimit(text)) << text;
}

TEST(PauseAt, IsAPositionAndATime) {
    EXPECT_EQ(parsePauseAt("12.5:30"), std::make_pair(12.5, 30.0));
    EXPECT_EQ(parsePauseAt("0:0"), std::make_pair(0.0, 0.0));
    for (const char* const text : {"", "5", "5:", ":5", "-1:5", "5:x", "1e9:5", "5:99999999"})
        EXPECT_FALSE(parsePauseAt(text)) << text;
}
