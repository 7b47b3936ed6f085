// The published rules beside the figures of the public simulator, over all of its traces.
#include <hastool/simulate/MovieFile.h>
#include <hastool/simulate/RuleBook.h>
#include <hastool/simulate/SimulatedPlay.h>
#include <hastool/simulate/TraceFile.h>
#include <support/Samples.h>

#include <array>
#include <cmath>
#include <string>

#include <gtest/gtest.h>

namespace {

using Figures = std::array<double, 4>;

constexpr std::array<const char*, 4> kNames = {"score", "kbps", "rebuffer", "change_kbps"};

Figures figuresOf(const hastool::PlayFigures& play) {
    return {play.score, play.meanBitrate / 1000, play.stallRatio, play.change / 1000};
}

/// The means of a rule over a set.
Figures meansOf(const hastool::Movie& movie, const std::vector<hastool::NetworkTrace>& traces,
                const std::string& rule, bool isDamped) {
    Figures sums{};
    for (const hastool::NetworkTrace& trace : traces) {
        const auto played = hastool::makeRule(rule, {{"damping", isDamped ? 1 : 0}});
        const auto run = hastool::simulate(movie, trace, *played, {});
        const Figures figures = figuresOf(run.figures);
        for (size_t i = 0; i < sums.size(); ++i)
            sums.at(i) += figures.at(i) / static_cast<double>(traces.size());
    }
    return sums;
}

/// How far a mean may be off: by a hundredth. Where a stall more or less counts much, as there are
/// few, by three ten-thousandths of the time. When BOLA-E goes up only as far as the throughput
/// bears, changes are rare too.
double allowed(size_t figure, double expected, const std::string& key) {
    const std::string name = kNames.at(figure);
    const double part = name == "change_kbps" && key == "bolae+ao" ? 0.015 : 0.01;
    return std::max(part * std::abs(expected), name == "rebuffer" ? 0.0003 : 0);
}

class PublishedRules : public ::testing::TestWithParam<const char*> {};

TEST_P(PublishedRules, AgreeWithThePublicSimulator) {
    const std::string set = GetParam();
    const nlohmann::json expected = test::sampleJson("dev-expected/adaptation.json");
    const std::string folder = HAS_SAMPLES_DIR "/traces/sabre/";
    const std::string file = expected["movies"][set];
    const auto text = test::sampleJson("traces/sabre/" + file).dump();
    const auto movie = hastool::readMovie(text, file);
    const auto traces = hastool::loadTraces({folder + set});
    ASSERT_EQ(traces.size(), expected["traces"][set].size());
    for (const auto& [rule, name] :
         {std::pair("throughput", "throughput"), std::pair("bola", "bola"),
          std::pair("bola-e", "bolae"), std::pair("dynamic", "dynamic")}) {
        for (const bool isDamped : {false, true}) {
            const std::string key = std::string(name) + (isDamped ? "+ao" : "");
            if (!expected["means"][set].contains(key))
                continue; // damping is not for a rule that does not oscillate
            const Figures means = meansOf(movie, traces, rule, isDamped);
            for (size_t i = 0; i < means.size(); ++i) {
                const double wanted = expected["means"][set][key][kNames.at(i)];
                EXPECT_NEAR(means.at(i), wanted, allowed(i, wanted, key))
                    << set << ' ' << key << ' ' << kNames.at(i);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sets, PublishedRules,
                         ::testing::Values("3Glogs", "4Glogs", "sd_fs", "hd_fs"));

} // namespace
