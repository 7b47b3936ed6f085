#include <hastool/origin/LineSchedule.h>

#include <gtest/gtest.h>

using hastool::LineSchedule;
using hastool::RateProfile;

namespace {

LineSchedule line(const char* profile) {
    return LineSchedule(RateProfile::parse(profile, "p"));
}

} // namespace

TEST(LineSchedule, BytesAreOverAsLateAsTheRateSays) {
    LineSchedule schedule = line("0,80"); // 10,000 bytes per second
    EXPECT_DOUBLE_EQ(schedule.send(0, 1000), 0.1);
    EXPECT_DOUBLE_EQ(schedule.send(0.1, 500), 0.15);
}

TEST(LineSchedule, SendersShareTheLine) {
    LineSchedule schedule = line("0,80");
    EXPECT_DOUBLE_EQ(schedule.send(0, 1000), 0.1);
    EXPECT_DOUBLE_EQ(schedule.send(0.01, 1000), 0.2);
    EXPECT_DOUBLE_EQ(schedule.send(0.02, 1000), 0.3);
}

TEST(LineSchedule, AnUnusedLineSavesNothingUp) {
    LineSchedule schedule = line("0,80");
    schedule.send(0, 1000);
    EXPECT_DOUBLE_EQ(schedule.send(5, 1000), 5.1);
}

TEST(LineSchedule, ASenderThatWakesUpLateLosesNothing) {
    LineSchedule schedule = line("0,80");
    double now = 0;
    for (int i = 0; i < 100; ++i)
        now = schedule.send(now + (i == 0 ? 0 : 0.004), 100); // late for each of the pieces
    EXPECT_NEAR(now, 1, 1e-9);
}

TEST(LineSchedule, NothingIsOverWhileTheLineIsCut) {
    LineSchedule schedule = line("0,80\n1,0\n3,80\n");
    EXPECT_DOUBLE_EQ(schedule.send(0.95, 1000), 3.05); // half before the cut, half behind it
    EXPECT_DOUBLE_EQ(schedule.send(3.05, 1000), 3.15);
}

TEST(LineSchedule, ASendThatBeginsInACutIsOverBehindIt) {
    LineSchedule schedule = line("0,80\n1,0\n3,80\n");
    EXPECT_DOUBLE_EQ(schedule.send(2, 1000), 3.1);
}

TEST(LineSchedule, KeepsTheRateOverAnyTenthOfASecond) {
    LineSchedule schedule = line("0,800\n1,80\n2,\n");
    double now = 0;
    double bytes = 0;
    double begin = 0;
    while (now < 2) {
        const size_t piece = schedule.pieceSize(now);
        now = schedule.send(now, piece);
        bytes += static_cast<double>(piece);
        if (now - begin < 0.1)
            continue;
        const double most = begin < 1 ? 100000 : 10000;
        EXPECT_LE(bytes / (now - begin), most * 1.001) << begin;
        begin = now;
        bytes = 0;
    }
}

TEST(LineSchedule, PiecesAreAHundredthOfASecond) {
    const LineSchedule schedule = line("0,800\n1,1\n2,1000000\n3,0\n4,\n");
    EXPECT_EQ(schedule.pieceSize(0), 1000U);
    EXPECT_EQ(schedule.pieceSize(1), 256U) << "or at least so big";
    EXPECT_EQ(schedule.pieceSize(2), 16384U) << "and at most so big";
    EXPECT_EQ(schedule.pieceSize(3), 256U);
}

TEST(LineSchedule, TellsTheLatencyOfTheMoment) {
    const LineSchedule schedule = line(R"([{"duration_ms":1000,"bandwidth_kbps":1,"latency_ms":70},
                                           {"duration_ms":1000,"bandwidth_kbps":1}])");
    EXPECT_EQ(schedule.latency(0.5), 0.07);
    EXPECT_EQ(schedule.latency(1.5), 0);
    EXPECT_EQ(schedule.latency(2.5), 0.07);
}
