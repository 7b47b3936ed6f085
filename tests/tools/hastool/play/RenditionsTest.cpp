#include <tools/hastool/TsBuilder.h>

#include <hastool/play/Renditions.h>

#include <gtest/gtest.h>

using hastool::Renditions;
using test::Bytes;
using test::operator+;

namespace {

std::string video() {
    return test::textOf(Bytes{0, 0, 0, 1} + test::smallSps());
}

} // namespace

TEST(Renditions, GoByTheMediaRatherThanTheManifest) {
    Renditions renditions({{300, "320x180"}, {600, ""}});
    EXPECT_EQ(renditions.resolution(0), "320x180");
    EXPECT_EQ(renditions.learn(0, video()), "176x144");
    EXPECT_EQ(renditions.learn(1, video()), "176x144");
    EXPECT_EQ(renditions.resolution(0), "176x144");
}

TEST(Renditions, FallBackOnTheManifest) {
    Renditions renditions({{300, "320x180"}});
    EXPECT_EQ(renditions.learn(0, "no video"), "320x180");
    EXPECT_EQ(renditions.learn(0, video()), "320x180") << "only the first segment counts";
}

TEST(Renditions, TakeNoBoxesForVideo) {
    Renditions renditions({{300, "320x180"}});
    EXPECT_EQ(renditions.learn(0, std::string("\0\0\0\x18moof", 8) + video()), "320x180");
}

TEST(Renditions, TakeNothingOddFromAManifest) {
    const Renditions renditions({{1, "a,b"},
                                 {2, "1x"},
                                 {3, "x1"},
                                 {4, "1x2\n"},
                                 {5, "1"},
                                 {6, std::string(30, '1') + "x1"}});
    for (size_t i = 0; i < 6; ++i)
        EXPECT_EQ(renditions.resolution(i), "") << i;
    EXPECT_EQ(renditions.resolution(6), "");
}

TEST(Renditions, RememberTheOrderOfPlay) {
    Renditions renditions({{300, "1x2"}, {600, "3x4"}, {900, "5x6"}});
    renditions.learn(2, "");
    renditions.learn(0, "");
    renditions.learn(2, "");
    const auto played = renditions.played();
    ASSERT_EQ(played.size(), 2U);
    EXPECT_EQ(played[0].stream, 2U);
    EXPECT_EQ(played[0].bitrate, 900);
    EXPECT_EQ(played[1].resolution, "1x2");
}
