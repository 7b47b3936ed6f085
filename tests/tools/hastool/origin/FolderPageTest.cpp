#include <hastool/origin/FolderPage.h>
#include <support/TempDir.h>

#include <gtest/gtest.h>

TEST(FolderPage, LinksFoldersAndFilesByTheirNames) {
    const test::TempDir dir;
    dir.write("b <1>.ts", "");
    dir.write("a:b", "");
    dir.write("z/x", "");
    EXPECT_EQ(hastool::folderPage(dir.path(), "/d&e/"),
              "<!DOCTYPE html>\n<meta charset=\"utf-8\">\n<title>/d&amp;e/</title>\n"
              "<h1>/d&amp;e/</h1>\n<ul>\n"
              "<li><a href=\"../\">../</a>\n"
              "<li><a href=\"./z/\">z/</a>\n"
              "<li><a href=\"./a:b\">a:b</a>\n"
              "<li><a href=\"./b%20%3C1%3E.ts\">b &lt;1&gt;.ts</a>\n"
              "</ul>\n");
}

TEST(FolderPage, TheRootHasNothingAboveIt) {
    const test::TempDir dir;
    EXPECT_EQ(hastool::folderPage(dir.path(), "/").find("../"), std::string::npos);
}
