#include <hastool/engine/BoxBuilder.h>
#include <hastool/engine/PsshBox.h>

#include <gtest/gtest.h>

using hastool::BoxBuilder;
using hastool::psshPayload;
using hastool::toBase64;

TEST(PsshBox, HandsItsDataOut) {
    BoxBuilder box;
    box.zeros(16).u32(5).bytes("hello");
    EXPECT_EQ(psshPayload(toBase64(box.fullBox("pssh"))), "aGVsbG8=");
}

TEST(PsshBox, HasItsDataBehindTheKeyIdsOfVersion1) {
    BoxBuilder box;
    box.zeros(16).u32(2).zeros(32).u32(5).bytes("hello");
    EXPECT_EQ(psshPayload(toBase64(box.fullBox("pssh", 1))), "aGVsbG8=");
}

TEST(PsshBox, IsEmptyForAnythingElse) {
    BoxBuilder cut;
    cut.zeros(16).u32(6).bytes("hello");
    BoxBuilder manyIds;
    manyIds.zeros(16).u32(0xFFFFFFFF).u32(0);
    for (const std::string& bytes :
         {cut.fullBox("pssh"), manyIds.fullBox("pssh", 1), BoxBuilder().fullBox("pssh"),
          BoxBuilder().zeros(24).box("free"), std::string("text")})
        EXPECT_EQ(psshPayload(toBase64(bytes)), "");
    EXPECT_EQ(psshPayload("not base64"), "");
    EXPECT_EQ(psshPayload(""), "");
}

TEST(Base64, FillsUpToGroupsOfFour) {
    EXPECT_EQ(toBase64(""), "");
    EXPECT_EQ(toBase64("f"), "Zg==");
    EXPECT_EQ(toBase64("fo"), "Zm8=");
    EXPECT_EQ(toBase64("foo"), "Zm9v");
    EXPECT_EQ(toBase64("\xFB\xFF\xFE"), "+//+");
}
