#include <tools/hastool/ErrorOf.h>

#include <hastool/base/BoxBuilder.h>
#include <hastool/formats/dash/SegmentIndex.h>

#include <gtest/gtest.h>

using hastool::BoxBuilder;
using hastool::SegmentIndex;
using test::errorOf;

namespace {

SegmentIndex parse(const std::string& bytes, uint64_t offset = 0) {
    return SegmentIndex::parse(bytes, offset, "a.mp4");
}

TEST(SegmentIndex, CountsFromBehindItsBox) {
    const std::string box = BoxBuilder()
                                .u32(1)
                                .u32(90000)
                                .u32(500)
                                .u32(7)
                                .u16(0)
                                .u16(2)
                                .u32(1000)
                                .u32(180000)
                                .u32(0x90000000)
                                .u32(2000)
                                .u32(90000)
                                .u32(0)
                                .fullBox("sidx");
    const SegmentIndex index = parse(BoxBuilder().box("free") + box, 100);
    EXPECT_EQ(index.timescale, 90000U);
    ASSERT_EQ(index.entries.size(), 2U);
    EXPECT_EQ(index.entries[0].offset, 100 + 8 + box.size() + 7);
    EXPECT_EQ(index.entries[0].size, 1000U);
    EXPECT_EQ(index.entries[0].time, 500U);
    EXPECT_EQ(index.entries[1].offset, index.entries[0].offset + 1000);
    EXPECT_EQ(index.entries[1].time, 180500U);
    EXPECT_EQ(index.entries[1].duration, 90000U);
}

TEST(SegmentIndex, ReadsWideTimesOfVersion1) {
    const SegmentIndex index = parse(BoxBuilder()
                                         .u32(1)
                                         .u32(1)
                                         .u64(uint64_t{1} << 40)
                                         .u64(0)
                                         .u16(0)
                                         .u16(1)
                                         .u32(5)
                                         .u32(6)
                                         .u32(0)
                                         .fullBox("sidx", 1));
    EXPECT_EQ(index.entries.at(0).time, uint64_t{1} << 40);
}

TEST(SegmentIndex, RefusesWhatIsNoneOrCutShort) {
    EXPECT_EQ(errorOf([] { parse(""); }), "a.mp4: no segment index where the manifest says");
    EXPECT_EQ(errorOf([] { parse(BoxBuilder().u32(1).fullBox("sidx")); }),
              "a.mp4: a segment index that cannot be read");
    BoxBuilder box;
    box.u32(1).u32(0).u32(0).u32(0).u16(0).u16(0);
    EXPECT_EQ(errorOf([&] { parse(box.fullBox("sidx")); }),
              "a.mp4: a segment index that cannot be read")
        << "no timescale";
    BoxBuilder cut;
    cut.u32(1).u32(1).u32(0).u32(0).u16(0).u16(9).u32(1);
    EXPECT_EQ(errorOf([&] { parse(cut.fullBox("sidx")); }),
              "a.mp4: a segment index that is cut short");
}

TEST(SegmentIndex, RefusesAnIndexOfIndexes) {
    BoxBuilder box;
    box.u32(1).u32(1).u32(0).u32(0).u16(0).u16(1).u32(0x80000005).u32(1).u32(0);
    EXPECT_EQ(errorOf([&] { parse(box.fullBox("sidx")); }),
              "a.mp4: a segment index of segment indexes is not supported");
}

} // namespace
