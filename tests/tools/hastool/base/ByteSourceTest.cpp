#include <tools/hastool/ErrorOf.h>

#include <hastool/base/ByteSource.h>
#include <support/TempDir.h>

#include <gtest/gtest.h>

using hastool::ByteSource;

namespace {

std::string all(const ByteSource& source) {
    std::string text;
    source([&text](const unsigned char* data, size_t size) {
        text.append(reinterpret_cast<const char*>(data), size);
    });
    return text;
}

} // namespace

TEST(ByteSource, GivesAFileOverInPiecesAsOftenAsAsked) {
    const test::TempDir dir;
    std::string content(3'000'000, 'a');
    content[1'048'576] = 'b';
    const ByteSource source = hastool::fileSource(dir.write("a", content));
    EXPECT_TRUE(all(source) == content);
    EXPECT_TRUE(all(source) == content);
}

TEST(ByteSource, GivesMemoryOver) {
    const std::string text = "abc";
    EXPECT_EQ(all(hastool::memorySource(text)), "abc");
}

TEST(ByteSource, SaysWhatCannotBeRead) {
    EXPECT_EQ(test::errorOf([] { all(hastool::fileSource("/none/a")); }),
              "/none/a: cannot be read: No such file or directory");
    EXPECT_EQ(test::errorOf([] { all(hastool::fileSource("/")); }),
              "/: cannot be read: Is a directory");
}
