#include "CheckedFolder.h"

#include <hastool/check/SegmentIntake.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace hastool;
using Places = std::vector<size_t>;

TEST(Sample, HasNeighboursFromBeginToEnd) {
    EXPECT_EQ(sampleOf(10, 4), (Places{0, 1, 8, 9}));
    EXPECT_EQ(sampleOf(11, 6), (Places{0, 1, 4, 5, 9, 10}));
    EXPECT_EQ(sampleOf(10, 1), (Places{0}));
    EXPECT_EQ(sampleOf(10, 3), (Places{0, 1, 8}));
}

TEST(Sample, IsAllWhereThereAreNoMore) {
    EXPECT_EQ(sampleOf(3, 0), (Places{0, 1, 2}));
    EXPECT_EQ(sampleOf(3, 3), (Places{0, 1, 2}));
    EXPECT_EQ(sampleOf(3, 9), (Places{0, 1, 2}));
    EXPECT_EQ(sampleOf(0, 2), Places{});
}

TEST(Sample, NeverNamesASegmentTwiceOrTooMany) {
    for (size_t count = 1; count < 30; ++count) {
        for (size_t wanted = 1; wanted < 30; ++wanted) {
            const Places places = sampleOf(count, wanted);
            EXPECT_LE(places.size(), std::min(count, wanted));
            EXPECT_FALSE(places.empty());
            for (size_t i = 0; i < places.size(); ++i) {
                EXPECT_LT(places[i], count);
                if (i > 0) {
                    EXPECT_GT(places[i], places[i - 1]) << count << ", " << wanted;
                }
            }
        }
    }
}

TEST(SegmentIntake, DecryptsWithEachKeyFetchedOnce) {
    CheckedFolder folder("hls-aes");
    int keys = 0;
    folder.onFetch([&](const std::string& path, double) { keys += path == "1.key" ? 1 : 0; });
    const Evidence evidence = folder.gather("master.m3u8");
    EXPECT_EQ(keys, 1);
    EXPECT_EQ(evidence.keys.size(), 2u);
    for (const CheckedSegment& segment : evidence.renditions[0].segments) {
        EXPECT_TRUE(segment.isEncrypted);
        EXPECT_EQ(segment.decryptTrouble, "");
    }
}

TEST(SegmentIntake, TellsWhenAKeyDoesNotFitOrCannotBeHad) {
    CheckedFolder folder("hls-aes");
    folder.file("1.key") = "0123456789abcdef";
    folder.remove("2.key");
    const Evidence evidence = folder.gather("master.m3u8");
    const auto& segments = evidence.renditions[0].segments;
    EXPECT_NE(segments.front().decryptTrouble, "");
    EXPECT_EQ(segments.back().decryptTrouble, "its key could not be had");
}

} // namespace
