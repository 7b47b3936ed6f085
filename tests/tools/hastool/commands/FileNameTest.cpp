#include <hastool/commands/FileName.h>

#include <gtest/gtest.h>

using hastool::fileNameOf;

TEST(FileName, IsTheLastPartOfThePath) {
    EXPECT_EQ(fileNameOf("http://host/a/b.ts?x=/y"), "b.ts");
    EXPECT_EQ(fileNameOf("http://host/a%20b.ts"), "a b.ts");
    EXPECT_EQ(fileNameOf("http://host/100%.ts"), "100%.ts");
}

TEST(FileName, HasANameWhereThePathHasNone) {
    for (const char* url : {"http://host", "http://host/", "http://host/a/", "not a url", ""})
        EXPECT_EQ(fileNameOf(url), "index.html") << url;
}

TEST(FileName, NeverLeavesTheFolder) {
    EXPECT_EQ(fileNameOf("http://host/%2e%2e"), "index.html");
    EXPECT_EQ(fileNameOf("http://host/..%2f..%2fetc%2fpasswd"), ".._.._etc_passwd");
    EXPECT_EQ(fileNameOf("http://host/a%00b%1B%7F"), "a_b__");
    EXPECT_EQ(fileNameOf("http://host/" + std::string(1000, 'n')).size(), 200U);
}
