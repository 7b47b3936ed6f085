// How much work a walk may do for the number of bytes it is given.
#include <Hasutil/CCENCMediaContent.h>
#include <support/BoxBuilder.h>
#include <support/ExactBytes.h>

#include <gtest/gtest.h>

#include <chrono>

namespace {

using namespace test::boxes;
using test::ExactBytes;

/// As many samples as a fragment may have without a byte for each.
constexpr unsigned int kImplied = 0x40000;

/// Tracks 1 to 3 with IVs of 0, 8 and 16 bytes.
class Budget : public testing::Test {
protected:
    CCENCMediaContent content;

    Budget() {
        for (const unsigned int id : {1U, 2U, 3U}) {
            TRACK_FORMAT track;
            track.trackId = id;
            track.perSampleIvSize = static_cast<unsigned char>(8 * (id - 1));
            content.addTrackData(track);
        }
    }
    /// Walks boxes of a megabyte at the most, in a time that nothing but their size explains.
    bool isWalked(const Bytes& boxes) {
        EXPECT_LE(boxes.size(), 1U << 20);
        const ExactBytes bytes(boxes);
        const auto begin = std::chrono::steady_clock::now();
        const long long walked = content.walkBoxes(bytes.data(), bytes.size());
        // A fifth of a second for an optimised build; without a budget these walks took a minute.
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
        EXPECT_TRUE(walked == -1 || walked == static_cast<long long>(bytes.size()));
        return walked != -1;
    }
};

Bytes times(size_t count, const Bytes& box) {
    Bytes all;
    all.reserve(count * box.size());
    for (size_t i = 0; i < count; ++i)
        all.insert(all.end(), box.begin(), box.end());
    return all;
}
Bytes moof(const Bytes& fragment) {
    return box("moof", box("traf", fragment));
}
Bytes impliedRun(unsigned int trackId) {
    return tfhd(trackId) + trun(0, kImplied);
}

TEST_F(Budget, EmptySencBoxesOverTheSameSamples) {
    EXPECT_FALSE(isWalked(moof(impliedRun(1) + times(60000, senc(0, 0, {})))));
    EXPECT_TRUE(isWalked(moof(impliedRun(1) + senc(0, 0, {}))));
}

TEST_F(Budget, SaizBoxesOverTheSameSamples) {
    EXPECT_FALSE(isWalked(moof(impliedRun(2) + times(60000, saiz(0xFF, kImplied)))));
    EXPECT_TRUE(isWalked(moof(impliedRun(2) + saiz(0, kImplied, zeros(kImplied)))));
}

TEST_F(Budget, RepeatedFragmentsOfImpliedSamples) {
    EXPECT_FALSE(isWalked(times(18000, moof(impliedRun(1)))));
    EXPECT_FALSE(isWalked(times(18000, moof(impliedRun(9)))));
    EXPECT_TRUE(isWalked(times(8, moof(impliedRun(1)))));
}

TEST_F(Budget, RecordsThatManyRunsShare) {
    // 32,768 runs of eight samples, whose records of 255 bytes are all the same eight.
    constexpr unsigned int runs = kImplied / 8;
    const Bytes record = u16(42) + times(42, subsample(1, 2)) + u8(0);
    const Bytes head = tfhd(1) + times(runs, trun(0, 8)) + saiz(255, kImplied);
    const auto at = static_cast<unsigned int>(8 + 8 + head.size() + 16 + 4 * runs + 8);
    const Bytes offsets = saio(std::vector<unsigned int>(runs, at));
    EXPECT_FALSE(isWalked(moof(head + offsets + box("uuid", times(8, record)))));
}

TEST_F(Budget, AWalkOfTheFileThatTheSamplesAreInGoesOn) {
    // Samples of a byte each, as in PCM of one channel, behind each of many fragments.
    const Bytes part = moof(impliedRun(1)) + box("mdat", zeros(kImplied));
    const ExactBytes bytes(times(40, part));
    EXPECT_EQ(content.walkBoxes(bytes.data(), bytes.size()), static_cast<long long>(bytes.size()));
}

TEST_F(Budget, EveryWalkHasItsOwn) {
    for (int i = 0; i < 30; ++i)
        EXPECT_TRUE(
            isWalked(moof(impliedRun(1) + senc(0, 0, {}) + saiz(0, kImplied, zeros(kImplied)))));
    const ExactBytes one(moof(impliedRun(1)));
    for (int i = 0; i < 30; ++i)
        EXPECT_GT(content.moofBoxParsing(one.data()), 0);
}

TEST_F(Budget, AFragmentOfManySmallRunsIsReadInATimeOfItsSize) {
    EXPECT_TRUE(isWalked(moof(tfhd(1) + times(50000, trun(0, 1)))));
    EXPECT_EQ(content.getMoofTracks().back().samples.size(), 50000U);
    const Bytes one = senc(2, 1, zeros(8) + u16(1) + subsample(3, 4));
    EXPECT_TRUE(isWalked(moof(tfhd(2) + trun(0, 1) + times(32000, one))));
    EXPECT_EQ(content.getMoofTracks().back().subsamples.size(), 32000U);
}

TEST_F(Budget, ManyTracksMakeNoFragmentSlower) {
    Bytes tracks;
    for (unsigned int id = 1; id < 1000; ++id)
        tracks = tracks + patched(sizedBox(24, "tkhd", zeros(16)), 20, u32(id));
    EXPECT_TRUE(isWalked(box("moov", tracks) + moof(tfhd(999) + times(55000, tfhd(5000)))));
}

} // namespace
