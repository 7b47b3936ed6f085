// The line out of a play's own record.
#include <tools/hastool/ErrorOf.h>

#include <hastool/play/Trace.h>
#include <hastool/simulate/TraceFile.h>
#include <support/TempDir.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

using hastool::readTrace;
using hastool::TracePeriod;
using hastool::TraceRow;
using test::errorOf;

namespace {

/// A download that ran from `begin` to `end`, its first byte after `wait` seconds.
TraceRow row(double begin, double wait, double end, uint64_t bytes) {
    TraceRow row;
    row.begin = begin;
    row.time = end;
    row.download = end - begin;
    row.firstByte = wait;
    row.bytes = bytes;
    return row;
}

/// "1 s 800000 +50" of each period: how long, bits per second, milliseconds of latency.
std::vector<std::string> periods(const std::vector<TracePeriod>& trace) {
    std::vector<std::string> result;
    for (const TracePeriod& it : trace) {
        char line[80];
        std::snprintf(line, sizeof line, "%g s %.7g +%g",
                      static_cast<double>(it.duration.count()) / 1e6, it.bitsPerSecond,
                      static_cast<double>(it.latency.count()) / 1e3);
        result.emplace_back(line);
    }
    return result;
}

using List = std::vector<std::string>;

/// What is read from a trace as the tool writes it, in both of its forms.
class PlayTraceTest : public testing::TestWithParam<const char*> {
protected:
    List read(const std::vector<TraceRow>& rows) const {
        const std::string path = m_dir.file(GetParam());
        hastool::Trace trace(path);
        for (const TraceRow& it : rows)
            trace.add(it);
        trace.commit();
        return periods(hastool::loadTraces({path}).front().periods);
    }

    test::TempDir m_dir;
};

} // namespace

TEST_P(PlayTraceTest, DownloadsGiveTheRates) {
    EXPECT_EQ(read({row(0, 0, 1, 100000), row(1, 0, 3, 100000)}),
              (List{"1 s 800000 +0", "2 s 400000 +0"}));
}

TEST_P(PlayTraceTest, TheTimeToTheFirstByteIsLatency) {
    // While nothing comes the rate before goes on; in front of all, that of the first download.
    EXPECT_EQ(read({row(0, 0.5, 1, 100000), row(1, 0.25, 2.25, 125000)}),
              (List{"0.5 s 1600000 +500", "0.5 s 1600000 +500", "0.25 s 1600000 +250",
                    "1 s 1000000 +250"}));
}

TEST_P(PlayTraceTest, GapsHaveTheMeanOfWhatCameBeforeThem) {
    EXPECT_EQ(read({row(2, 0, 3, 100000), row(3, 0, 4, 300000), row(10, 0, 11, 50000)}),
              (List{"2 s 1600000 +0", "1 s 800000 +0", "1 s 2400000 +0", "6 s 1600000 +0",
                    "1 s 400000 +0"}));
}

TEST_P(PlayTraceTest, OverlappingDownloadsShareTheLine) {
    TraceRow audio = row(1, 0, 3, 50000);
    audio.isAudio = true;
    EXPECT_EQ(read({row(0, 0, 2, 200000), audio}),
              (List{"1 s 800000 +0", "1 s 1000000 +0", "1 s 200000 +0"}));
}

TEST_P(PlayTraceTest, SegmentsWithoutBytesTellNothing) {
    TraceRow skipped = row(1, 0, 9, 0);
    skipped.skipped = true;
    EXPECT_EQ(read({row(0, 0, 1, 100000), skipped}), (List{"1 s 800000 +0"}));
}

TEST_P(PlayTraceTest, WhatWasGivenUpCameBeforeTheDownloadThatFollowed) {
    TraceRow lower = row(5, 0.5, 6, 50000);
    lower.givenUp = 1;
    lower.wasted = 35000;
    EXPECT_EQ(read({row(0, 0, 1, 100000), lower}),
              (List{"1 s 800000 +0", "0.5 s 800000 +500", "3.5 s 80000 +500", "0.5 s 80000 +500",
                    "0.5 s 800000 +500"}));
}

TEST_P(PlayTraceTest, ABodyThatCameAtOnceTookAMillisecond) {
    EXPECT_EQ(read({row(0, 0.5, 0.5, 1000)}),
              (List{"0.499 s 8000000 +499", "0.001 s 8000000 +499"}));
}

INSTANTIATE_TEST_SUITE_P(Forms, PlayTraceTest, testing::Values("t.csv", "t.json"),
                         [](const auto& form) { return std::string(form.param + 2); });

TEST(PlayTrace, RowsThatCannotBeReadAreNamed) {
    const auto trouble = [](const std::string& text) {
        return errorOf([&] { readTrace(text, "t"); });
    };
    const std::string head = "time_s,track,bytes,download_s,first_byte_s\n";
    EXPECT_EQ(periods(readTrace(head + "1,main,1000,1,0\n", "t")), (List{"1 s 8000 +0"}));
    EXPECT_EQ(trouble(head + "1,main,1000,1\n"), "t:2: no number in the column first_byte_s");
    EXPECT_EQ(trouble(head + "1,main,-1,1,0\n"), "t:2: no number in the column bytes");
    EXPECT_EQ(trouble(head + "nan,main,1,1,0\n"), "t:2: no number in the column time_s");
    EXPECT_EQ(trouble(head), "t: a trace that never lets anything through");
    EXPECT_EQ(trouble("time_s,download_s\n1,1\n"), "t:1: no column first_byte_s");
    EXPECT_EQ(trouble(R"([{"download_s":1,"time_s":1,"bytes":1}])"),
              "t: entry 0: no number \"first_byte_s\"");
    EXPECT_EQ(trouble(R"([{"download_s":1,"time_s":1,"bytes":1,"first_byte_s":0}, 3])"),
              "t: entry 1: not an object");
    EXPECT_EQ(trouble(R"([{"download_s":1,"time_s":-1,"bytes":1,"first_byte_s":0}])"),
              "t: entry 0: a time or size that cannot be");
}
