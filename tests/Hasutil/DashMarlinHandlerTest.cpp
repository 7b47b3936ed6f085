// How a Marlin content begins.
#include "DashCencHandlerTest.h"

#include <Hasutil/DashMarlinCencDRMHandler.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace hascommon;
using namespace test;
using ::testing::ElementsAre;

constexpr char kInit[] = " CCENCMediaContent init"; // of the content object

class DashMarlinHandler : public ::testing::Test {
protected:
    int start(const std::string& text) {
        const ExactBytes exact(text);
        std::string info(reinterpret_cast<char*>(exact.data()), exact.size());
        return handler.OnContentStart(&info);
    }
    /// How often the content object is prepared by a start that succeeds.
    int preparations(const std::string& text) {
        const LogCapture log;
        EXPECT_EQ(start(text), 1) << text;
        EXPECT_EQ(handler.GetLastErrorCode(), 0);
        return log.count(highlighted(kInit));
    }
    /// The line of a start that fails.
    std::string failure(const std::string& text) {
        const LogCapture log;
        EXPECT_EQ(start(text), 0) << text;
        EXPECT_EQ(handler.GetLastErrorCode(), -51);
        if (log.lines().size() != 1)
            return "not one line";
        const LogLine line = log.lines()[0];
        EXPECT_EQ(line.priority, 4);
        EXPECT_EQ(line.file, "DashMarlinCencDRMHandler.cpp");
        EXPECT_EQ(line.function, "OnContentStart");
        return line.message;
    }

    DashMarlinCencDRMHandler object{CONTENT_TYPE_VIDEO, false};
    IDRMHandler& handler = object;
};

TEST_F(DashMarlinHandler, Ms3PreparesTheContentObject) {
    for (const char* text : {"TYPE=MARLIN-MS3|X=1", "TYPE=MARLIN-MS3", "X=1|TYPE=MARLIN-MS3",
                             "noTYPE=MARLIN-MS3|", "TYPE=MARLIN-MS3|TYPE=other"})
        EXPECT_EQ(preparations(text), 1) << text;
}

TEST_F(DashMarlinHandler, BroadbandLeavesTheContentObjectAlone) {
    EXPECT_EQ(preparations("TYPE=MARLIN-BB"), 0);
    EXPECT_EQ(preparations("TYPE=MARLIN-BB|X=1"), 0);
}

TEST_F(DashMarlinHandler, NullDoesNothingAndKeepsTheError) {
    const LogCapture log;
    EXPECT_EQ(handler.OnContentStart(nullptr), 1);
    EXPECT_TRUE(log.lines().empty());
    start("X=1");
    EXPECT_EQ(handler.OnContentStart(nullptr), 1);
    EXPECT_EQ(handler.GetLastErrorCode(), -51);
}

TEST_F(DashMarlinHandler, AnEmptyTextIsAnError) {
    EXPECT_EQ(failure(""), " [* ERROR] tDRMInfo.size() is zero ");
}

TEST_F(DashMarlinHandler, ATextWithoutTheKeyIsAnError) {
    for (const char* text : {"X=1", "TYPE", "type=MARLIN-MS3", "TYPE =MARLIN-MS3", "|"})
        EXPECT_EQ(failure(text), "[* ERROR] TYPE isn't defined ") << text;
}

TEST_F(DashMarlinHandler, AnUnknownKindIsAnError) {
    for (const char* text : {"TYPE=MARLIN", "TYPE=marlin-ms3", "TYPE=MARLIN-MS3 |", "TYPE= |",
                             "TYPE=MARLIN-MS34", "TYPE=TYPE=MARLIN-MS3"})
        EXPECT_EQ(failure(text), "[* ERROR] unknown type ") << text;
    EXPECT_EQ(failure(std::string("TYPE=MARLIN-MS3\0", 16)), "[* ERROR] unknown type ");
}

TEST_F(DashMarlinHandler, AnEmptyKindIsTheOneGivenBefore) {
    EXPECT_EQ(preparations("TYPE=MARLIN-MS3"), 1);
    EXPECT_EQ(preparations("TYPE="), 1);
    EXPECT_EQ(preparations("TYPE=|X=1"), 1);
    EXPECT_EQ(preparations("TYPE=MARLIN-BB"), 0);
    EXPECT_EQ(preparations("TYPE=|TYPE=MARLIN-MS3"), 0);
}

TEST_F(DashMarlinHandler, AnEmptyKindWithoutOneBeforePreparesNothing) {
    EXPECT_EQ(preparations("TYPE="), 0);
}

TEST_F(DashMarlinHandler, AnUnknownKindIsRememberedAndNotCheckedAgain) {
    EXPECT_EQ(preparations("TYPE=MARLIN-MS3"), 1);
    failure("TYPE=other");
    EXPECT_EQ(preparations("TYPE="), 0);
}

TEST_F(DashMarlinHandler, AFailedTextKeepsTheKindGivenBefore) {
    EXPECT_EQ(preparations("TYPE=MARLIN-MS3"), 1);
    failure("");
    failure("X=1");
    EXPECT_EQ(preparations("TYPE="), 1);
}

TEST_F(DashMarlinHandler, TheTextIsLeftAsItIs) {
    std::string info = "TYPE=MARLIN-MS3|X=1";
    EXPECT_EQ(handler.OnContentStart(&info), 1);
    EXPECT_EQ(info, "TYPE=MARLIN-MS3|X=1");
}

TEST_F(DashMarlinHandler, RefusesEverythingAfterAFailedStart) {
    start("X=1");
    const LogCapture log;
    const ExactBytes in(freeBox());
    const ExactBytes out(100, 0xAA);
    unsigned char* place = out.data();
    unsigned int size = 55;
    EXPECT_EQ(handler.OnSegmentStart(kPeriod, kRepresentation, 0, nullptr, false), 0);
    EXPECT_EQ(
        handler.ProcessSegmentData(kPeriod, kRepresentation, in.data(), in.uintSize(), place, size),
        0);
    EXPECT_EQ(handler.ProcessSegmentFinalData(kPeriod, kRepresentation, place, size), 0);
    EXPECT_EQ(handler.OnSegmentEnd(kPeriod, kRepresentation), 0);
    EXPECT_EQ(size, 55U);
    EXPECT_EQ(out[0], 0xAA);
    EXPECT_EQ(waiting(handler), 0U);
    const std::string line = refusalLine(-51);
    EXPECT_THAT(log.messages(), ElementsAre(line, line, line, line));
}

TEST_F(DashMarlinHandler, TheOtherOperationsGoOnAfterAFailedStart) {
    start("X=1");
    EXPECT_EQ(handler.UpdateSchemeInformation(1, 2, MEDIA_TYPE_VIDEO, "x"), 1);
    EXPECT_EQ(handler.OnContentEnd(), 1);
    EXPECT_EQ(handler.GetLastErrorCode(), -51);
}

TEST_F(DashMarlinHandler, ANewStartClearsTheError) {
    start("X=1");
    EXPECT_EQ(preparations("TYPE=MARLIN-MS3"), 1);
    EXPECT_EQ(pass(handler, freeBox()), freeBox());
}

} // namespace
