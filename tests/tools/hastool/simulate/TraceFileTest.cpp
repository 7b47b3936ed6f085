// Traces of all formats, and what is none.
#include <tools/hastool/ErrorOf.h>

#include <hastool/simulate/TraceFile.h>
#include <support/TempDir.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

using hastool::NetworkTrace;
using hastool::readTrace;
using hastool::TracePeriod;
using test::errorOf;

namespace {

constexpr char kJson[] = R"([{"duration_ms": 1500.5, "bandwidth_kbps": 800.25, "latency_ms": 7.5},
                             {"duration_ms": 500, "bandwidth_kbps": 0}])";

std::string trouble(const std::string& text) {
    return errorOf([&] { readTrace(text, "t"); });
}

/// "1.5 s 800000" of each period.
std::vector<std::string> periods(const std::string& text) {
    std::vector<std::string> result;
    for (const TracePeriod& it : readTrace(text, "t")) {
        char line[80];
        std::snprintf(line, sizeof line, "%g s %.10g",
                      static_cast<double>(it.duration.count()) / 1e6, it.bitsPerSecond);
        result.emplace_back(line);
    }
    return result;
}

using List = std::vector<std::string>;

} // namespace

TEST(TraceFile, ReadsJsonListsWithFractions) {
    EXPECT_EQ(periods(kJson), (List{"1.5005 s 800250", "0.5 s 0"}));
    EXPECT_EQ(readTrace(kJson, "t")[0].latency.count(), 7500);
    EXPECT_EQ(readTrace(kJson, "t")[1].latency.count(), 0);
}

TEST(TraceFile, ReadsLinesOfTimesAndRates) {
    EXPECT_EQ(periods("time_s,kbps\n0,1000\n4,250.5\n10,\n"), (List{"4 s 1000000", "6 s 250500"}));
    EXPECT_EQ(periods("0,8\n"), (List{"1 s 8000"}));
}

TEST(TraceFile, ACookedRateEndsAtItsTime) {
    EXPECT_EQ(periods("0.0\t9.5\n0.5 1.25\r\n\n 2.0   0\n3 2\n"),
              (List{"0.5 s 1250000", "1.5 s 0", "1 s 2000000"}));
    // Time may begin anywhere.
    EXPECT_EQ(periods("100 9.5\n101 1\n"), (List{"1 s 1000000"}));
}

TEST(TraceFile, WhatIsNoCookedTraceNamesTheLine) {
    EXPECT_EQ(trouble("0 1\n1\n"), "t:2: not a time in seconds and a rate in Mbit/s: \"1\"");
    EXPECT_EQ(trouble("0 1\n1 2 3\n"),
              "t:2: not a time in seconds and a rate in Mbit/s: \"1 2 3\"");
    EXPECT_EQ(trouble("0 1\n1 -2\n"), "t:2: not a time in seconds and a rate in Mbit/s: \"1 -2\"");
    EXPECT_EQ(trouble("0 1\n\n1 2\n1 3\n"), "t:4: a time that is not behind the last");
    EXPECT_EQ(trouble("0 1\n1 9999999999\n"), "t: a time, rate or latency that cannot be");
    EXPECT_EQ(trouble("0 1\n1 0\n"), "t: a trace that never lets anything through");
    EXPECT_EQ(trouble("0 1\n"), "t: a trace that never lets anything through");
}

TEST(TraceFile, CountsPacketsOverATenthOfASecond) {
    // A packet counts to the time before it: that at 100 ms to the first tenth.
    EXPECT_EQ(periods("0\n50\n100\n101\n250\n250\n"),
              (List{"0.1 s 360000", "0.1 s 120000", "0.05 s 480000"}));
    EXPECT_EQ(periods("10\n"), (List{"0.01 s 1200000"}));
    EXPECT_EQ(periods("300\n"), (List{"0.1 s 0", "0.1 s 0", "0.1 s 120000"}));
}

TEST(TraceFile, NoPacketIsLost) {
    std::string text;
    for (int i = 1; i <= 1000; ++i)
        text += std::to_string(i * i / 7) + "\n";
    double bits = 0;
    double seconds = 0;
    for (const TracePeriod& it : readTrace(text, "t")) {
        const double length = static_cast<double>(it.duration.count()) / 1e6;
        seconds += length;
        bits += length * it.bitsPerSecond;
    }
    EXPECT_NEAR(bits, 1000 * 12000.0, 0.01);
    EXPECT_NEAR(seconds, 142.857, 0.0005);
}

TEST(TraceFile, WhatAreNoPacketTimesNamesTheLine) {
    EXPECT_EQ(trouble("1\nx\n"), "t:2: not a whole number of milliseconds: \"x\"");
    EXPECT_EQ(trouble("1\n2.5\n"), "t:2: not a whole number of milliseconds: \"2.5\"");
    EXPECT_EQ(trouble("5\n\n4\n"), "t:3: a time before the last");
    EXPECT_EQ(trouble("0\n0\n"), "t: a trace that never lets anything through");
    EXPECT_EQ(trouble("99999999999\n"), "t:1: a longer time than can be handled");
    EXPECT_EQ(trouble("1\n999999999999999999999\n"),
              "t:2: not a whole number of milliseconds: \"999999999999999999999\"");
}

TEST(TraceFile, WhatIsNoTraceSaysSo) {
    EXPECT_EQ(trouble(""), "t: an empty file");
    EXPECT_EQ(trouble(" \n\r\n"), "t: an empty file");
    EXPECT_EQ(trouble("\nhello\n"), "t:2: not a trace: \"hello\"");
    EXPECT_EQ(trouble("a,b\n"), "t:1: not a time in seconds and a rate in kbit/s: \"a,b\"");
    EXPECT_EQ(trouble("[{]"), "t: not a JSON list");
    EXPECT_EQ(trouble("{}"), "t: not a JSON list");
    EXPECT_EQ(trouble("[]"), "t: a profile without a rate");
    EXPECT_EQ(trouble("[1]"), "t: entry 0: not an object");
    EXPECT_EQ(trouble(R"([{"duration_ms":0.0001,"bandwidth_kbps":1}])"),
              "t: a trace that never lets anything through");
}

TEST(TraceFile, AFolderIsASetOfAllTracesInIt) {
    const test::TempDir dir;
    dir.write("3G/b.json", kJson);
    dir.write("3G/a", "0 1\n1 1\n");
    dir.write("3G/c.down", "1\n2\n");
    dir.write("3G/README", "No trace.\n");
    dir.write("3G/movie.json", "{\"segment_duration_ms\": 1}");
    dir.write("3G/notes.csv", "name,date\n");
    dir.write("3G/.hidden", "1\n");
    dir.write("3G/deeper/d", "1\n");
    const std::string one = dir.write("one.csv", "0,1\n");
    const auto traces = hastool::loadTraces({dir.file("3G"), one});
    List names;
    for (const NetworkTrace& it : traces)
        names.push_back(it.set + "/" + it.name);
    EXPECT_EQ(names, (List{"3G/a", "3G/b.json", "3G/c.down", "/one.csv"}));
    EXPECT_EQ(hastool::loadTraces({dir.file("3G/")}).front().set, "3G");
}

TEST(TraceFile, ABrokenTraceInAFolderIsNotPassedOver) {
    const test::TempDir dir;
    dir.write("set/a.json", "[{");
    EXPECT_EQ(errorOf([&] { hastool::loadTraces({dir.file("set")}); }),
              dir.file("set/a.json") + ": not a JSON list");
}

TEST(TraceFile, WhatCannotBeLoadedIsNamed) {
    const test::TempDir dir;
    dir.write("empty/README", "No trace.\n");
    EXPECT_EQ(errorOf([&] { hastool::loadTraces({dir.file("empty")}); }),
              dir.file("empty") + ": no trace in this folder");
    EXPECT_NE(errorOf([&] { hastool::loadTraces({dir.file("none")}); }).find(dir.file("none")),
              std::string::npos);
    const std::string one = dir.write("a/one", "1\n");
    const std::string other = dir.write("b/one", "1\n");
    EXPECT_EQ(errorOf([&] { hastool::loadTraces({one, other}); }), "one: two traces of this name");
    dir.write("a/set/x", "1\n");
    dir.write("b/set/x", "1\n");
    EXPECT_EQ(errorOf([&] {
                  hastool::loadTraces({dir.file("a/set"), dir.file("b/set")});
              }),
              "x: two traces of this name in the set set");
}
