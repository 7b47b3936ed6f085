#include <tools/hastool/BoxList.h>

#include <support/Mp4Boxes.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using hastool::BoxInfo;
using hastool::BoxTrouble;
using test::be;
using test::BoxList;
using test::fullBox;
using test::mp4Box;
using test::zeros;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(BoxWalk, HandsBoxesOverInTheFilesOrder) {
    const BoxList list(mp4Box("ftyp", "iso6" + be(1) + "dash") +
                       mp4Box("moov", mp4Box("trak", mp4Box("mdia", "")) + mp4Box("free", "x")) +
                       mp4Box("mdat", "media"));
    EXPECT_THAT(list.shapes(), ElementsAre("0 ftyp 0 +20", "0 moov 20 +33", "1 trak 28 +16",
                                           "2 mdia 36 +8", "1 free 44 +9", "0 mdat 53 +13"));
    EXPECT_EQ(list.trouble(), "");
}

TEST(BoxWalk, TakesNoBoxesFromNothing) {
    EXPECT_THAT(BoxList("").shapes(), ElementsAre());
    EXPECT_EQ(BoxList("").trouble(), "");
}

TEST(BoxWalk, ReadsA64BitSize) {
    const BoxList list(be(1) + "mdat" + be(20, 8) + "data" + mp4Box("free", ""));
    EXPECT_THAT(list.shapes(), ElementsAre("0 mdat 0 +20", "0 free 20 +8"));
    EXPECT_EQ(list.at(0).headerSize, 16U);
    EXPECT_EQ(list.trouble(), "");
}

TEST(BoxWalk, ReadsTheChildrenOfABoxWithA64BitSize) {
    const BoxList list(be(1) + "moov" + be(24, 8) + mp4Box("free", ""));
    EXPECT_THAT(list.shapes(), ElementsAre("0 moov 0 +24", "1 free 16 +8"));
}

TEST(BoxWalk, SizeZeroReachesToTheEnd) {
    const BoxList list(mp4Box("free", "") + be(0) + "mdat" + "rest of the file");
    EXPECT_THAT(list.shapes(), ElementsAre("0 free 0 +8", "0 mdat 8 +24"));
    EXPECT_FALSE(list.at(0).isToEnd);
    EXPECT_TRUE(list.at(1).isToEnd);
    EXPECT_EQ(list.trouble(), "");
}

TEST(BoxWalk, SizeZeroInsideABoxIsTroubleAndReachesToItsEnd) {
    const BoxList list(mp4Box("moov", be(0) + "trak" + mp4Box("mdia", "")) + mp4Box("free", ""));
    EXPECT_THAT(list.shapes(),
                ElementsAre("0 moov 0 +24", "1 trak 8 +16", "2 mdia 16 +8", "0 free 24 +8"));
    EXPECT_EQ(list.trouble(), "8: box \"trak\" has no size, inside another");
}

TEST(BoxWalk, ReadsAnExtendedType) {
    const BoxList list(mp4Box("uuid", "0123456789abcdef" + std::string("data")));
    EXPECT_EQ(list.at(0).facts["uuid"], "30313233343536373839616263646566");
    EXPECT_EQ(BoxList(mp4Box("uuid", "012345")).trouble(),
              "0: box \"uuid\" is too short for what it holds");
}

TEST(BoxWalk, ReadsACutBoxAsFarAsItGoes) {
    const std::string whole =
        mp4Box("moof", fullBox("mfhd", 0, 0, be(7)) + mp4Box("traf", mp4Box("free", zeros(50))));
    const BoxList list(whole.substr(0, 50));
    EXPECT_THAT(list.shapes(),
                ElementsAre("0 moof 0 +90", "1 mfhd 8 +16", "1 traf 24 +66", "2 free 32 +58"));
    EXPECT_EQ(list.trouble(), "0: box \"moof\" reaches 40 bytes beyond the file");
    EXPECT_EQ(list.at(2).trouble, "box \"traf\" reaches 40 bytes beyond \"moof\"");
}

TEST(BoxWalk, AChildBeyondItsParentDoesNotHideWhatFollows) {
    const BoxList list(mp4Box("moov", be(100) + "free") + mp4Box("free", ""));
    EXPECT_THAT(list.shapes(), ElementsAre("0 moov 0 +16", "1 free 8 +100", "0 free 16 +8"));
    EXPECT_EQ(list.trouble(), "8: box \"free\" reaches 92 bytes beyond \"moov\"");
}

TEST(BoxWalk, ABoxSmallerThanItsHeaderEndsItsParent) {
    for (const int size : {2, 7}) {
        const BoxList list(mp4Box("moov", be(static_cast<uint64_t>(size)) + "trak" + zeros(20)) +
                           mp4Box("free", ""));
        EXPECT_THAT(list.shapes(), ElementsAre("0 moov 0 +36", "1 trak 8 +" + std::to_string(size),
                                               "0 free 36 +8"));
        EXPECT_EQ(list.trouble(), "8: box \"trak\" has the size " + std::to_string(size));
    }
    EXPECT_EQ(BoxList(be(1) + "mdat" + be(15, 8) + zeros(9)).trouble(),
              "0: box \"mdat\" has the size 15");
}

TEST(BoxWalk, ASizeNearTheEndOfTheNumbersDoesNotWrap) {
    EXPECT_EQ(BoxList(mp4Box("free", "") + be(1) + "mdat" + be(~uint64_t{0}, 8)).trouble(),
              "8: box \"mdat\" reaches 18446744073709551599 bytes beyond the file");
}

TEST(BoxWalk, ACutHeaderIsTrouble) {
    EXPECT_EQ(BoxList(mp4Box("free", "") + "abc").trouble(), "8: a box header is cut short");
    EXPECT_EQ(BoxList(be(1) + "mdat" + be(0)).trouble(),
              "0: the header of box \"mdat\" is cut short");
}

TEST(BoxWalk, AFewBytesBehindTheLastChildAreShown) {
    const BoxList list(mp4Box("udta", mp4Box("free", "") + zeros(4)) + mp4Box("free", ""));
    EXPECT_THAT(list.shapes(),
                ElementsAre("0 udta 0 +20", "1 free 8 +8", "1  16 +4", "0 free 20 +8"));
    EXPECT_EQ(list.trouble(), "");
}

TEST(BoxWalk, ATypeIsPrintable) {
    EXPECT_EQ(BoxList(mp4Box("\xA9nam", "")).at(0).type, "\\xa9nam");
    EXPECT_EQ(BoxList(mp4Box(std::string("\0\n\x7F~", 4), "")).at(0).type, "\\x00\\x0a\\x7f~");
}

TEST(BoxWalk, DepthIsBounded) {
    std::string boxes;
    for (int i = 0; i < 10000; ++i)
        boxes = mp4Box("moov", boxes);
    const BoxList list(boxes);
    EXPECT_EQ(list.size(), hastool::kMaxBoxDepth);
    EXPECT_THAT(list.trouble(), HasSubstr("boxes are nested too deep"));
}

TEST(BoxWalk, TheFirstTroubleIsTold) {
    EXPECT_EQ(BoxList(mp4Box("moof", fullBox("mfhd", 0, 0, "")) + "abc").trouble(),
              "8: box \"mfhd\" is too short for what it holds");
}

TEST(BoxWalk, MediaDataIsNotRead) {
    uint64_t read = 0;
    const std::string head = be(1) + "mdat" + be(uint64_t{1} << 40, 8);
    const hastool::BlockSource source{
        uint64_t{1} << 40, [&](uint64_t at, unsigned char* to, size_t size) {
            read += size;
            for (size_t i = 0; i < size; ++i)
                to[i] = at + i < head.size() ? static_cast<unsigned char>(head[at + i]) : 0;
        }};
    uint64_t size = 0;
    EXPECT_FALSE(hastool::walkBoxes(source, [&](const BoxInfo& box) { size = box.size; }));
    EXPECT_EQ(size, uint64_t{1} << 40);
    EXPECT_LE(read, 100000U);
}
