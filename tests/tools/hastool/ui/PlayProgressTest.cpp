#include <hastool/ui/PlayProgress.h>

#include <gtest/gtest.h>

using hastool::PlayProgress;
using hastool::Terminal;
using hastool::TraceRow;

namespace {

TraceRow row() {
    TraceRow row;
    row.time = 12.34;
    row.index = 6;
    row.bitrate = 800000;
    row.bytes = 200000;
    row.download = 0.5;
    row.buffer = 8;
    return row;
}

/// What an action prints where there is no terminal.
template<typename Action>
std::string printed(const Action& action) {
    testing::internal::CaptureStderr();
    {
        Terminal terminal(false);
        PlayProgress progress(terminal);
        action(progress);
    }
    return testing::internal::GetCapturedStderr();
}

} // namespace

TEST(PlayProgress, PrintsALineForEachSegment) {
    EXPECT_EQ(printed([](PlayProgress& progress) { progress.onSegment(row()); }),
              "12.3 s  segment 6  800 kbit/s  200.0 kB in 0.5 s  buffer 8.0 s  bandwidth not "
              "measured\n");
    EXPECT_NE(printed([](PlayProgress& progress) {
                  TraceRow measured = row();
                  measured.mean = 2500000;
                  progress.onSegment(measured);
              }).find("bandwidth 2.50 Mbit/s\n"),
              std::string::npos);
}

TEST(PlayProgress, TellsStallsBehindASegment) {
    EXPECT_NE(printed([](PlayProgress& progress) {
                  TraceRow late = row();
                  late.stalls = 2;
                  late.stallTime = 3.25;
                  progress.onSegment(late);
              }).find("bandwidth not measured  stalls 2, 3.2 s\n"),
              std::string::npos);
}

TEST(PlayProgress, LeavesASkippedSegmentToItsTrouble) {
    EXPECT_EQ(printed([](PlayProgress& progress) {
                  TraceRow skipped = row();
                  skipped.skipped = true;
                  progress.onSegment(skipped);
                  progress.onTrouble("http://h/a: gone; skipped");
              }),
              "hastool: http://h/a: gone; skipped\n");
}

TEST(PlayProgress, TellsSwitchesWithTheirTime) {
    EXPECT_EQ(printed([](PlayProgress& progress) {
                  progress.onSwitch(3.25, 300000, 900000);
                  progress.onSwitch(9.75, 1500000, 300000);
              }),
              "3.2 s  up from 300 kbit/s to 900 kbit/s\n9.8 s  down from 1.50 Mbit/s to 300 "
              "kbit/s\n");
}

TEST(PlayProgress, KeepsItsChangingLineForTerminals) {
    EXPECT_EQ(printed([](PlayProgress& progress) { progress.onStatus({}); }), "");
}

TEST(PlayProgress, ShowsTheResolutionBesideTheRate) {
    EXPECT_EQ(printed([](PlayProgress& progress) {
                  TraceRow sized = row();
                  sized.resolution = "640x360";
                  progress.onSegment(sized);
              }),
              "12.3 s  segment 6  800 kbit/s 640x360  200.0 kB in 0.5 s  buffer 8.0 s  bandwidth "
              "not measured\n");
}

TEST(PlayProgress, TellsWhatARenditionIs) {
    EXPECT_EQ(printed([](PlayProgress& progress) { progress.onRendition(4.5, 900000, "640x360"); }),
              "4.5 s  900 kbit/s is 640x360\n");
}
