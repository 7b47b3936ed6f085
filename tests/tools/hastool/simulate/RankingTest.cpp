// What the rules are worth beside each other, over lines that the test makes.
#include "SyntheticStudy.h"

#include <hastool/simulate/Study.h>
#include <hastool/simulate/StudyMeans.h>

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// Mean scores by rule.
std::map<std::string, double> scores(const hastool::StudyOptions& options) {
    std::vector<hastool::StudyRun> runs;
    hastool::runStudy(test::syntheticMovie(), test::syntheticLines(), options,
                      [&](hastool::StudyRun run) {
                          runs.push_back(std::move(run));
                          return true;
                      });
    std::map<std::string, double> result;
    const auto sets = hastool::meansOf(runs);
    for (const hastool::RuleMeans& it : sets.front().rules)
        result[it.rule] = it.figures[0];
    return result;
}

hastool::StudyOptions allRules() {
    hastool::StudyOptions options;
    options.rules = {"hybrid", "adaptive", "throughput", "bola-e", "dynamic", "fixed=0"};
    return options;
}

} // namespace

TEST(Ranking, TheHybridRuleIsAheadOfAllOthersInTheMean) {
    const auto score = scores(allRules());
    for (const char* other : {"adaptive", "throughput", "bola-e", "dynamic"})
        EXPECT_GT(score.at("hybrid"), score.at(other)) << other;
}

TEST(Ranking, EveryRuleIsAheadOfTheLowestStreamAlone) {
    const auto score = scores(allRules());
    for (const char* rule : {"hybrid", "adaptive", "throughput", "bola-e", "dynamic"})
        EXPECT_GT(score.at(rule), score.at("fixed=0")) << rule;
}

TEST(Ranking, TheHybridRuleBearsEstimatesThatAreOff) {
    hastool::StudyOptions options = allRules();
    const double exact = scores(options).at("hybrid");
    options.simulation.noise = 0.1;
    EXPECT_NEAR(scores(options).at("hybrid"), exact, 0.05);
}
