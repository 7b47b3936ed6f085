#include <tools/hastool/TsBuilder.h>

#include <hastool/media/SpsList.h>
#include <hastool/media/SpsText.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using hastool::SpsInfo;
using test::Bytes;
using test::smallSps;
using test::operator+;

namespace {

const Bytes kStart = {0, 0, 0, 1};

std::vector<SpsInfo> find(const Bytes& stream) {
    const std::string text = test::textOf(stream);
    return hastool::findSps(hastool::memorySource(text));
}

Bytes tables(unsigned int type, int pid) {
    const auto at = static_cast<unsigned int>(pid);
    return test::tablePackets(0, test::section(0, 1, test::patEntry(1, 0x100))) +
           test::tablePackets(0x100,
                              test::section(2, 1, test::pmtBody(at, {}, test::stream(type, at))));
}

} // namespace

TEST(SpsList, EveryDistinctSetOfAVideoIsThereOnce) {
    Bytes other = smallSps();
    other[3] = 0x1E;
    const auto sets = find(kStart + smallSps() + kStart + Bytes{0x41, 1, 2} + kStart + smallSps() +
                           kStart + other);
    ASSERT_EQ(sets.size(), 2U);
    EXPECT_EQ(sets[0].unit, smallSps());
    EXPECT_EQ(sets[0].profile, 66);
    EXPECT_EQ(sets[0].constraints, 0xE0U);
    EXPECT_EQ(sets[0].level, 21);
    EXPECT_EQ(sets[0].pid, -1);
    EXPECT_EQ(sets[0].resolution->text(), "176x144");
    EXPECT_EQ(sets[1].level, 30);
}

TEST(SpsList, LooksIntoTheH264OfATransportStream) {
    const Bytes video = kStart + Bytes{0x09, 0xF0} + Bytes(250, 0x33) + kStart + smallSps() +
                        kStart + Bytes(300, 0x65);
    const auto sets = find(tables(0x1B, 0x101) + test::pesPackets(0x101, video));
    ASSERT_EQ(sets.size(), 1U);
    EXPECT_EQ(sets[0].pid, 0x101);
    EXPECT_EQ(sets[0].unit, smallSps());
}

TEST(SpsList, LeavesOtherVideoOfATransportStreamOut) {
    const Bytes video = kStart + smallSps() + Bytes(300, 0x65);
    EXPECT_TRUE(find(tables(0x02, 0x101) + test::pesPackets(0x101, video)).empty());
    EXPECT_EQ(find(test::pesPackets(0x101, video)).size(), 1U) << "no table says what it is";
}

TEST(SpsList, SetsThatAreCutOrOfAnotherProfileAreThereWithoutFields) {
    const auto cut = find(kStart + Bytes{0x67, 66, 0, 21, 0x01});
    ASSERT_EQ(cut.size(), 1U);
    EXPECT_FALSE(cut[0].fields);
    Bytes high444 = smallSps();
    high444[1] = 244;
    const auto sets = find(kStart + high444);
    ASSERT_EQ(sets.size(), 1U);
    EXPECT_FALSE(sets[0].isSupported);
    EXPECT_FALSE(sets[0].fields || sets[0].resolution);
}

TEST(SpsList, FindsNothingInOtherBytes) {
    EXPECT_TRUE(find({}).empty());
    EXPECT_TRUE(find(kStart + Bytes{0x67}).empty());
    EXPECT_TRUE(find(Bytes{0, 0, 0, 8, 'f', 't', 'y', 'p'} + kStart + smallSps()).empty());
}

TEST(SpsList, TheFirstKnownSizeIsTheResolution) {
    const std::string text = test::textOf(kStart + Bytes{0x67, 66, 0, 21} + kStart + smallSps());
    EXPECT_EQ(hastool::findResolution(hastool::memorySource(text))->text(), "176x144");
    EXPECT_FALSE(hastool::findResolution(hastool::memorySource("")));
}

TEST(SpsText, ReadsAsLines) {
    const std::string text = hastool::toText(find(kStart + smallSps()));
    EXPECT_EQ(text.find("SPS, 9 bytes\n  resolution                          176x144\n"), 0U);
    EXPECT_NE(text.find("  constraint_flags                    0xE0\n"), std::string::npos);
    EXPECT_NE(text.find("  pic_width_in_mbs_minus1             10\n"), std::string::npos);
    EXPECT_EQ(text.find("crop_left"), std::string::npos);
}

TEST(SpsText, SaysWhyASizeIsNotKnown) {
    const std::string cut = hastool::toText(find(kStart + Bytes{0x67, 66, 0, 21, 0x01}));
    EXPECT_NE(cut.find("not known: the set is cut\n"), std::string::npos);
    const std::string other = hastool::toText(find(kStart + Bytes{0x67, 244, 0, 21, 0x01}));
    EXPECT_NE(other.find("not known: sets of this profile cannot be read\n"), std::string::npos);
}

TEST(SpsText, KeepsEveryFieldInJson) {
    const auto json = hastool::toJson(find(kStart + smallSps() + kStart + Bytes{0x67, 66, 0, 21}));
    ASSERT_EQ(json.size(), 2U);
    EXPECT_EQ(json[0]["sps_hex"], "2742e0158d8d416272");
    EXPECT_TRUE(json[0]["pid"].is_null());
    EXPECT_EQ(json[0]["width"], 176);
    EXPECT_EQ(json[0]["height"], 144);
    EXPECT_EQ(json[0]["pic_width_in_mbs_minus1"], 10);
    EXPECT_EQ(json[1]["parsed"], false);
    EXPECT_TRUE(json[1]["width"].is_null());
}
