#include <Hascommon/SafeString.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

namespace {

int formatList(char* buf, unsigned int size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

int formatList(char* buf, unsigned int size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = has_vsprintf_s(buf, size, format, args);
    va_end(args);
    return length;
}

TEST(SafeString, StrncpyPadsWithZeroBytesUpToCount) {
    std::vector<char> dst(6, 'x');
    EXPECT_EQ(has_strncpy_s(dst.data(), 6, "ab", 5), dst.data());
    EXPECT_EQ(std::string(dst.data(), 6), std::string("ab\0\0\0x", 6));
}

TEST(SafeString, StrncpyAddsNoTerminatorToAFullCopy) {
    std::vector<char> dst(4, 'x');
    has_strncpy_s(dst.data(), 4, "abcdef", 3);
    EXPECT_EQ(std::string(dst.data(), 4), "abcx");
}

TEST(SafeString, StrncpyIgnoresTheSizeOfTheDestination) {
    std::vector<char> dst(4, 'x');
    has_strncpy_s(dst.data(), 1, "abcd", 4);
    EXPECT_EQ(std::string(dst.data(), 4), "abcd");
}

TEST(SafeString, StrncpyOfNothingTakesNullPointers) {
    EXPECT_EQ(has_strncpy_s(nullptr, 0, nullptr, 0), nullptr);
}

TEST(SafeString, MemcpyCopiesCountBytesWhateverTheSizeOfTheDestination) {
    const std::vector<unsigned char> src = {1, 0, 2};
    std::vector<unsigned char> dst(3);
    EXPECT_EQ(has_memcpy_s(dst.data(), 0, src.data(), 3), dst.data());
    EXPECT_EQ(dst, src);
}

TEST(SafeString, MemcpyOfNothingTakesNullPointers) {
    EXPECT_EQ(has_memcpy_s(nullptr, 0, nullptr, 0), nullptr);
}

TEST(SafeString, SprintfCutsTerminatesAndReturnsTheWholeLength) {
    std::vector<char> buf(4, 'x');
    EXPECT_EQ(has_sprintf_s(buf.data(), 4, "%d-%s", 12, "ab"), 5);
    EXPECT_STREQ(buf.data(), "12-");
}

TEST(SafeString, SprintfIntoNoRoomWritesNothing) {
    char untouched = 'x';
    EXPECT_EQ(has_sprintf_s(&untouched, 0, "%s", "abc"), 3);
    EXPECT_EQ(untouched, 'x');
}

TEST(SafeString, VsprintfFormatsAnArgumentList) {
    std::array<char, 16> buf{};
    EXPECT_EQ(formatList(buf.data(), 16, "%s=%d", "n", 7), 3);
    EXPECT_STREQ(buf.data(), "n=7");
    EXPECT_EQ(formatList(buf.data(), 2, "%s", "long"), 4);
    EXPECT_STREQ(buf.data(), "l");
}

TEST(SafeString, FopenOpensAFileThatExists) {
    FILE* file = nullptr;
    ASSERT_TRUE(has_fopen_s(&file, "/dev/null", "r"));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(fclose(file), 0);
}

TEST(SafeString, FopenOfAMissingFileSetsTheStreamToNull) {
    char dummy = 0;
    FILE* file = reinterpret_cast<FILE*>(&dummy);
    EXPECT_FALSE(has_fopen_s(&file, "/nonexistent/folder/file", "r"));
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST(SafeString, FopenWithoutAPlaceForTheStreamFails) {
    EXPECT_FALSE(has_fopen_s(nullptr, "/dev/null", "r"));
}

} // namespace
