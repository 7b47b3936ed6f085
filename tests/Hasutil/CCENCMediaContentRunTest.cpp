// Where a fragment's runs say that their data lies.
#include <Hasutil/CCENCMediaContent.h>
#include <support/BoxBuilder.h>
#include <support/ExactBytes.h>
#include <support/LogCapture.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace test::boxes;
using test::LogCapture;
using testing::ElementsAre;

TEST(CCENCMediaContentTraf, TellsWhereTheDataOffsetLies) {
    CCENCMediaContent content;
    LogCapture log;
    const test::ExactBytes traf(box("traf", tfhd(1) + sizedRun(7, {1})));
    EXPECT_EQ(content.parsingTrafBox(traf.data()), 8 + 16 + 16);
    EXPECT_EQ(readU32(traf.copy(), 40), 7U);
    EXPECT_THAT(log.messages(), ElementsAre("Process trun box."));
}

TEST(CCENCMediaContentTraf, FailsWithoutARun) {
    CCENCMediaContent content;
    LogCapture log;
    const test::ExactBytes traf(box("traf", tfhd(1)));
    EXPECT_EQ(content.parsingTrafBox(traf.data()), -1);
    EXPECT_THAT(log.messages(), ElementsAre("Trun box is not exist!"));
}

TEST(CCENCMediaContentTraf, FailsWithoutAnOffset) {
    CCENCMediaContent content;
    LogCapture log;
    const test::ExactBytes traf(box("traf", tfhd(1) + trun(0x200, 1, u32(1))));
    EXPECT_EQ(content.parsingTrafBox(traf.data()), -1);
    EXPECT_THAT(log.messages(),
                ElementsAre("Process trun box.", "data_offset attribute is not exist."));
}

TEST(CCENCMediaContentTraf, FailsForAChildThatDoesNotFit) {
    CCENCMediaContent content;
    for (const Bytes& child : {sizedBox(100, "trun", zeros(8)), sizedBox(7, "tfhd"), zeros(3)}) {
        const test::ExactBytes traf(box("traf", child));
        EXPECT_EQ(content.parsingTrafBox(traf.data()), -1);
    }
}

TEST(CCENCMediaContentTrun, TellsWhetherItHasAnOffset) {
    CCENCMediaContent content;
    const LogCapture log;
    const test::ExactBytes with(sizedRun(7, {1}));
    const test::ExactBytes without(trun(0x200, 1, u32(1)));
    const test::ExactBytes cut(trun(1, 0));
    EXPECT_EQ(content.parsingTrunBox(with.data()), 1);
    EXPECT_EQ(content.parsingTrunBox(without.data()), -1);
    EXPECT_EQ(content.parsingTrunBox(cut.data()), -1);
    EXPECT_EQ(log.count("data_offset attribute is not exist."), 2);
}

} // namespace
