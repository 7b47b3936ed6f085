// Traces that were measured in buses, trams and ferries.
#include <hastool/simulate/TraceFile.h>
#include <support/Samples.h>

#include <string>

#include <gtest/gtest.h>

TEST(TraceSamples, AreReadAsTheirIndexSays) {
    const nlohmann::json expected = test::sampleJson("dev-expected/traces.json");
    int cooked = 0;
    for (const auto& it : expected["traces"]) {
        const std::string file = it["file"];
        if (file.find("traces/sabre/") != 0 && file.find("traces/hsdpa-cooked/") != 0)
            continue; // not among the samples
        SCOPED_TRACE(file);
        const auto traces = hastool::loadTraces({HAS_SAMPLES_DIR "/" + file});
        double seconds = 0;
        double bits = 0;
        for (const hastool::TracePeriod& period : traces.front().periods) {
            const double length = static_cast<double>(period.duration.count()) / 1e6;
            seconds += length;
            bits += length * period.bitsPerSecond;
        }
        EXPECT_NEAR(seconds, it["duration_s"].get<double>(), 0.001);
        EXPECT_NEAR(bits / seconds / 1000, it["mean_kbps"].get<double>(), 0.051);
        cooked += file.find("cooked") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(cooked, 3);
}

TEST(TraceSamples, FoldersAreSets) {
    const auto traces = hastool::loadTraces({HAS_SAMPLES_DIR "/traces/sabre/4Glogs"});
    EXPECT_EQ(traces.size(), 22U);
    EXPECT_EQ(traces.front().set, "4Glogs");
    EXPECT_EQ(traces.front().name, "report_bicycle_0001.json");
}
