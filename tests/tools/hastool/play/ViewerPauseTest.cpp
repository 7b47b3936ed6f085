#include <hastool/play/ViewerPause.h>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using hastool::ViewerPause;
using Change = hastool::ViewerPause::Change;

TEST(ViewerPause, PausesOnceFromAPositionForAWhile) {
    ViewerPause viewer(5000ms, 300ms);
    EXPECT_EQ(viewer.step(4999ms, 10ms), Change::None);
    EXPECT_EQ(viewer.step(5000ms, 10ms), Change::Begun);
    EXPECT_TRUE(viewer.isPaused());
    EXPECT_EQ(viewer.step(5000ms, 299ms), Change::None);
    EXPECT_EQ(viewer.step(5000ms, 1ms), Change::Ended);
    EXPECT_FALSE(viewer.isPaused());
    EXPECT_EQ(viewer.step(9000ms, 10ms), Change::None);
}

TEST(ViewerPause, NeverPausesUnlessAsked) {
    ViewerPause viewer;
    EXPECT_EQ(viewer.step(1000h, 10ms), Change::None);
    EXPECT_FALSE(viewer.isPaused());
}
