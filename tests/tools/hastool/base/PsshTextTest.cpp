#include <hastool/base/Base64.h>
#include <hastool/base/PsshText.h>
#include <support/Mp4Boxes.h>

#include <gtest/gtest.h>

using hastool::fromBase64;
using hastool::psshDataText;
using hastool::toBase64;
using test::be;
using test::fullBox;

namespace {

const std::string kId(16, 'i');

} // namespace

TEST(PsshText, Base64GoesBothWays) {
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

TEST(PsshText, WhatIsNotBase64IsRefused) {
    for (const char* text :
         {"A", "AA", "AAA", "AAAAA", "A===", "====", "AA=A", "AA A", "AAA\n", "A-_A"})
        EXPECT_FALSE(psshDataText(text)) << text;
}

TEST(PsshText, DataStaysAsItIs) {
    EXPECT_EQ(psshDataText(""), "");
    EXPECT_EQ(psshDataText("ZGF0YQ=="), "ZGF0YQ==");
}

TEST(PsshText, TheDataIsTakenOutOfABox) {
    EXPECT_EQ(psshDataText(toBase64(test::psshBox(kId, "data"))), "ZGF0YQ==");
    EXPECT_EQ(
        psshDataText(toBase64(fullBox("pssh", 1, 0, kId + be(2) + kId + kId + be(4) + "data"))),
        "ZGF0YQ==");
    EXPECT_EQ(psshDataText(toBase64(fullBox("pssh", 1, 0, kId + be(0) + be(0)))), "");
}

TEST(PsshText, WhatOnlyLooksLikeABoxIsData) {
    const std::string box = test::psshBox(kId, "data");
    for (const std::string& bytes :
         {box + "more", box.substr(0, box.size() - 1), fullBox("free", 0, 0, kId + be(4) + "data"),
          fullBox("pssh", 0, 0, kId + be(5) + "data"), fullBox("pssh", 0, 0, kId + be(3) + "data"),
          fullBox("pssh", 1, 0, kId + be(0xFFFFFFFF) + be(0)), fullBox("pssh", 0, 0, "short"),
          test::mp4Box("pssh", "")})
        EXPECT_EQ(psshDataText(toBase64(bytes)), toBase64(bytes));
}
