// The page of a study.
#include "SyntheticStudy.h"

#include <hastool/report/StudyPage.h>
#include <hastool/simulate/Study.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using hastool::StudyRun;

namespace {

std::vector<StudyRun> runsOf(const std::vector<hastool::NetworkTrace>& traces) {
    hastool::StudyOptions options;
    options.rules = {"throughput", "fixed=2"};
    const hastool::Movie movie = test::syntheticMovie(20);
    std::vector<StudyRun> runs;
    hastool::runStudy(movie, traces, options, [&](StudyRun run) {
        runs.push_back(std::move(run));
        return true;
    });
    return runs;
}

/// What the page's script reads.
nlohmann::json dataIn(const std::string& page) {
    const std::string begin = "<script type=\"application/json\">";
    const size_t at = page.find(begin) + begin.size();
    return nlohmann::json::parse(page.substr(at, page.find("</script>", at) - at));
}

} // namespace

TEST(StudyPage, HoldsWhatItsChartsDraw) {
    const auto runs = runsOf(test::syntheticLines());
    const nlohmann::json data = dataIn(hastool::studyPage(runs));
    EXPECT_EQ(data["rules"], (nlohmann::json{"throughput", "fixed=2"}));
    ASSERT_EQ(data["sets"].size(), 1U);
    const nlohmann::json& set = data["sets"][0];
    EXPECT_EQ(set["bitrates"].size(), 10U);
    ASSERT_EQ(set["traces"].size(), 5U);
    const nlohmann::json& step = set["traces"][4];
    EXPECT_EQ(step["name"], "step");
    EXPECT_EQ(step["line"].size(), 240U);
    EXPECT_EQ(step["line"][0], (nlohmann::json{1.0, 4000.0}));
    EXPECT_EQ(step["runs"]["fixed=2"]["segments"].size(), 20U);
    EXPECT_EQ(step["runs"]["fixed=2"]["segments"][0].size(), 6U);
    EXPECT_EQ(step["runs"]["fixed=2"]["figures"].size(), data["columns"].size());
}

TEST(StudyPage, NamesCannotBecomeMarkup) {
    auto traces = test::syntheticLines();
    traces.resize(1);
    traces[0].name = "</script><img src=x>";
    traces[0].set = "<b>\"set\"";
    const std::string page = hastool::studyPage(runsOf(traces));
    EXPECT_EQ(page.find("<img"), std::string::npos);
    EXPECT_EQ(page.find("<b>"), std::string::npos);
    EXPECT_EQ(dataIn(page)["sets"][0]["traces"][0]["name"], "</script><img src=x>");
}

TEST(StudyPage, ALongStudyHasItsFiguresOnly) {
    std::vector<StudyRun> runs;
    for (const StudyRun& run : runsOf({test::syntheticLines()[0]})) {
        for (size_t i = 0; i < hastool::kMostDrawnRuns; ++i) {
            runs.push_back(run);
            runs.back().run.trace = std::to_string(i);
            runs.back().run.segments.resize(1);
            runs.back().line.resize(std::min<size_t>(run.line.size(), 1));
        }
    }
    const std::string page = hastool::studyPage(runs);
    EXPECT_NE(page.find("The study is long"), std::string::npos);
    const nlohmann::json data = dataIn(page);
    size_t drawn = 0;
    for (const auto& trace : data["sets"][0]["traces"]) {
        for (const auto& run : trace["runs"])
            drawn += run.contains("segments") ? 1 : 0;
    }
    EXPECT_EQ(drawn, hastool::kMostDrawnRuns);
    EXPECT_EQ(data["sets"][0]["traces"].size(), hastool::kMostDrawnRuns);
}
