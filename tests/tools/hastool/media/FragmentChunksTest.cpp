#include <tools/hastool/LiveFolder.h>

#include <hastool/media/FragmentChunks.h>
#include <hastool/media/FragmentRun.h>
#include <hastool/media/FragmentShift.h>
#include <hastool/media/TsChunks.h>

#include <gmock/gmock.h>

using hastool::cutFragments;
using hastool::cutTransportStream;
using hastool::fragmentSeconds;
using hastool::InitTracks;
using hastool::MediaChunk;
using hastool::readFragmentRuns;
using hastool::readInitTracks;
using hastool::shiftFragments;
using test::be;
using test::fullBox;
using test::liveInit;
using test::liveSegment;
using test::liveTsSegment;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

const InitTracks& tracks() {
    static const InitTracks all = readInitTracks(liveInit());
    return all;
}

std::string boxContent(std::string_view bytes, const char* type) {
    return std::string(hastool::findBox(bytes, type).value().content);
}

TEST(InitTracksTest, ReadsTimescaleAndDefaults) {
    ASSERT_EQ(tracks().size(), 1U);
    EXPECT_EQ(tracks().at(1).timescale, 1000U);
    EXPECT_EQ(tracks().at(1).duration, 100U);
    EXPECT_EQ(tracks().at(1).size, 3U);
}

TEST(InitTracksTest, LeavesOutWhatIsCut) {
    const std::string init = liveInit();
    for (size_t size = 0; size < init.size(); ++size)
        EXPECT_TRUE(readInitTracks(std::string_view(init).substr(0, size)).empty());
}

TEST(FragmentChunksTest, SharesTheSamplesOutByTheirTimes) {
    const auto chunks = cutFragments(liveSegment('a', 4000), tracks(), 0.75);
    ASSERT_EQ(chunks.size(), 3U);
    EXPECT_DOUBLE_EQ(chunks[0].seconds, 0.8);
    EXPECT_DOUBLE_EQ(chunks[1].seconds, 0.7);
    EXPECT_DOUBLE_EQ(chunks[2].seconds, 0.5);
    EXPECT_TRUE(chunks[0].independent);
    EXPECT_FALSE(chunks[1].independent);
    EXPECT_EQ(boxContent(chunks[0].bytes, "mdat"), "a00a01a02a03a04a05a06a07");
    EXPECT_EQ(boxContent(chunks[2].bytes, "mdat"), "a15a16a17a18a19");
}

TEST(FragmentChunksTest, GivesEveryChunkItsOwnTimeAndSamples) {
    const auto chunks = cutFragments(liveSegment('a', 4000), tracks(), 0.75);
    const auto runs = readFragmentRuns(boxContent(chunks.at(1).bytes, "moof"), tracks());
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].decodeTime, 4800U);
    EXPECT_EQ(runs[0].samples.size(), 7U);
    EXPECT_EQ(runs[0].samples[0].flags, 0x10000U);
    const auto moof = hastool::findBox(chunks[1].bytes, "moof").value();
    EXPECT_EQ(static_cast<size_t>(runs[0].dataOffset), moof.whole.size() + 8);
}

TEST(FragmentChunksTest, LeavesEncryptedFragmentsWhole) {
    const std::string segment = liveSegment('a', 0, fullBox("senc", 0, 0, be(0)));
    const auto chunks = cutFragments(segment, tracks(), 0.5);
    ASSERT_EQ(chunks.size(), 1U);
    EXPECT_EQ(chunks[0].bytes, segment);
    EXPECT_DOUBLE_EQ(chunks[0].seconds, 2);
}

TEST(FragmentChunksTest, LosesNoMediaOfSegmentsThatAreCut) {
    const std::string segment = liveSegment('a', 0);
    for (size_t size = 0; size < segment.size(); ++size) {
        const auto chunks = cutFragments(std::string_view(segment).substr(0, size), tracks(), 0.5);
        std::string together;
        for (const MediaChunk& it : chunks)
            together += it.bytes;
        EXPECT_EQ(together, segment.substr(0, size));
    }
}

TEST(FragmentChunksTest, LeavesFragmentsWholeWhoseSamplesAreNotThere) {
    std::string segment = liveSegment('a', 0);
    const size_t offset = segment.find("trun") + 12;
    segment.replace(offset, 4, be(0x7FFFFFFF));
    EXPECT_EQ(cutFragments(segment, tracks(), 0.5).size(), 1U);
}

TEST(FragmentShiftTest, MovesTimesAndNumbersAndDropsTheIndex) {
    std::string segment = liveSegment('a', 4000, "", fullBox("sidx", 0, 0, test::zeros(20)));
    shiftFragments(segment, tracks(), 6, 12);
    EXPECT_EQ(segment.find("sidx"), std::string::npos);
    const std::string moof = boxContent(segment, "moof");
    EXPECT_EQ(readFragmentRuns(moof, tracks()).at(0).decodeTime, 10000U);
    EXPECT_EQ(boxContent(moof, "mfhd").substr(4), be(12));
    EXPECT_DOUBLE_EQ(fragmentSeconds(moof, tracks()), 2);
}

TEST(FragmentShiftTest, LeavesWhatItCannotReadAsItIs) {
    std::string segment = liveSegment('a', 4000);
    segment.resize(segment.size() / 2);
    const std::string before = segment;
    shiftFragments(segment, tracks(), 6, 12);
    EXPECT_EQ(segment, before);
}

TEST(TsChunksTest, CutsBeforePictures) {
    const std::string segment = liveTsSegment('a');
    const auto chunks = cutTransportStream(segment, 0.75, 2);
    ASSERT_EQ(chunks.size(), 3U);
    EXPECT_NEAR(chunks[0].seconds, 0.8, 1e-6);
    EXPECT_NEAR(chunks[1].seconds, 0.7, 1e-6);
    EXPECT_NEAR(chunks[2].seconds, 0.5, 1e-6);
    EXPECT_EQ(chunks[0].bytes + chunks[1].bytes + chunks[2].bytes, segment);
    EXPECT_EQ(chunks[0].bytes.size(), 8 * 188U);
    EXPECT_TRUE(chunks[0].independent);
    EXPECT_FALSE(chunks[1].independent);
}

TEST(TsChunksTest, TimesMayBeginAnewWithinASegment) {
    const double wrap = 8589934592.0 / 90000;
    EXPECT_EQ(cutTransportStream(liveTsSegment('a', wrap - 1), 0.5, 2).size(), 4U);
}

TEST(TsChunksTest, LeavesBytesThatAreNoPacketsWhole) {
    const auto chunks = cutTransportStream("no packets", 0.5, 2);
    ASSERT_EQ(chunks.size(), 1U);
    EXPECT_EQ(chunks[0].bytes, "no packets");
    EXPECT_DOUBLE_EQ(chunks[0].seconds, 2);
}

} // namespace
