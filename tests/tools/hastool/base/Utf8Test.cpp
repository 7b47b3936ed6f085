#include <hastool/base/Utf8.h>

#include <string>

#include <gtest/gtest.h>

using hastool::findBadUtf8;

namespace {

TEST(Utf8, TakesCharactersOfAllLengths) {
    EXPECT_FALSE(findBadUtf8(""));
    EXPECT_FALSE(findBadUtf8(std::string("a\0b", 3)));
    EXPECT_FALSE(findBadUtf8("\xC2\x80 \xDF\xBF \xE0\xA0\x80 \xEF\xBF\xBF"));
    EXPECT_FALSE(findBadUtf8("\xED\x9F\xBF \xEE\x80\x80 \xF0\x90\x80\x80 \xF4\x8F\xBF\xBF"));
}

TEST(Utf8, TellsWhereATextIsNone) {
    struct Row {
        const char* bytes;
        const char* why;
    };
    const Row rows[] = {
        {"\x80", "a byte that goes on with nothing"},
        {"\xC3", "cut off"},
        {"\xC3(", "a byte that does not go on"},
        {"\xC0\x80", "an overlong zero"},
        {"\xC1\xBF", "overlong"},
        {"\xE0\x9F\xBF", "overlong"},
        {"\xF0\x8F\xBF\xBF", "overlong"},
        {"\xED\xA0\x80", "a surrogate"},
        {"\xF4\x90\x80\x80", "above the last character"},
        {"\xF5\x80\x80\x80", "above the last character"},
        {"\xE2\x82", "cut off"},
        {"\xFF", "no byte of any character"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(findBadUtf8(std::string("ab") + row.bytes), 2u) << row.why;
}

} // namespace
