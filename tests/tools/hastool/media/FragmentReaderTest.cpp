#include <hastool/media/SegmentFacts.h>
#include <support/ExactBytes.h>
#include <tools/hastool/FragmentBuilder.h>

#include <gtest/gtest.h>

using hastool::SegmentFacts;
using test::FragmentPlan;

namespace {

SegmentFacts read(const std::string& media) {
    return hastool::readSegmentFacts(test::videoInit(), media);
}

TEST(FragmentReader, TellsTheTracksOfAGoodSegment) {
    FragmentPlan plan;
    plan.time = 4000;
    const SegmentFacts facts = read(test::mp4Box("styp", "msdh") + test::fragment(plan));
    EXPECT_EQ(facts.kind, SegmentFacts::Kind::Fragments);
    ASSERT_EQ(facts.streams.size(), 1U);
    EXPECT_EQ(facts.streams[0].codec, "avc1.42e015");
    EXPECT_DOUBLE_EQ(*facts.streams[0].start, 4);
    EXPECT_DOUBLE_EQ(*facts.streams[0].decodeStart, 4);
    EXPECT_DOUBLE_EQ(facts.streams[0].seconds, 2);
    EXPECT_DOUBLE_EQ(facts.streams[0].frameSeconds, 0.1);
    EXPECT_EQ(facts.streams[0].frames, 20U);
    EXPECT_EQ(facts.streams[0].keyFrames, 1U);
    EXPECT_EQ(facts.streams[0].beginsWithKey, true);
    EXPECT_TRUE(facts.boxes.hasType);
    EXPECT_EQ(facts.boxes.broken, "");
    EXPECT_EQ(facts.boxes.outside, "");
    const auto& track = facts.boxes.tracks.at(1);
    EXPECT_TRUE(track.isInInit);
    EXPECT_TRUE(track.hasDecodeTime);
    EXPECT_TRUE(track.isFirstSync);
    EXPECT_EQ(track.decodeTime, 4000U);
    EXPECT_EQ(track.duration, 2000U);
    EXPECT_EQ(track.bytes, 120U);
    EXPECT_FALSE(track.hasEncryptionBoxes);
}

TEST(FragmentReader, LooksForKeyPicturesInTheUnits) {
    FragmentPlan plan;
    plan.isKey = false;
    const SegmentFacts facts = read(test::fragment(plan));
    EXPECT_TRUE(facts.boxes.tracks.at(1).isFirstSync);
    EXPECT_EQ(facts.streams.at(0).beginsWithKey, false);
    plan.isKey = true;
    plan.firstFlags = 0x1010000;
    EXPECT_FALSE(read(test::fragment(plan)).boxes.tracks.at(1).isFirstSync);
    EXPECT_EQ(read(test::fragment(plan)).streams.at(0).beginsWithKey, true);
}

TEST(FragmentReader, CountsBreaksBetweenFragments) {
    FragmentPlan first;
    FragmentPlan second;
    second.time = 2000;
    second.sequence = 2;
    const auto good = read(test::fragment(first) + test::fragment(second)).boxes;
    EXPECT_EQ(good.fragments, 2U);
    EXPECT_EQ(good.tracks.at(1).breaks, 0U);
    EXPECT_EQ(good.tracks.at(1).samples, 40U);
    EXPECT_EQ(good.sequenceBreaks, 0U);
    second.time = 2100;
    second.sequence = 1;
    const auto bad = read(test::fragment(first) + test::fragment(second)).boxes;
    EXPECT_EQ(bad.tracks.at(1).breaks, 1U);
    EXPECT_EQ(bad.sequenceBreaks, 1U);
}

TEST(FragmentReader, SeesSamplesOutsideOfTheirBox) {
    FragmentPlan plan;
    plan.outside = 1;
    EXPECT_EQ(read(test::fragment(plan)).boxes.outside,
              "120 bytes of samples at byte 109 are not in an mdat");
    plan.outside = 1000000;
    EXPECT_EQ(read(test::fragment(plan)).boxes.outside, "samples lie outside of the segment");
}

TEST(FragmentReader, SeesTracksThatTheInitialisationLacks) {
    FragmentPlan plan;
    plan.track = 7;
    const SegmentFacts facts = read(test::fragment(plan));
    EXPECT_FALSE(facts.boxes.tracks.at(7).isInInit);
    EXPECT_TRUE(facts.streams.empty());
    EXPECT_EQ(facts.boxes.broken, "");
}

TEST(FragmentReader, SeesBrokenStructure) {
    const std::string good = test::fragment();
    EXPECT_EQ(read(good.substr(0, good.size() - 1)).boxes.broken,
              "the box at byte 100 reaches beyond the segment's end");
    EXPECT_EQ(read(test::mp4Box("moof", "")).boxes.broken, "the moof at byte 0 has no mfhd");
    const std::string header = test::fullBox("mfhd", 0, 0, test::be(1));
    EXPECT_EQ(read(test::mp4Box("moof", header + test::mp4Box("traf", ""))).boxes.broken,
              "a traf in the moof at byte 0 has no tfhd");
    EXPECT_EQ(read(test::mp4Box("moof", header + "1234567")).boxes.broken,
              "a box in the moof at byte 0 reaches beyond it");
    const std::string cut = test::fullBox("tfhd", 0, 0, test::be(1)) +
                            test::fullBox("trun", 0, 0x100, test::be(2) + test::be(1));
    EXPECT_EQ(read(test::mp4Box("moof", header + test::mp4Box("traf", cut))).boxes.broken,
              "a traf in the moof at byte 0 is cut short");
}

TEST(FragmentReader, ReadsFewSamplesThatAFileCannotHold) {
    const std::string run =
        test::fullBox("tfhd", 0, 0, test::be(1)) + test::fullBox("trun", 0, 0, test::be(200000));
    std::string fragments = test::fullBox("mfhd", 0, 0, test::be(1));
    for (int i = 0; i < 100; ++i)
        fragments += test::mp4Box("traf", run);
    const auto facts = read(test::mp4Box("moof", fragments)).boxes;
    EXPECT_EQ(facts.broken, "it lists more than 2000000 samples");
    EXPECT_EQ(facts.tracks.at(1).samples, 2000000U);
}

TEST(FragmentReader, ReadsTheIndex) {
    const std::string good = test::fragment();
    const auto index = read(test::segmentIndex(1000, 500, good.size(), 2000) + good).boxes.index;
    ASSERT_TRUE(index);
    EXPECT_DOUBLE_EQ(index->earliest, 0.5);
    EXPECT_DOUBLE_EQ(index->seconds, 2);
    EXPECT_EQ(index->bytes, good.size());
    EXPECT_EQ(index->references, 1U);
    EXPECT_TRUE(index->endsAtBox);
    const auto other = read(test::segmentIndex(1000, 0, good.size() - 1, 2000) + good).boxes.index;
    ASSERT_TRUE(other);
    EXPECT_FALSE(other->endsAtBox);
    EXPECT_EQ(read(test::mp4Box("sidx", test::zeros(9)) + good).boxes.broken,
              "the sidx is cut short");
}

TEST(FragmentReader, FindsWhatProtects) {
    const std::string keyId = "0123456789abcdef";
    FragmentPlan plan;
    plan.inFragment = test::psshBox(std::string(16, 'S'), "data");
    plan.inTrack =
        test::fullBox("senc", 0, 0, test::be(0)) +
        test::fullBox("sgpd", 1, 0, "seig" + test::be(20) + test::be(1) + test::be(0x0108) + keyId);
    const auto facts = read(test::fragment(plan)).boxes;
    EXPECT_TRUE(facts.tracks.at(1).hasEncryptionBoxes);
    EXPECT_EQ(facts.tracks.at(1).groupKeyIds,
              std::vector<std::string>{"30313233343536373839616263646566"});
    EXPECT_EQ(facts.protections, std::vector<std::string>{plan.inFragment});
}

TEST(FragmentReader, ReadsTheTimeOfSmoothStreaming) {
    const std::string type("\x6D\x1D\x9B\x05\x42\xD5\x44\xE6\x80\xE2\x14\x1D\xAF\xF7\x57\xB2", 16);
    FragmentPlan plan;
    plan.inTrack =
        test::mp4Box("uuid", type + test::be(0x01000000) + test::be(20000000, 8) + test::be(1, 8));
    EXPECT_EQ(read(test::fragment(plan)).boxes.tracks.at(1).smoothTime, 20000000U);
}

TEST(FragmentReader, EndsOnCutBytes) {
    const std::string whole = test::segmentIndex(1000, 0, 10, 2000) + test::fragment();
    constexpr size_t index = 44;
    constexpr size_t fragmentBox = 100;
    for (size_t size = 8; size < whole.size(); ++size) {
        const test::ExactBytes bytes(whole.substr(0, size));
        const auto* const at = reinterpret_cast<const char*>(bytes.data());
        const auto facts = hastool::readSegmentFacts(test::videoInit(), {at, bytes.size()});
        const bool isWhole = size == index || size == index + fragmentBox;
        EXPECT_EQ(facts.boxes.broken.empty(), isWhole) << size;
    }
}

} // namespace
