// All rules over all traces, and how their runs are put together again.
#include "SyntheticStudy.h"

#include <tools/hastool/ErrorOf.h>

#include <hastool/simulate/Study.h>
#include <hastool/simulate/StudyMeans.h>
#include <hastool/simulate/StudyText.h>
#include <support/TempDir.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using hastool::NetworkTrace;
using hastool::StudyOptions;
using hastool::StudyRun;
using test::errorOf;

namespace {

StudyOptions optionsWith(std::vector<std::string> rules, unsigned jobs = 1) {
    StudyOptions options;
    options.rules = std::move(rules);
    options.jobs = jobs;
    return options;
}

std::vector<StudyRun> runsOf(const std::vector<NetworkTrace>& traces, const StudyOptions& options,
                             size_t segments = 60) {
    const hastool::Movie movie = test::syntheticMovie(segments);
    std::vector<StudyRun> runs;
    hastool::runStudy(movie, traces, options, [&](StudyRun run) {
        runs.push_back(std::move(run));
        return true;
    });
    return runs;
}

std::string linesOf(const std::vector<StudyRun>& runs) {
    std::string lines;
    for (const StudyRun& it : runs)
        lines += hastool::toLine(it);
    return lines;
}

const std::vector<std::string> kRules = {"throughput", "bola-e", "fixed=2"};

/// The lines of every N-th trace.
std::string shard(size_t part, size_t parts) {
    const auto all = test::syntheticLines();
    std::vector<NetworkTrace> traces;
    for (size_t i = part; i < all.size(); i += parts)
        traces.push_back(all[i]);
    return linesOf(runsOf(traces, optionsWith(kRules)));
}

} // namespace

TEST(Study, RunsComeByTraceAndRule) {
    std::string order;
    for (const StudyRun& it : runsOf(test::syntheticLines(), optionsWith(kRules, 3)))
        order += it.run.trace + " " + it.run.rule + (it.line.empty() ? "" : " line") + "\n";
    EXPECT_EQ(order.substr(0, order.find("ramp")),
              "noise throughput line\nnoise bola-e\nnoise fixed=2\n"
              "outage throughput line\noutage bola-e\noutage fixed=2\n");
    EXPECT_EQ(std::count(order.begin(), order.end(), '\n'), 15);
}

TEST(Study, TheNumberOfThreadsChangesNoByte) {
    const std::vector<std::string> rules = {"adaptive", "hybrid", "bola-e", "dynamic"};
    const auto lines = test::syntheticLines();
    const std::string one = linesOf(runsOf(lines, optionsWith(rules, 1)));
    EXPECT_EQ(linesOf(runsOf(lines, optionsWith(rules, 2))), one);
    EXPECT_EQ(linesOf(runsOf(lines, optionsWith(rules, 7))), one);
}

TEST(Study, EqualSeedsOfNoiseGiveEqualBytes) {
    StudyOptions options = optionsWith(kRules, 2);
    options.simulation.noise = 0.3;
    const auto lines = test::syntheticLines();
    const std::string one = linesOf(runsOf(lines, options));
    EXPECT_EQ(linesOf(runsOf(lines, options)), one);
    options.simulation.seed = 2;
    EXPECT_NE(linesOf(runsOf(lines, options)), one);
}

TEST(Study, AFastLineHasNoStall) {
    // Rounding at the end of a play is none.
    std::vector<NetworkTrace> lines;
    for (int i = 0; i < 40; ++i)
        lines.push_back(test::lineOf(std::to_string(i), 7,
                                     [i](int second) { return 4000 + 7.3 * i + 11.1 * second; }));
    for (const StudyRun& it : runsOf(lines, optionsWith({"fixed=1", "bola-e"}))) {
        EXPECT_EQ(it.run.figures.stalls, 0) << it.run.trace << " " << it.run.rule;
        EXPECT_EQ(it.run.figures.stallTime, 0);
    }
}

TEST(Study, EndsWhenItsTakerHasEnough) {
    int taken = 0;
    const hastool::Movie movie = test::syntheticMovie(20);
    hastool::runStudy(movie, test::syntheticLines(), optionsWith(kRules, 2),
                      [&](const StudyRun&) { return ++taken < 4; });
    EXPECT_EQ(taken, 4);
}

TEST(Study, ANameThatIsNoRuleIsRefusedAtOnce) {
    EXPECT_NE(errorOf([] {
                  runsOf({}, optionsWith({"throughput", "magic"}));
              }).find("magic"),
              std::string::npos);
}

TEST(StudyRun, ALineComesBackAsItWas) {
    for (const StudyRun& it : runsOf(test::syntheticLines(), optionsWith(kRules))) {
        const std::string line = hastool::toLine(it);
        const StudyRun again = hastool::parseLine(line.substr(0, line.size() - 1), "x");
        EXPECT_EQ(hastool::toLine(again), line);
        EXPECT_EQ(again.run.figures.score, it.run.figures.score);
        EXPECT_EQ(again.run.segments.size(), it.run.segments.size());
    }
}

TEST(StudyRun, WhatIsNoLineSaysWhy) {
    const std::string line =
        hastool::toLine(runsOf({test::syntheticLines()[0]}, optionsWith({"fixed=1"}), 2)[0]);
    const auto trouble = [&](const std::string& part, const std::string& other) {
        std::string text = line;
        text.replace(text.find(part), part.size(), other);
        return errorOf([&] { hastool::parseLine(text, "f:1"); });
    };
    EXPECT_EQ(errorOf([] { hastool::parseLine("x", "f:1"); }),
              "f:1: not a line of \"hastool simulate --json\"");
    EXPECT_EQ(trouble("\"score\"", "\"other\""),
              "f:1: not a line of \"hastool simulate --json\": no \"score\"");
    EXPECT_EQ(trouble("\"movie\":\"", "\"movie\":1,\"other\":\""), "f:1: \"movie\" is no text");
    EXPECT_EQ(trouble("\"segments\":[[", "\"segments\":[[1],["),
              "f:1: a segment that has not 8 values");
    EXPECT_EQ(trouble("\"bitrates\":[230000", "\"bitrates\":[-1"),
              "f:1: not a line of \"hastool simulate --json\": a number is missing");
    EXPECT_EQ(trouble("\"bitrates\":[230000", "\"bitrates\":[99000000000"),
              "f:1: a number that cannot be");
}

TEST(StudyMerge, TwoAndThreePartsMakeTheTableOfTheWhole) {
    const test::TempDir dir;
    const auto whole = runsOf(test::syntheticLines(), optionsWith(kRules));
    for (const size_t parts : {size_t{2}, size_t{3}}) {
        std::vector<std::string> files;
        for (size_t i = parts; i > 0; --i) // in any order
            files.push_back(dir.write(std::to_string(i), shard(i - 1, parts)));
        const auto merged = hastool::loadRuns(files);
        EXPECT_EQ(merged.size(), whole.size());
        for (const bool perTrace : {false, true})
            EXPECT_EQ(hastool::studyText(merged, perTrace), hastool::studyText(whole, perTrace));
    }
}

TEST(StudyMerge, RunsThatDoNotBelongTogetherAreRefused) {
    const test::TempDir dir;
    const std::string one = dir.write("one", shard(0, 2));
    EXPECT_EQ(errorOf([&] {
                  hastool::loadRuns({one, one});
              }),
              one + ":1: a run that was there before");
    StudyOptions options = optionsWith(kRules);
    options.simulation.bufferGoal = std::chrono::seconds(10);
    const std::string other =
        dir.write("other", linesOf(runsOf({test::syntheticLines()[1]}, options)));
    EXPECT_EQ(errorOf([&] {
                  hastool::loadRuns({one, other});
              }),
              other + ":1: a run of other options than the first one");
    EXPECT_EQ(errorOf([&] { hastool::loadRuns({dir.write("empty", "\n")}); }),
              dir.file("empty") + ": no run");
    EXPECT_EQ(errorOf([&] { hastool::loadRuns({dir.write("bad", "\n{\n")}); }),
              dir.file("bad") + ":2: not a line of \"hastool simulate --json\"");
}

TEST(StudyMeans, AreThoseOfTheRuns) {
    const auto runs = runsOf(test::syntheticLines(), optionsWith(kRules));
    double score = 0;
    for (const StudyRun& it : runs)
        score += it.run.rule == "bola-e" ? it.run.figures.score / 5 : 0;
    const auto sets = hastool::meansOf(runs);
    ASSERT_EQ(sets.size(), 1U);
    EXPECT_EQ(sets[0].traces, 5U);
    ASSERT_EQ(sets[0].rules.size(), 3U);
    EXPECT_EQ(sets[0].rules[1].rule, "bola-e");
    EXPECT_STREQ(hastool::studyColumns()[0].name, "score");
    EXPECT_NEAR(sets[0].rules[1].figures[0], score, 1e-12);
}

TEST(StudyMeans, OverAllSetsEachSetCountsAlike) {
    auto traces = test::syntheticLines();
    traces.resize(3);
    traces[2].set = "other";
    const auto runs = runsOf(traces, optionsWith({"fixed=0", "fixed=3"}));
    const auto sets = hastool::meansOf(runs);
    ASSERT_EQ(sets.size(), 2U);
    const hastool::SetMeans all = hastool::overall(sets);
    ASSERT_EQ(all.rules.size(), 2U);
    EXPECT_EQ(all.traces, 3U);
    EXPECT_NEAR(all.rules[1].figures[0],
                (sets[0].rules[1].figures[0] + sets[1].rules[1].figures[0]) / 2, 1e-12);
}

TEST(StudyText, ShowsTheMeansInColumns) {
    StudyRun run;
    run.movie = "film.json";
    run.options = "{}";
    run.bitrates = {1000000};
    run.run.set = "3G";
    run.run.trace = "bus\x1b";
    run.run.rule = "hybrid";
    run.run.figures.score = 1.5;
    run.run.figures.meanBitrate = 2345678;
    run.run.figures.bytes = 300;
    run.run.figures.wasted = 100;
    const std::string text = hastool::studyText({run}, true);
    EXPECT_EQ(text.substr(0, text.find("stall %")),
              "3G, film.json:\ntrace  rule    score  kbit/s  utility  ");
    EXPECT_NE(text.find("\nbus?   hybrid  1.500    2346    0.000     0.00"), std::string::npos)
        << text;
    EXPECT_NE(text.find("\nhybrid       1  1.500    2346    0.000     0.00"), std::string::npos)
        << text;
    EXPECT_NE(text.find("  25.00  "), std::string::npos) << text; // wasted %
}

TEST(Qoe, FollowsItsFormulas) {
    hastool::SimulatedRun run;
    run.figures.stallTime = 0.5;
    run.figures.startup = 0.25;
    for (const size_t stream : {0U, 1U, 1U, 0U}) {
        run.segments.emplace_back();
        run.segments.back().stream = stream;
    }
    const hastool::Qoe qoe = hastool::qoeOf(run, {1000000, 2000000});
    EXPECT_NEAR(qoe.linear, (1000 + 2000 + 2000 + 1000 - 2000 - 3000 * 0.75) / 4, 1e-9);
    EXPECT_NEAR(qoe.logarithmic, (2 * std::log(2) - 2 * std::log(2) - 2.66 * 0.5) / 4, 1e-12);
    EXPECT_EQ(hastool::qoeOf({}, {1}).linear, 0);
}
