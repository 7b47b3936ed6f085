#include <tools/hastool/ErrorOf.h>

#include <hastool/play/Trace.h>
#include <hastool/play/TraceColumn.h>
#include <support/TempDir.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using hastool::Trace;
using hastool::TraceRow;
using test::readFile;

namespace {

TraceRow row() {
    TraceRow row;
    row.time = 1.5;
    row.index = 7;
    row.stream = 1;
    row.bitrate = 800000;
    row.bytes = 200000;
    row.duration = 2;
    row.download = 0.25;
    row.firstByte = 0.004;
    row.bandwidth = 4000000;
    row.mean = 3000000;
    row.buffer = 5.5;
    row.change = "up";
    row.stalls = 1;
    row.stallTime = 0.75;
    row.isAudio = true;
    row.redirects = 3;
    row.choice = 1;
    row.choiceMean = 2500000;
    row.choiceFirst = 7000000;
    row.choiceBuffer = 4200;
    row.retries = 2;
    row.resolution = "640x360";
    return row;
}

} // namespace

TEST(Trace, WritesCsvRowByRow) {
    const test::TempDir dir;
    Trace trace(dir.file("t.csv"));
    trace.add(row());
    EXPECT_EQ(
        readFile(dir.file("t.csv.part")),
        "time_s,track,index,stream,bitrate_bps,bytes,duration_s,download_s,first_byte_s,redirects,"
        "bandwidth_bps,mean_bps,buffer_s,switch,stalls,stall_s,choice,choice_mean_bps,"
        "choice_first_bps,choice_buffer_ms,retries,skipped,resolution,live_distance_s,"
        "given_up,wasted_bytes\n"
        "1.500,audio,7,1,800000,200000,2.000,0.250,0.004,3,4000000,3000000,5.500,up,1,0.750,1,"
        "2500000,7000000,4200,2,0,640x360,0.000,0,0\n");
}

TEST(Trace, WritesAJsonListOfTheSameNames) {
    const test::TempDir dir;
    {
        Trace trace(dir.file("t.json"));
        trace.add(row());
        TraceRow second = row();
        second.skipped = true;
        second.change = "";
        trace.add(second);
        trace.commit();
    }
    const auto list = nlohmann::json::parse(readFile(dir.file("t.json")));
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0].size(), 26U);
    EXPECT_EQ(list[0]["track"], "audio");
    EXPECT_EQ(list[0]["choice"], 1);
    EXPECT_EQ(list[0]["choice_buffer_ms"], 4200);
    EXPECT_EQ(list[0]["time_s"], 1.5);
    EXPECT_EQ(list[0]["index"], 7);
    EXPECT_EQ(list[0]["bitrate_bps"], 800000);
    EXPECT_EQ(list[0]["switch"], "up");
    EXPECT_EQ(list[0]["skipped"], false);
    EXPECT_EQ(list[0]["resolution"], "640x360");
    EXPECT_EQ(list[1]["switch"], "");
    EXPECT_EQ(list[1]["skipped"], true);
}

TEST(Trace, LeavesAFileAloneUntilThereIsARow) {
    const test::TempDir dir;
    for (const char* name : {"t.json", "t.csv"}) {
        dir.write(name, "old");
        {
            Trace trace(dir.file(name));
            trace.commit();
        }
        EXPECT_EQ(readFile(dir.file(name)), "old");
        {
            Trace trace(dir.file(name));
            trace.add(row());
            EXPECT_EQ(readFile(dir.file(name)), "old");
            trace.commit();
        }
        EXPECT_NE(readFile(dir.file(name)), "old");
    }
    EXPECT_EQ(nlohmann::json::parse(readFile(dir.file("t.json"))).size(), 1U);
}

TEST(Trace, KnowsItsNames) {
    EXPECT_TRUE(Trace::isTraceName("a.csv") && Trace::isTraceName("b/a.json"));
    EXPECT_FALSE(Trace::isTraceName("a.txt") || Trace::isTraceName(".csv") ||
                 Trace::isTraceName("csv"));
}

TEST(Trace, SaysWhatCannotBeWritten) {
    EXPECT_EQ(test::errorOf([] { Trace("/none/t.csv"); }),
              "/none/t.csv: cannot be written: No such file or directory");
}

TEST(Trace, ItsColumnsAreDocumented) {
    std::string table = "| field | |\n|---|---|\n";
    for (const hastool::TraceColumn& column : hastool::traceColumns()) {
        if (*column.text != '\0')
            table += "| `" + nameOf(column) + "` | " + column.text + " |\n";
    }
    EXPECT_NE(readFile(HASTOOL_DOCS).find("\n" + table + "\n"), std::string::npos) << table;
}
