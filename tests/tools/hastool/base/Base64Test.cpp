#include <hastool/base/Base64.h>

#include <string>
#include <utility>

#include <gtest/gtest.h>

using hastool::fromBase64;
using hastool::toBase64;

TEST(Base64, GoesBothWays) {
    const std::pair<std::string, std::string> rows[] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"},
        {"\xFF\xEF\xBE", "/+++"},
        {std::string(3, '\0'), "AAAA"},
    };
    for (const auto& [bytes, text] : rows) {
        EXPECT_EQ(toBase64(bytes), text);
        EXPECT_EQ(fromBase64(text), bytes);
    }
}

TEST(Base64, WhatIsNotIsRefused) {
    for (const char* text : {"A", "AA", "AAA", "AAAAA", "A===", "====", "AA=A", "AA A", "AAA\n",
                             "A-_A", " AAA", "AAAA   \n", "\r\n\r\nAAAA",
                             "AA=="
                             "AAAA"})
        EXPECT_FALSE(fromBase64(text)) << text;
}
