#include <tools/hastool/ErrorOf.h>

#include <hastool/origin/RateProfile.h>
#include <support/TempDir.h>

#include <limits>
#include <string>

#include <gtest/gtest.h>

using hastool::RateProfile;
using test::errorOf;

namespace {

/// The error for a text that is no profile.
std::string trouble(const std::string& text) {
    return errorOf([&] { RateProfile::parse(text, "p"); });
}

} // namespace

TEST(RateProfile, CsvHoldsEachRateUntilTheNextTime) {
    const RateProfile profile = RateProfile::parse("0,1000\n4,250.5\n10,0\n", "p");
    ASSERT_EQ(profile.steps().size(), 3U);
    EXPECT_EQ(profile.steps()[0].seconds, 4);
    EXPECT_EQ(profile.steps()[0].kbps, 1000);
    EXPECT_EQ(profile.steps()[0].latency, 0);
    EXPECT_EQ(profile.steps()[1].seconds, 6);
    EXPECT_EQ(profile.steps()[1].kbps, 250.5);
    EXPECT_EQ(profile.steps()[2].kbps, 0);
}

TEST(RateProfile, TheLastRateLastsAsLongAsTheOneBeforeIt) {
    EXPECT_EQ(RateProfile::parse("0,1000\n4,250\n", "p").duration(), 8);
}

TEST(RateProfile, ALineWithoutARateIsTheEnd) {
    for (const char* end : {"5,\n", "5,", "5\n", "5", " 5 \r\n\r\n"}) {
        const RateProfile profile = RateProfile::parse(std::string("0,1000\n4,250\n") + end, "p");
        EXPECT_EQ(profile.steps().size(), 2U);
        EXPECT_EQ(profile.duration(), 5);
        EXPECT_EQ(profile.meanKbps(), 850);
    }
    EXPECT_EQ(trouble("0,1\n2\n3,1\n"), "p:3: a line behind the end");
    EXPECT_EQ(trouble("0,1\n2;3\n"), "p:2: not a time in seconds and a rate in kbit/s: \"2;3\"");
}

TEST(RateProfile, OneLineHoldsForEver) {
    const RateProfile profile = RateProfile::parse("0,8", "p");
    EXPECT_EQ(profile.bytesUntil(1000), 1e6);
    EXPECT_EQ(profile.timeOf(1e6), 1000);
}

TEST(RateProfile, CsvMayHaveAHeadingBlanksAndBothEndsOfLines) {
    const RateProfile profile = RateProfile::parse("\ntime_s,kbps\r\n\r\n 0 , 16\r\n2,8\r\n", "p");
    ASSERT_EQ(profile.steps().size(), 2U);
    EXPECT_EQ(profile.steps()[0].kbps, 16);
}

TEST(RateProfile, CsvThatIsNoneNamesTheLine) {
    EXPECT_EQ(trouble("time,rate\n0,1\n"),
              "p:1: not a time in seconds and a rate in kbit/s: \"time,rate\"");
    EXPECT_EQ(trouble("0,1\ntime_s,kbps\n"),
              "p:2: not a time in seconds and a rate in kbit/s: \"time_s,kbps\"");
    EXPECT_EQ(trouble("0,1\n\nx,1\n"), "p:3: not a time in seconds and a rate in kbit/s: \"x,1\"");
    EXPECT_EQ(trouble("0,-1\n"), "p:1: not a time in seconds and a rate in kbit/s: \"0,-1\"");
    EXPECT_EQ(trouble("0,1,2\n"), "p:1: not a time in seconds and a rate in kbit/s: \"0,1,2\"");
    EXPECT_EQ(trouble("0,inf\n"), "p:1: not a time in seconds and a rate in kbit/s: \"0,inf\"");
    EXPECT_EQ(trouble("0 1\n"), "p:1: not a time in seconds and a rate in kbit/s: \"0 1\"");
    EXPECT_EQ(trouble("1,1\n"), "p:1: the first time is not 0");
    EXPECT_EQ(trouble("0,1\n2,1\n2,3\n"), "p:3: a time that is not behind the last");
    EXPECT_EQ(trouble("0,1\n2,\n3,1\n"), "p:3: a line behind the end");
}

TEST(RateProfile, WhatHoldsNothingIsRefused) {
    EXPECT_EQ(trouble(""), "p: a profile without a rate");
    EXPECT_EQ(trouble("time_s,kbps\n"), "p: a profile without a rate");
    EXPECT_EQ(trouble("[]"), "p: a profile without a rate");
    EXPECT_EQ(trouble("0,\n"), "p: a profile without a rate");
    EXPECT_EQ(trouble("0,0\n5,0\n"), "p: a profile that never lets anything through");
    EXPECT_EQ(trouble("0,1e99\n"), "p:1: not a time in seconds and a rate in kbit/s: \"0,1e99\"");
    EXPECT_EQ(trouble("0,99999999999\n"), "p: a time, rate or latency that cannot be");
}

TEST(RateProfile, JsonListsDurationsRatesAndLatencies) {
    const RateProfile profile =
        RateProfile::parse(R"( [{"duration_ms": 1500, "bandwidth_kbps": 800, "latency_ms": 75},
                               {"duration_ms": 500, "bandwidth_kbps": 0.5}] )",
                           "p");
    ASSERT_EQ(profile.steps().size(), 2U);
    EXPECT_EQ(profile.steps()[0].seconds, 1.5);
    EXPECT_EQ(profile.steps()[0].kbps, 800);
    EXPECT_EQ(profile.steps()[0].latency, 0.075);
    EXPECT_EQ(profile.steps()[1].latency, 0);
    EXPECT_EQ(profile.duration(), 2);
}

TEST(RateProfile, JsonThatIsNoneNamesTheEntry) {
    EXPECT_EQ(trouble("[{]"), "p: not a JSON list");
    EXPECT_EQ(trouble("{\"duration_ms\": 1}"), "p: not a JSON list");
    EXPECT_EQ(trouble("[1]"), "p: entry 0: not an object");
    EXPECT_EQ(trouble(R"([{"duration_ms":1,"bandwidth_kbps":1},{"bandwidth_kbps":1}])"),
              "p: entry 1: no number \"duration_ms\"");
    EXPECT_EQ(trouble(R"([{"duration_ms":1,"bandwidth_kbps":"1"}])"),
              "p: entry 0: no number \"bandwidth_kbps\"");
    EXPECT_EQ(trouble(R"([{"duration_ms":1,"bandwidth_kbps":1,"latency_ms":null}])"),
              "p: entry 0: no number \"latency_ms\"");
    EXPECT_EQ(trouble(R"([{"duration_ms":-1,"bandwidth_kbps":1}])"),
              "p: a time, rate or latency that cannot be");
    EXPECT_EQ(trouble(R"([{"duration_ms":0,"bandwidth_kbps":1}])"),
              "p: a profile that never lets anything through");
}

TEST(RateProfile, StepsThatAreNoNumbersAreRefused) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(errorOf([&] {
                  RateProfile({{1, nan, 0}}, "p");
              }),
              "p: a time, rate or latency that cannot be");
}

TEST(RateProfile, BytesAddUpOverStepsAndRounds) {
    // 1000 bytes per second for 2 s, nothing for 3 s, 500 for 1 s.
    const RateProfile profile = RateProfile::parse("0,8\n2,0\n5,4\n6,\n", "p");
    EXPECT_EQ(profile.bytesUntil(0), 0);
    EXPECT_EQ(profile.bytesUntil(1.5), 1500);
    EXPECT_EQ(profile.bytesUntil(2), 2000);
    EXPECT_EQ(profile.bytesUntil(4.9), 2000);
    EXPECT_DOUBLE_EQ(profile.bytesUntil(5.5), 2250);
    EXPECT_EQ(profile.bytesUntil(6), 2500);
    EXPECT_EQ(profile.bytesUntil(6 * 1000 + 1), 2501000);
}

TEST(RateProfile, TimeOfIsWhenTheByteIsOver) {
    const RateProfile profile = RateProfile::parse("0,8\n2,0\n5,4\n6,\n", "p");
    EXPECT_EQ(profile.timeOf(0), 0);
    EXPECT_EQ(profile.timeOf(1500), 1.5);
    EXPECT_EQ(profile.timeOf(2000), 2);
    EXPECT_DOUBLE_EQ(profile.timeOf(2001), 5.002); // behind the cut
    EXPECT_EQ(profile.timeOf(2500), 6);
    EXPECT_DOUBLE_EQ(profile.timeOf(2501), 6.001);
    EXPECT_DOUBLE_EQ(profile.timeOf(1000 * 2500 + 250), 6000.25);
}

TEST(RateProfile, TimeAndBytesAreInverse) {
    const RateProfile profile = RateProfile::parse("0,300\n1.5,0\n2,7\n3,100000\n3.25,\n", "p");
    for (double bytes = 1; bytes < 3e7; bytes *= 1.37)
        EXPECT_NEAR(profile.bytesUntil(profile.timeOf(bytes)), bytes, bytes * 1e-9) << bytes;
}

TEST(RateProfile, BeginsAnewWhenItIsOver) {
    const RateProfile profile = RateProfile::parse("0,8\n2,16\n4,\n", "p");
    EXPECT_EQ(profile.at(0).kbps, 8);
    EXPECT_EQ(profile.at(2).kbps, 16);
    EXPECT_EQ(profile.at(3.999).kbps, 16);
    EXPECT_EQ(profile.at(4).kbps, 8);
    EXPECT_EQ(profile.at(4002).kbps, 16);
}

TEST(RateProfile, ReadsAFile) {
    const test::TempDir dir;
    EXPECT_EQ(RateProfile::load(dir.write("p.csv", "0,5\n")).meanKbps(), 5);
    EXPECT_EQ(errorOf([&] { RateProfile::load(dir.write("q.csv", "no")); }),
              dir.file("q.csv") + ":1: not a time in seconds and a rate in kbit/s: \"no\"");
    EXPECT_EQ(errorOf([] { RateProfile::load("/none"); }),
              "/none: cannot be read: No such file or directory");
}
