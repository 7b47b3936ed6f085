// Rates that were measured in trains, buses, cars and on foot.
#include <hastool/origin/RateProfile.h>
#include <support/Samples.h>

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

using hastool::RateProfile;

TEST(RateProfileSamples, AreReadAsTheirIndexSays) {
    const nlohmann::json expected = test::sampleJson("dev-expected/traces.json");
    int count = 0;
    for (const auto& trace : expected["traces"]) {
        const std::string file = trace["file"];
        if (file.find(".json") == std::string::npos)
            continue; // of another format
        SCOPED_TRACE(file);
        const RateProfile profile = RateProfile::load(HAS_SAMPLES_DIR "/" + file);
        EXPECT_EQ(profile.steps().size(), trace["entries"].get<size_t>());
        EXPECT_NEAR(profile.duration(), trace["duration_s"].get<double>(), 0.001);
        EXPECT_NEAR(profile.meanKbps(), trace["mean_kbps"].get<double>(), 0.051);
        const auto byRate = [](const auto& left, const auto& right) {
            return left.kbps < right.kbps;
        };
        const auto [least, most] =
            std::minmax_element(profile.steps().begin(), profile.steps().end(), byRate);
        EXPECT_EQ(least->kbps, trace["min_kbps"].get<double>());
        EXPECT_EQ(most->kbps, trace["max_kbps"].get<double>());
        double still = 0;
        for (const RateProfile::Step& step : profile.steps())
            still += step.kbps == 0 ? step.seconds : 0;
        EXPECT_NEAR(still, trace["seconds_at_zero"].get<double>(), 0.001);
        ++count;
    }
    EXPECT_GE(count, 6);
}
