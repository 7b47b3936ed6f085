#include <tools/hastool/SpliceSections.h>

#include <hastool/formats/SpliceCue.h>

#include <gtest/gtest.h>

#include <string>

using hastool::parseSpliceSection;
using hastool::TimedEvent;
using Break = TimedEvent::Break;

namespace {

std::string bytesOf(const std::string& digits) {
    std::string bytes;
    for (size_t i = 0; i < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

std::string textOf(const std::string& section) {
    const auto cue = parseSpliceSection(section);
    return cue ? cue->text : "unreadable";
}

} // namespace

/// An out point of 60.3 s as encoders in the field write it.
TEST(SpliceCue, ReadsASpliceInsert) {
    const auto cue = parseSpliceSection(bytesOf(
        "FC302F000000000000FFFFF014054800008F7FEFFE7369C02EFE0052CCF500000000000A000843554549"
        "0000013562DBA30A"));
    ASSERT_TRUE(cue);
    EXPECT_EQ(cue->adBreak, Break::Begins);
    ASSERT_TRUE(cue->seconds);
    EXPECT_NEAR(*cue->seconds, 60.2936, 0.0001);
    EXPECT_EQ(cue->text, "splice insert 0x4800008f, a break begins, 60.3 s");
}

TEST(SpliceCue, KnowsTheInPoint) {
    const auto cue = parseSpliceSection(test::spliceInsert(false));
    ASSERT_TRUE(cue);
    EXPECT_EQ(cue->adBreak, Break::Ends);
    EXPECT_FALSE(cue->seconds);
}

TEST(SpliceCue, ReadsSegmentationTypes) {
    const auto begins = parseSpliceSection(test::timeSignal(0x34, 30));
    ASSERT_TRUE(begins);
    EXPECT_EQ(begins->adBreak, Break::Begins);
    EXPECT_EQ(begins->seconds, 30);
    EXPECT_EQ(begins->text,
              "time signal; segmentation 0x4800008e of type 0x34, 30.0 s, a break begins");
    EXPECT_EQ(parseSpliceSection(test::timeSignal(0x35))->adBreak, Break::Ends);
    const auto programme = parseSpliceSection(test::timeSignal(0x10, 3600));
    EXPECT_EQ(programme->adBreak, Break::None);
    EXPECT_FALSE(programme->seconds) << "a programme is no break";
}

TEST(SpliceCue, EveryTypeOfABreakBeginsWithAnEvenNumberAndEndsWithTheNext) {
    for (const unsigned type : {0x22U, 0x30U, 0x32U, 0x34U, 0x36U, 0x44U, 0x46U}) {
        EXPECT_EQ(hastool::breakOfSegmentation(type), Break::Begins) << type;
        EXPECT_EQ(hastool::breakOfSegmentation(type + 1), Break::Ends) << type;
    }
    for (const unsigned type : {0U, 0x10U, 0x11U, 0x20U, 0x21U, 0x38U, 0x50U, 0x51U, 0xFFU})
        EXPECT_EQ(hastool::breakOfSegmentation(type), Break::None) << type;
}

TEST(SpliceCue, OtherCommandsMeanNothing) {
    EXPECT_EQ(textOf(test::spliceSection(0, "")), "splice null");
    EXPECT_EQ(textOf(test::spliceSection(0xFF, "abc")), "splice command 255");
    EXPECT_EQ(textOf(test::spliceSection(5, "secret", "", true)), "an encrypted cue");
    EXPECT_EQ(parseSpliceSection(test::spliceSection(0, ""))->adBreak, Break::None);
}

TEST(SpliceCue, CancelledCuesMeanNothing) {
    const std::string insert = hastool::BoxBuilder().u32(9).u8(0xFF).text();
    const auto cue = parseSpliceSection(test::spliceSection(5, insert));
    ASSERT_TRUE(cue);
    EXPECT_EQ(cue->adBreak, Break::None);
    EXPECT_EQ(cue->text, "splice insert 0x9, cancelled");
}

TEST(SpliceCue, PassesOverTheComponentsOfAnInsert) {
    const std::string parts = hastool::BoxBuilder()
                                  .u32(1)
                                  .u8(0x7F)
                                  .u8(0x80)
                                  .u8(2)
                                  .u8(0)
                                  .u8(0x7F)
                                  .u8(1)
                                  .u8(0xFE)
                                  .u32(5)
                                  .u16(1)
                                  .u8(0)
                                  .u8(0)
                                  .text();
    EXPECT_EQ(parseSpliceSection(test::spliceSection(5, parts))->adBreak, Break::Begins);
}

TEST(SpliceCue, RefusesWhatIsCutOrChangedAtEveryByte) {
    const std::string section = test::timeSignal(0x34, 30);
    for (size_t size = 0; size < section.size(); ++size)
        EXPECT_FALSE(parseSpliceSection(section.substr(0, size))) << size;
    for (size_t i = 0; i < section.size(); ++i) {
        std::string changed = section;
        changed[i] = static_cast<char>(changed[i] ^ 1);
        EXPECT_FALSE(parseSpliceSection(changed)) << i;
    }
    EXPECT_TRUE(parseSpliceSection(section + "stuffing"));
}

TEST(SpliceCue, RefusesFieldsThatReachBeyondTheirSection) {
    EXPECT_FALSE(parseSpliceSection(test::spliceSection(5, "\x01")));
    EXPECT_FALSE(parseSpliceSection(test::spliceSection(0, "",
                                                        std::string("\x02\x40"
                                                                    "CUEI",
                                                                    6))));
    EXPECT_FALSE(parseSpliceSection(test::spliceSection(0, "", "\x02")));
}

TEST(SpliceCue, AnEventKeepsTheEndThatItGivesItself) {
    TimedEvent event;
    event.start = 10;
    addSpliceCue(event, test::spliceInsert(true, 30));
    EXPECT_EQ(event.end, 40);
    event.end = 15;
    addSpliceCue(event, test::spliceInsert(true, 30));
    EXPECT_EQ(event.end, 15);
    addSpliceCue(event, std::string("nonsense"));
    EXPECT_EQ(event.text, "a cue message that cannot be read");
}
