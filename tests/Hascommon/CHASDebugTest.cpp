// Each case runs in a process of its own, so each starts from the settings at load.
#include <Hascommon/CCDebugHAS.h>
#include <Hascommon/CHASDebug.h>

#include <gtest/gtest.h>

namespace {

using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

TEST(CHASDebug, AtLoadLevelFivePrintsAndSixDoesNot) {
    CaptureStdout();
    EXPECT_EQ(CHASDebug::PrintLog(0, 5, "level %d", 5), 7);
    EXPECT_EQ(CHASDebug::PrintLog(0, 6, "level %d", 6), 0);
    fflush(stdout);
    EXPECT_EQ(GetCapturedStdout(), "level 5");
}

TEST(CHASDebug, LevelFiveCanNeverBeRestored) {
    EXPECT_FALSE(CHASDebug::SetLogLevel(5));
    EXPECT_TRUE(CHASDebug::CheckLogLevel(0, 5));
    EXPECT_TRUE(CHASDebug::SetLogLevel(4));
    EXPECT_FALSE(CHASDebug::SetLogLevel(5));
    EXPECT_FALSE(CHASDebug::CheckLogLevel(0, 5));
}

TEST(CHASDebug, LevelFourPrintsUpToFour) {
    EXPECT_TRUE(CHASDebug::SetLogLevel(4));
    for (unsigned int module = 0; module < 3; ++module) {
        EXPECT_TRUE(CHASDebug::CheckLogLevel(module, 4));
        EXPECT_FALSE(CHASDebug::CheckLogLevel(module, 5));
    }
}

TEST(CHASDebug, SilencedModuleStillPrintsLevelZero) {
    EXPECT_TRUE(CHASDebug::SetDebugModule(1, false));
    EXPECT_TRUE(CHASDebug::CheckLogLevel(1, 0));
    EXPECT_FALSE(CHASDebug::CheckLogLevel(1, 1));
    EXPECT_TRUE(CHASDebug::CheckLogLevel(0, 1));
    EXPECT_TRUE(CHASDebug::SetDebugModule(1, true));
    EXPECT_TRUE(CHASDebug::CheckLogLevel(1, 1));
}

TEST(CHASDebug, ModuleThreeIsRefusedAndChangesNothing) {
    EXPECT_FALSE(CHASDebug::SetDebugModule(3, true));
    EXPECT_FALSE(CHASDebug::SetDebugModule(3, false));
    for (unsigned int module = 0; module < 3; ++module)
        EXPECT_TRUE(CHASDebug::CheckLogLevel(module, 1));
}

TEST(CHASDebug, ModuleBeyondTheTableReadsNothingAndIsOff) {
    EXPECT_FALSE(CHASDebug::CheckLogLevel(3, 1));
    EXPECT_FALSE(CHASDebug::CheckLogLevel(0xFFFFFFFFU, 1));
    EXPECT_TRUE(CHASDebug::CheckLogLevel(3, 0));
}

TEST(CHASDebug, LevelZeroLetsOnlyLevelZeroThrough) {
    EXPECT_TRUE(CHASDebug::SetLogLevel(0));
    EXPECT_TRUE(CHASDebug::CheckLogLevel(0, 0));
    EXPECT_FALSE(CHASDebug::CheckLogLevel(0, 1));
}

TEST(CHASDebug, CreateChangesNothing) {
    CHASDebug::Create();
    EXPECT_TRUE(CHASDebug::CheckLogLevel(0, 5));
}

TEST(CCDebugHAS, NarrowsLevelAndModuleTo16Bits) {
    CCDebugHAS facade;
    facade.t_InitModule();
    EXPECT_FALSE(facade.t_SetDebugLevel(65541));
    EXPECT_TRUE(facade.t_SetDebugLevel(65536));
    EXPECT_FALSE(CHASDebug::CheckLogLevel(0, 1));
    EXPECT_TRUE(facade.t_SetDebugLevel(4));
    EXPECT_TRUE(facade.t_SetDebugModule(65537UL, false));
    EXPECT_FALSE(CHASDebug::CheckLogLevel(1, 1));
    EXPECT_FALSE(facade.t_SetDebugModule(3, true));
}

} // namespace
