#include <tools/hastool/ErrorOf.h>

#include <hastool/origin/ServedFolder.h>
#include <support/TempDir.h>

#include <filesystem>

#include <gmock/gmock.h>

using hastool::encodedPath;
using hastool::ServedFolder;
using test::errorOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class ServedFolderTest : public ::testing::Test {
protected:
    /// Whether a path leads to a file of the name.
    bool finds(const std::string& path, const std::string& name) const {
        const auto file = ServedFolder(m_dir.path()).find(path);
        return file && std::filesystem::equivalent(*file, m_dir.file(name));
    }
    bool findsNothing(const std::string& path) const {
        return !ServedFolder(m_dir.path()).find(path);
    }

    test::TempDir m_dir;
};

} // namespace

TEST_F(ServedFolderTest, FindsFilesByTheirPaths) {
    m_dir.write("a", "1");
    m_dir.write("d/QualityLevels(300000)/Fragments(video=0)", "1");
    m_dir.write("\xC3\xA4 b", "1");
    EXPECT_TRUE(finds("/a", "a"));
    EXPECT_TRUE(finds("//a", "a"));
    EXPECT_TRUE(finds("/d/QualityLevels(300000)/Fragments(video=0)",
                      "d/QualityLevels(300000)/Fragments(video=0)"));
    EXPECT_TRUE(finds("/\xC3\xA4 b", "\xC3\xA4 b"));
}

TEST_F(ServedFolderTest, FindsNoFoldersAndNothingThatIsNotThere) {
    m_dir.write("d/a", "1");
    EXPECT_TRUE(findsNothing("/d"));
    EXPECT_TRUE(findsNothing("/d/"));
    EXPECT_TRUE(findsNothing("/"));
    EXPECT_TRUE(findsNothing(""));
    EXPECT_TRUE(findsNothing("d/a"));
    EXPECT_TRUE(findsNothing("/d/a/"));
    EXPECT_TRUE(findsNothing("/b"));
}

TEST_F(ServedFolderTest, NoPathLeadsOutOfIt) {
    m_dir.write("secret", "1");
    m_dir.write("in/a", "1");
    const ServedFolder folder(m_dir.path() / "in");
    EXPECT_TRUE(folder.find("/a"));
    for (const std::string& path :
         {std::string("/../secret"), std::string("/x/../../secret"), std::string("/./a"),
          std::string("/../in/a"), std::string("/a\0b", 4), m_dir.file("secret")})
        EXPECT_FALSE(folder.find(path)) << path;
}

TEST_F(ServedFolderTest, AFolderThatIsNoneIsRefused) {
    EXPECT_EQ(errorOf([&] { ServedFolder(m_dir.file("none")); }),
              m_dir.file("none") + ": No such file or directory");
    m_dir.write("a", "");
    EXPECT_EQ(errorOf([&] { ServedFolder(m_dir.file("a")); }), m_dir.file("a") + ": not a folder");
}

TEST_F(ServedFolderTest, ListsThePresentationsInIt) {
    m_dir.write("z/m.mpd", "<?xml version='1.0'?><MPD xmlns='urn:mpeg:dash:schema:mpd:2011'/>");
    m_dir.write("b/Manifest", "<SmoothStreamingMedia/>");
    m_dir.write("c/x.ismc", "<SmoothStreamingMedia/>");
    m_dir.write("h/master.m3u8", "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\n0/index.m3u8\n");
    m_dir.write("h/0/index.m3u8", "#EXTM3U\n#EXTINF:1,\n1.ts\n");
    m_dir.write("alone/a b.m3u8", "#EXTM3U\n#EXTINF:1,\n1.ts\n");
    EXPECT_THAT(
        ServedFolder(m_dir.path()).presentations(),
        ElementsAre("/alone/a b.m3u8", "/b/Manifest", "/c/x.ismc", "/h/master.m3u8", "/z/m.mpd"));
}

TEST_F(ServedFolderTest, OtherFilesAreNoPresentations) {
    m_dir.write("a.mpd", "<html/>");
    m_dir.write("Manifest", "text");
    m_dir.write("a.ts", "#EXTM3U");
    m_dir.write("1/2/3/4/5/deep.m3u8", "#EXTM3U\n#EXTINF:1,\n1.ts\n");
    EXPECT_THAT(ServedFolder(m_dir.path()).presentations(), IsEmpty());
}

TEST(ServedFolderTypes, AreKnownByTheName) {
    using hastool::contentType;
    EXPECT_EQ(contentType("a/m.m3u8"), "application/vnd.apple.mpegurl");
    EXPECT_EQ(contentType("m.mpd"), "application/dash+xml");
    EXPECT_EQ(contentType("a.ism/Manifest"), "application/vnd.ms-sstr+xml");
    EXPECT_EQ(contentType("a.ismc"), "application/vnd.ms-sstr+xml");
    EXPECT_EQ(contentType("1.ts"), "video/mp2t");
    EXPECT_EQ(contentType("1.m4s"), "video/iso.segment");
    EXPECT_EQ(contentType("1.key"), "application/octet-stream");
    EXPECT_EQ(contentType("QualityLevels(1)/Fragments(video=0)"), "video/mp4");
    EXPECT_EQ(contentType("QualityLevels(1)/Fragments(audio_1=0)"), "audio/mp4");
}

TEST(ServedFolderUrls, EncodeWhatDoesNotStandForItself) {
    EXPECT_EQ(encodedPath("/a-b_c.d~/Fragments(video=0)"), "/a-b_c.d~/Fragments(video=0)");
    EXPECT_EQ(encodedPath("/a b?#%\xC3\xA4"), "/a%20b%3F%23%25%C3%A4");
    EXPECT_EQ(encodedPath(std::string("\0", 1)), "%00");
}
