#include <tools/hastool/ErrorOf.h>

#include <hastool/base/BlockSource.h>
#include <support/TempDir.h>

#include <filesystem>

#include <sys/stat.h>

#include <gtest/gtest.h>

namespace {

std::string part(const hastool::BlockSource& source, uint64_t at, size_t size) {
    std::string text(size, '?');
    source.read(at, reinterpret_cast<unsigned char*>(text.data()), size);
    return text;
}

} // namespace

TEST(BlockSource, ReadsAnyPartOfAFile) {
    const test::TempDir dir;
    const auto source = hastool::fileBlocks(dir.write("a", "0123456789"));
    EXPECT_EQ(source.size, 10U);
    EXPECT_EQ(part(source, 7, 3), "789");
    EXPECT_EQ(part(source, 0, 10), "0123456789");
    EXPECT_EQ(part(source, 10, 0), "");
}

TEST(BlockSource, ReadsAnyPartOfMemory) {
    const auto source = hastool::memoryBlocks("abcdef");
    EXPECT_EQ(source.size, 6U);
    EXPECT_EQ(part(source, 2, 3), "cde");
}

TEST(BlockSource, SaysWhatCannotBeRead) {
    EXPECT_EQ(test::errorOf([] { hastool::fileBlocks("/none/a"); }),
              "/none/a: cannot be read: No such file or directory");
    EXPECT_EQ(test::errorOf([] { hastool::fileBlocks("/"); }), "/: cannot be read: Is a directory");
    const test::TempDir dir;
    const std::string pipe = dir.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(test::errorOf([&] { hastool::fileBlocks(pipe); }),
              pipe + ": cannot be read: not a file");
}

TEST(BlockSource, SaysWhenTheFileHasBecomeShorter) {
    const test::TempDir dir;
    const std::string path = dir.write("a", "0123456789");
    const auto source = hastool::fileBlocks(path);
    std::filesystem::resize_file(path, 5);
    EXPECT_EQ(test::errorOf([&] { part(source, 0, 10); }),
              path + ": cannot be read: it has become shorter");
}
