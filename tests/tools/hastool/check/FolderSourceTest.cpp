#include <hastool/base/ToolError.h>
#include <hastool/check/FolderSource.h>

#include <support/TempDir.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace {

using namespace hastool;
using ::testing::HasSubstr;

/// Knows nothing, and says what it was asked for.
class Elsewhere : public CheckSource {
public:
    void expect(const std::vector<Resource>& resources) override {
        for (const Resource& it : resources)
            expected.push_back(it.url);
    }
    Fetched fetch(const Resource& resource) override {
        Fetched result;
        result.answer.resource = resource;
        result.answer.failure = "elsewhere";
        return result;
    }
    std::string troubleNow() const override { return "over"; }

    std::vector<std::string> expected;
};

class FolderSourceTest : public testing::Test {
protected:
    void write(const std::string& path, const std::string& text) const {
        const std::filesystem::path file = m_folder.path() / path;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << text;
    }
    CheckSource::Fetched fetch(const std::string& path,
                               std::optional<ByteRange> range = std::nullopt) {
        return m_source.fetch({FolderSource::kUrl + path, range});
    }
    std::string folder() const { return m_folder.path().string(); }

    test::TempDir m_folder;
    Elsewhere m_elsewhere;
    FolderSource m_source{m_folder.path().string(), m_elsewhere};
};

TEST_F(FolderSourceTest, ReadsFilesAsAServerWouldSendThem) {
    write("a b/c.ts", "0123456789");
    const CheckSource::Fetched whole = fetch("a%20b/c.ts?x=1");
    EXPECT_TRUE(whole.answer.ok);
    EXPECT_TRUE(whole.answer.isLocal);
    EXPECT_EQ(whole.bytes, "0123456789");
    EXPECT_EQ(whole.answer.bytes, 10u);
    EXPECT_EQ(fetch("a%20b/c.ts", ByteRange{2, 3}).bytes, "234");
    EXPECT_EQ(fetch("a%20b/c.ts", ByteRange{8, std::nullopt}).bytes, "89");
}

TEST_F(FolderSourceTest, ARangeBeyondTheFileIsAFailure) {
    write("a", "0123");
    EXPECT_FALSE(fetch("a", ByteRange{2, 3}).answer.ok);
    EXPECT_EQ(fetch("a", ByteRange{2, 3}).bytes, "23");
    EXPECT_FALSE(fetch("a", ByteRange{4, 1}).answer.ok);
    EXPECT_FALSE(fetch("a", ByteRange{99, std::nullopt}).answer.ok);
}

TEST_F(FolderSourceTest, WhatIsNotThereIsAFailureWithItsReason) {
    EXPECT_THAT(fetch("missing").answer.failure, HasSubstr("No such file"));
    EXPECT_FALSE(fetch("").answer.ok);
}

TEST_F(FolderSourceTest, NothingOutsideTheFolderIsRead) {
    const test::TempDir outside;
    std::ofstream(outside.path() / "secret") << "secret";
    std::filesystem::create_symlink(outside.path() / "secret", m_folder.path() / "link");
    for (const char* const path : {"../secret", "%2e%2e/secret", "link"}) {
        const CheckSource::Fetched fetched = fetch(path);
        EXPECT_FALSE(fetched.answer.ok) << path;
        EXPECT_EQ(fetched.bytes, "") << path;
    }
    EXPECT_THAT(fetch("link").answer.failure, HasSubstr("outside"));
}

TEST_F(FolderSourceTest, RealServersAreAskedByTheOtherSource) {
    EXPECT_EQ(m_source.fetch({"http://host/a", std::nullopt}).answer.failure, "elsewhere");
    m_source.expect({{FolderSource::kUrl, std::nullopt}, {"http://host/b", std::nullopt}});
    EXPECT_EQ(m_elsewhere.expected, std::vector<std::string>{"http://host/b"});
    EXPECT_EQ(m_source.troubleNow(), "over");
}

TEST_F(FolderSourceTest, APathMeansAManifestOrTheOneInItsFolder) {
    write("film/video 1.mpd", "");
    const std::string folder = this->folder() + "/film";
    const LocalPresentation file = findPresentation(folder + "/video 1.mpd");
    EXPECT_EQ(file.folder, folder);
    EXPECT_EQ(file.url, std::string(FolderSource::kUrl) + "video%201.mpd");
    EXPECT_EQ(findPresentation(folder).url, file.url);
    write("film/low.m3u8", "");
    EXPECT_THROW(findPresentation(folder), ToolError) << "either may be meant";
    write("film/master.m3u8", "");
    EXPECT_EQ(findPresentation(folder).url, std::string(FolderSource::kUrl) + "master.m3u8");
}

TEST_F(FolderSourceTest, AFolderWithoutAManifestIsAnError) {
    EXPECT_THROW(findPresentation(folder()), ToolError);
    EXPECT_EQ(findPresentation("a.mpd").folder, ".");
}

} // namespace
