#include <tools/hastool/BoxList.h>

#include <hastool/media/BoxText.h>
#include <support/Mp4Boxes.h>

#include <gtest/gtest.h>

using nlohmann::json;
using test::be;
using test::BoxList;
using test::fullBox;
using test::mp4Box;

namespace {

std::string textOf(const std::string& boxes) {
    std::string text;
    const BoxList list(boxes);
    for (const hastool::BoxInfo& box : list.boxes())
        text += hastool::toText(box);
    return text;
}

json jsonOf(const std::string& boxes) {
    hastool::BoxJson writer;
    std::string text;
    const BoxList list(boxes);
    for (const hastool::BoxInfo& box : list.boxes())
        text += writer.add(box);
    return json::parse(text + writer.finish());
}

} // namespace

TEST(BoxText, IsALinePerBox) {
    EXPECT_EQ(textOf(mp4Box("ftyp", "iso6" + be(1) + "dashcmfc") +
                     mp4Box("moof", fullBox("mfhd", 0, 0x10, be(7))) + be(0) + "mdat"),
              "ftyp  0 +24  major_brand iso6, minor_version 1, compatible_brands dash cmfc\n"
              "moof  24 +24\n"
              "  mfhd  32 +16  version 0, flags 0x000010, sequence_number 7\n"
              "mdat  48 +8 (to the end)\n");
}

TEST(BoxText, ShowsListsAndTruths) {
    EXPECT_EQ(textOf(fullBox("sbgp", 0, 0, "seig" + be(2) + be(1) + be(2) + be(3) + be(4))),
              "sbgp  0 +36  version 0, flags 0x000000, grouping_type seig, entry_count 2, entries "
              "(1 2) (3 4)\n");
    EXPECT_EQ(textOf(fullBox("saio", 0, 0, be(0))),
              "saio  0 +16  version 0, flags 0x000000, entry_count 0, offsets none\n");
    EXPECT_EQ(textOf(fullBox("tfhd", 0, 0x20000, be(1))),
              "tfhd  0 +16  version 0, flags 0x020000, track_id 1, default_base_is_moof yes, "
              "duration_is_empty no\n");
}

TEST(BoxText, MarksTrouble) {
    EXPECT_EQ(textOf(mp4Box("moov", be(9) + "free")),
              "moov  0 +16\n  free  8 +9  !! box \"free\" reaches 1 bytes beyond \"moov\"\n");
    EXPECT_EQ(textOf("abc"), "----  0 +3  no box  !! a box header is cut short\n");
}

TEST(BoxJson, NestsBoxes) {
    const json boxes =
        jsonOf(mp4Box("moov", mp4Box("trak", mp4Box("mdia", "")) + mp4Box("free", "")) +
               mp4Box("free", "") + "abc");
    ASSERT_EQ(boxes.size(), 3U);
    const json& movie = boxes[0];
    EXPECT_EQ(movie["type"], "moov");
    EXPECT_EQ(movie["offset"], 0);
    EXPECT_EQ(movie["size"], 32);
    EXPECT_EQ(movie["header_size"], 8);
    ASSERT_EQ(movie["children"].size(), 2U);
    EXPECT_EQ(movie["children"][0]["children"][0]["type"], "mdia");
    EXPECT_FALSE(movie["children"][1].contains("children"));
    EXPECT_EQ(boxes[1]["offset"], 32);
    EXPECT_EQ(
        boxes[2],
        json({{"trailing_bytes", 3}, {"offset", 40}, {"error", "a box header is cut short"}}));
}

TEST(BoxJson, HasTheFactsBesideTheBox) {
    const json boxes = jsonOf(fullBox("mfhd", 0, 0, be(7)));
    EXPECT_EQ(boxes[0]["sequence_number"], 7);
    EXPECT_EQ(jsonOf(be(0) + "mdat")[0]["to_end"], true);
}

TEST(BoxJson, OfNothingIsAnEmptyList) {
    EXPECT_EQ(jsonOf(""), json::array());
}
