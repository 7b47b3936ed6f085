#include <tools/hastool/ErrorOf.h>

#include <hastool/base/OutputFile.h>
#include <support/TempDir.h>

#include <filesystem>

#include <gtest/gtest.h>

using hastool::MemorySink;
using hastool::OutputFile;
using test::errorOf;
using test::readFile;

namespace {

bool write(hastool::ByteSink& sink, const std::string& text) {
    return sink.write(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

} // namespace

TEST(OutputFile, ReplacesAFileOnlyWhenItIsWhole) {
    const test::TempDir dir;
    const std::string path = dir.write("a", "old");
    {
        OutputFile file(path, OutputFile::Mode::Replace);
        EXPECT_TRUE(write(file, "new"));
        EXPECT_EQ(readFile(path), "old");
    }
    EXPECT_EQ(readFile(path), "old");
    EXPECT_FALSE(std::filesystem::exists(path + ".part"));
    OutputFile file(path, OutputFile::Mode::Replace);
    EXPECT_TRUE(write(file, "new"));
    file.commit();
    EXPECT_EQ(readFile(path), "new");
    EXPECT_FALSE(std::filesystem::exists(path + ".part"));
}

TEST(OutputFile, WritesDirectlyWhereItIsToGrow) {
    const test::TempDir dir;
    OutputFile file(dir.file("b"), OutputFile::Mode::Direct);
    file.write("one");
    EXPECT_EQ(readFile(dir.file("b")), "one");
}

TEST(OutputFile, WritesToADeviceAsItIs) {
    OutputFile file("/dev/null", OutputFile::Mode::Replace);
    EXPECT_TRUE(write(file, "gone"));
    file.commit();
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST(OutputFile, SaysWhatCannotBeWritten) {
    const test::TempDir dir;
    const std::string path = dir.file("none/file");
    EXPECT_EQ(errorOf([&] { OutputFile(path, OutputFile::Mode::Direct); }),
              path + ": cannot be written: No such file or directory");
    OutputFile full("/dev/full", OutputFile::Mode::Direct);
    EXPECT_FALSE(write(full, "x"));
    EXPECT_EQ(full.failure(), "/dev/full: No space left on device");
    EXPECT_EQ(errorOf([&] { full.write("x"); }),
              "/dev/full: cannot be written: No space left on device");
}

TEST(MemorySink, TakesUpToItsLimit) {
    MemorySink sink(2u << 20);
    EXPECT_TRUE(write(sink, std::string(1u << 20, 'a')));
    EXPECT_TRUE(write(sink, std::string(1u << 20, 'b')));
    EXPECT_FALSE(write(sink, "c"));
    EXPECT_EQ(sink.bytes().size(), 2u << 20);
    EXPECT_EQ(sink.failure(), "more than 2 MiB");
}
