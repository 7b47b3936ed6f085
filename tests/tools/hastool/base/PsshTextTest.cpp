#include <hastool/base/Base64.h>
#include <hastool/base/PsshText.h>
#include <support/Mp4Boxes.h>

#include <gtest/gtest.h>

using hastool::psshDataText;
using hastool::toBase64;
using test::be;
using test::fullBox;

namespace {

const std::string kId(16, 'i');

} // namespace

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
