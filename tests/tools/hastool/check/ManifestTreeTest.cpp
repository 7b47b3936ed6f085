#include <hastool/check/ManifestTree.h>

#include <gtest/gtest.h>

namespace {

using namespace hastool;

constexpr char kText[] = "<?xml version=\"1.0\"?>\n"
                         "<MPD xmlns=\"urn:m\" xmlns:c=\"urn:c\" type=\" a&amp;b \">\n"
                         "<Period/>\n"
                         "<Period id=\"x\"><Set><Representation id=\"v1\"\n c:kid=\"k\" u:n=\"1\"/>"
                         "</Set></Period><!-- no --><c:pro> <![CDATA[AA]]>BB\n</c:pro></MPD>";

TEST(ManifestTree, KeepsNamesAndNamespaces) {
    const ManifestTree tree = readManifestTree(kText);
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(tree->name, "MPD");
    EXPECT_EQ(tree->nameSpace, "urn:m");
    EXPECT_EQ(tree->value("type"), "a&b");
    EXPECT_EQ(tree->attributes.size(), 1U) << "declarations of prefixes are none";
    ASSERT_NE(tree->child("pro"), nullptr);
    EXPECT_EQ(tree->child("pro")->nameSpace, "urn:c");
    EXPECT_EQ(tree->child("pro")->text, "AABB");
    EXPECT_EQ(tree->child("Text"), nullptr);
}

TEST(ManifestTree, KnowsWhatHasAPrefix) {
    const ManifestTree tree = readManifestTree(kText);
    const ManifestElement& it = *tree->all("Period").at(1)->child("Set")->child("Representation");
    ASSERT_EQ(it.attributes.size(), 3U);
    EXPECT_FALSE(it.attributes[0].isPrefixed);
    EXPECT_EQ(it.attributes[1].name, "kid");
    EXPECT_EQ(it.attributes[1].nameSpace, "urn:c");
    EXPECT_TRUE(it.attributes[1].isPrefixed);
    EXPECT_EQ(it.attributes[2].name, "n") << "its prefix is not declared";
    EXPECT_TRUE(it.attributes[2].isPrefixed);
}

TEST(ManifestTree, SaysWhereThingsAre) {
    const ManifestTree tree = readManifestTree(kText);
    EXPECT_EQ(tree->path(), "MPD");
    EXPECT_EQ(tree->all("Period").at(0)->path(), "MPD/Period[1]");
    EXPECT_EQ(tree->all("Period").at(0)->line, 3);
    const ManifestElement& it = *tree->all("Period").at(1)->child("Set")->child("Representation");
    EXPECT_EQ(it.path(), "MPD/Period[2]/Set[1]/Representation[id=v1]");
}

TEST(ManifestTree, IsNotMadeOfAnythingElse) {
    EXPECT_EQ(readManifestTree(""), nullptr);
    EXPECT_EQ(readManifestTree("<MPD>"), nullptr);
    EXPECT_EQ(readManifestTree("#EXTM3U"), nullptr);
}

TEST(ManifestTree, IsNotMadeOfTooMuch) {
    std::string text = "<M>";
    for (size_t i = 0; i + 1 < kMaxManifestElements; ++i)
        text += "<S/>";
    EXPECT_NE(readManifestTree(text + "</M>"), nullptr);
    EXPECT_EQ(readManifestTree(text + "<S/></M>"), nullptr);
}

} // namespace
