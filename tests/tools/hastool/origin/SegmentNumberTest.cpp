#include <hastool/origin/SegmentNumber.h>
#include <support/BoxBuilder.h>
#include <support/TempDir.h>

#include <string>

#include <gtest/gtest.h>

using hastool::segmentNumber;
using namespace test::boxes;

namespace {

std::string asText(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

const std::string kFragment = asText(box("moof", zeros(8)) + box("mdat", zeros(100)));
const std::string kInit = asText(box("ftyp", zeros(8)) + box("moov", zeros(20)));

class SegmentNumber : public ::testing::Test {
protected:
    /// Writes a file. @return the segment number at an offset in it
    std::optional<uint64_t> numberOf(const std::string& name, const std::string& content,
                                     uint64_t offset = 0) const {
        return segmentNumber(m_dir.write(name, content), offset);
    }
    std::optional<uint64_t> numberOf(const std::string& name) const {
        return segmentNumber(m_dir.file(name), 0);
    }

    test::TempDir m_dir;
};

} // namespace

TEST_F(SegmentNumber, CountsFromOneWhateverTheFirstNumberIs) {
    for (const char* const name : {"8.ts", "9.ts", "10.ts"})
        m_dir.write(name, "anything");
    EXPECT_EQ(numberOf("8.ts"), 1U);
    EXPECT_EQ(numberOf("9.ts"), 2U);
    EXPECT_EQ(numberOf("10.ts"), 3U);
}

TEST_F(SegmentNumber, TakesTheLastDigitsOfTheName) {
    for (const char* const name :
         {"chunk-stream0-00001.m4s", "chunk-stream0-00002.m4s", "chunk-stream1-00001.m4s"})
        m_dir.write(name, kFragment);
    EXPECT_EQ(numberOf("chunk-stream0-00002.m4s"), 2U);
    EXPECT_EQ(numberOf("chunk-stream1-00001.m4s"), 1U);
}

TEST_F(SegmentNumber, TakesStartTimesOfSmoothStreaming) {
    for (const char* const name : {"Fragments(video=0)", "Fragments(video=20000000)",
                                   "Fragments(video=160000000)", "Fragments(audio=19840000)"})
        m_dir.write(name, kFragment);
    EXPECT_EQ(numberOf("Fragments(video=0)"), 1U);
    EXPECT_EQ(numberOf("Fragments(video=160000000)"), 3U);
    EXPECT_EQ(numberOf("Fragments(audio=19840000)"), 1U);
}

TEST_F(SegmentNumber, ZerosInFrontCountNothing) {
    for (const char* const name : {"s007.ts", "s8.ts", "s0010.ts", "s000.ts"})
        m_dir.write(name, "");
    EXPECT_EQ(numberOf("s000.ts"), 1U);
    EXPECT_EQ(numberOf("s007.ts"), 2U);
    EXPECT_EQ(numberOf("s0010.ts"), 4U);
}

TEST_F(SegmentNumber, NumbersOfAnySizeAreCompared) {
    const std::string big(40, '9');
    m_dir.write("1" + big + ".ts", "");
    EXPECT_EQ(numberOf(big + ".ts", ""), 1U);
    EXPECT_EQ(numberOf("1" + big + ".ts"), 2U);
}

TEST_F(SegmentNumber, FragmentsOfOneFileAreCountedByTheirPlace) {
    const std::string file = kInit + kFragment + kFragment + kFragment;
    const uint64_t first = kInit.size();
    const uint64_t size = kFragment.size();
    EXPECT_EQ(numberOf("v300.mp4", file, 0), std::nullopt) << "the initialisation";
    EXPECT_EQ(numberOf("v300.mp4", file, first), 1U);
    EXPECT_EQ(numberOf("v300.mp4", file, first + size - 1), 1U) << "the rest of one";
    EXPECT_EQ(numberOf("v300.mp4", file, first + size), 2U);
    EXPECT_EQ(numberOf("v300.mp4", file, first + 2 * size), 3U);
}

TEST_F(SegmentNumber, TheRestOfASegmentIsStillTheSegment) {
    m_dir.write("1.m4s", kFragment);
    EXPECT_EQ(numberOf("2.m4s", kFragment, 50), 2U);
}

TEST_F(SegmentNumber, OtherFilesHaveNone) {
    EXPECT_EQ(numberOf("index1.m3u8", "#EXTM3U"), std::nullopt);
    EXPECT_EQ(numberOf("1.key", std::string(16, 'k')), std::nullopt);
    EXPECT_EQ(numberOf("init-1.mp4", kInit), std::nullopt);
    EXPECT_EQ(numberOf("empty1.m4s", ""), std::nullopt);
    EXPECT_EQ(numberOf("cut1.m4s", kFragment.substr(0, 5)), std::nullopt);
    EXPECT_EQ(numberOf("video.ts", "no number"), std::nullopt);
    EXPECT_EQ(numberOf("none.m4s", kFragment), std::nullopt);
    EXPECT_EQ(segmentNumber(m_dir.file("missing9"), 0), std::nullopt);
}

TEST_F(SegmentNumber, ABoxThatLiesAboutItsSizeEndsTheSearch) {
    EXPECT_EQ(numberOf("a1.m4s", asText(sizedBox(0, "free")) + kFragment), std::nullopt);
    EXPECT_EQ(numberOf("b1.m4s", asText(sizedBox(7, "free")) + kFragment), std::nullopt);
    EXPECT_EQ(numberOf("c1.m4s", asText(u32(1) + text("free") + u64(~0ULL)) + kFragment),
              std::nullopt);
}

TEST_F(SegmentNumber, BoxesWithLongSizesAreWalkedOver) {
    EXPECT_EQ(numberOf("1.m4s", asText(longBox("free", zeros(30))) + kFragment), 1U);
}
