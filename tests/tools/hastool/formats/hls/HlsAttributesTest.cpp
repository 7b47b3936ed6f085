#include <hastool/formats/hls/HlsAttributes.h>

#include <gtest/gtest.h>

using hastool::HlsAttributes;

TEST(HlsAttributes, ReadsPlainAndQuotedValues) {
    const auto list = HlsAttributes::parse(R"(BANDWIDTH=1280000,CODECS="avc1.4d,mp4a",NAME="")");
    ASSERT_TRUE(list);
    EXPECT_EQ(list->get("BANDWIDTH"), "1280000");
    EXPECT_EQ(list->get("CODECS"), "avc1.4d,mp4a");
    EXPECT_TRUE(list->has("NAME"));
    EXPECT_EQ(list->get("NAME"), "");
    EXPECT_FALSE(list->has("OTHER"));
    EXPECT_EQ(list->get("OTHER"), "");
}

TEST(HlsAttributes, PassesOverBlanksAroundNamesAndValues) {
    const auto list = HlsAttributes::parse("PROGRAM-ID=1, BANDWIDTH = 40000 ,\tURI=\" x \"");
    ASSERT_TRUE(list);
    EXPECT_EQ(list->get("BANDWIDTH"), "40000");
    EXPECT_EQ(list->get("URI"), " x ");
}

TEST(HlsAttributes, KeepsTheFirstOfTwo) {
    EXPECT_EQ(HlsAttributes::parse("A=1,A=2")->get("A"), "1");
}

TEST(HlsAttributes, MayBeEmptyOrEndWithAComma) {
    EXPECT_TRUE(HlsAttributes::parse(""));
    EXPECT_TRUE(HlsAttributes::parse("A=1,"));
    EXPECT_EQ(HlsAttributes::parse("A=")->get("A"), "");
}

TEST(HlsAttributes, RefusesWhatIsNoList) {
    for (const char* text : {"A", "=1", "A=\"open", "A=1,B", ",A=1"})
        EXPECT_FALSE(HlsAttributes::parse(text)) << text;
}
