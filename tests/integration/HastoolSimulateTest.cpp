// The comparison of rules as a user runs it.
#include "Browser.h"
#include "Hastool.h"

#include <support/FaultOrigin.h>
#include <support/MediaLadder.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using test::runHastool;
using Result = test::Child::Result;
using Words = std::vector<std::string>;

namespace {

constexpr char kMovie[] = R"({"segment_duration_ms": 2000, "bitrates_kbps": [200, 800, 2400],
    "segment_sizes_bits": [[400000, 1600000, 4800000], [500000, 2000000, 6000000],
    [300000, 1200000, 3600000], [400000, 1600000, 4800000], [400000, 1600000, 4800000]]})";

class HastoolSimulate : public testing::Test {
protected:
    HastoolSimulate() {
        m_dir.write("film.json", kMovie);
        for (int i = 0; i < 5; ++i)
            m_dir.write("3G/" + std::to_string(i),
                        "0," + std::to_string(400 + 500 * i) + "\n3," + std::to_string(900) + "\n");
        m_dir.write("bus/one.json",
                    R"([{"duration_ms": 4000, "bandwidth_kbps": 1500, "latency_ms": 90}])");
    }

    /// Runs it over all traces, with more words behind.
    Result simulate(const Words& words, const std::string& rules = "throughput,fixed=1") const {
        Words all = {"simulate", "--trace", m_dir.file("3G"), m_dir.file("bus"), "--movie"};
        all.insert(all.end(), {m_dir.file("film.json"), "--rule", rules});
        all.insert(all.end(), words.begin(), words.end());
        return runHastool(all);
    }
    std::string shard(const std::string& part) const {
        const Result result = simulate({"--json", "--shard", part});
        EXPECT_EQ(result.status, 0) << result.err;
        return m_dir.write("part" + part.substr(0, 1), result.out);
    }

    test::TempDir m_dir;
};

int statusOf(const Words& words) {
    Words all = {"simulate"};
    all.insert(all.end(), words.begin(), words.end());
    return runHastool(all).status;
}

} // namespace

TEST_F(HastoolSimulate, ShowsTheMeansOfEachSet) {
    const Result result = simulate({});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    for (const char* part :
         {"3G, film.json:\nrule        traces  score  kbit/s  ", "\nthroughput       5  ",
          "\nfixed=1          5  ", "bus, film.json:\n", "\nthroughput       1  ",
          "\nmean of the 2 sets:\n"})
        EXPECT_NE(result.out.find(part), std::string::npos) << part << result.out;
    EXPECT_EQ(result.out.find("\n0  "), std::string::npos);
    const Result each = simulate({"--per-trace"});
    EXPECT_NE(each.out.find("\n4      fixed=1 "), std::string::npos) << each.out;
    EXPECT_EQ(test::lines(each.out), test::lines(result.out) + 12 + 2 * 2);
}

TEST_F(HastoolSimulate, AllRulesAreThereUnlessOthersAreNamed) {
    const Result result =
        runHastool({"simulate", "--trace", m_dir.file("3G/2"), "--movie", m_dir.file("film.json")});
    ASSERT_EQ(result.status, 0) << result.err;
    for (const char* rule : {"adaptive", "hybrid", "throughput", "bola-e", "dynamic"})
        EXPECT_NE(result.out.find("\n" + std::string(rule) + " "), std::string::npos) << rule;
}

TEST_F(HastoolSimulate, PrintsALineOfJsonForEachRun) {
    const Result result = simulate({"--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(test::lines(result.out), 12);
    const json first = json::parse(result.out.substr(0, result.out.find('\n')));
    EXPECT_EQ(first["set"], "3G");
    EXPECT_EQ(first["trace"], "0");
    EXPECT_EQ(first["rule"], "throughput");
    EXPECT_EQ(first["movie"], "film.json");
    EXPECT_EQ(first["segments"].size(), 5U);
    EXPECT_EQ(first["bitrates"], (json{200000, 800000, 2400000}));
    EXPECT_NEAR(first["figures"]["score"].get<double>(),
                first["figures"]["utility"].get<double>() -
                    5 * first["figures"]["stall_ratio"].get<double>(),
                1e-9);
}

TEST_F(HastoolSimulate, PartsMakeTheSameTableAsTheWhole) {
    const std::string whole = simulate({"--per-trace"}).out;
    for (const Words& parts : {Words{"1/2", "2/2"}, Words{"1/3", "3/3", "2/3"}}) {
        Words words = {"simulate", "--per-trace", "--merge"};
        for (const std::string& part : parts)
            words.push_back(shard(part));
        const Result merged = runHastool(words);
        EXPECT_EQ(merged.status, 0) << merged.err;
        EXPECT_EQ(merged.out, whole);
    }
}

TEST_F(HastoolSimulate, TheNumberOfJobsChangesNoByte) {
    const Words options = {"--set", "noise=0.2", "--set", "seed=7", "--json"};
    Words one = options;
    one.insert(one.end(), {"--jobs", "1"});
    Words two = options;
    two.insert(two.end(), {"--jobs", "2"});
    const Result result = simulate(one);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(simulate(two).out, result.out);
    EXPECT_NE(simulate({"--set", "noise=0.2", "--set", "seed=8", "--json"}).out, result.out);
}

TEST_F(HastoolSimulate, ThePageIsTheSameOfPartsAndDrawsItsCharts) {
    const std::string page = m_dir.file("study.html");
    ASSERT_EQ(simulate({"--report", page}).status, 0);
    const std::string whole = test::readFile(page);
    ASSERT_EQ(
        runHastool({"simulate", "--merge", shard("2/2"), shard("1/2"), "--report", page}).status,
        0);
    EXPECT_TRUE(test::readFile(page) == whole);

    const test::LoadedPage loaded = test::Browser().load("file://" + page);
    EXPECT_EQ(loaded.console, "");
    const std::string& dom = loaded.dom;
    const std::string charts = dom.substr(std::min(dom.find("id=\"distributions\""), dom.size()));
    for (const char* name : {"score", "kbit/s", "stall %", "change"})
        EXPECT_NE(charts.find("Distribution of " + std::string(name)), std::string::npos) << name;
    for (const char* part : {"<path class=\"rule rule-0", "<path class=\"rule rule-1",
                             "<path class=\"line-rate\" d=\"M", "<option value=\"1/0\">one.json"})
        EXPECT_NE(charts.find(part), std::string::npos) << part;
    EXPECT_EQ(dom.find("NaN"), std::string::npos);
    EXPECT_EQ(dom.find("undefined</"), std::string::npos);
}

TEST_F(HastoolSimulate, PlaysWhatAnyServerHasOverALineThatAPlayHasTold) {
    const test::MediaLadder ladder(m_dir.path() / "v", test::MediaLadder::Format::TransportStream,
                                   8, {100, 300});
    test::FaultOrigin origin;
    origin.serve("/v/", ladder.folder().string());
    origin.limitRate(60000);
    const std::string url = origin.url("/v/master.m3u8");
    const std::string trace = m_dir.file("play.csv");
    const Result played = runHastool({"play", "--fast", "--trace", trace, url});
    ASSERT_EQ(played.status, 0) << played.err;
    std::vector<std::string> environment = test::hastoolEnvironment();
    environment.push_back("XDG_CACHE_HOME=" + m_dir.file("cache"));
    const auto command = test::hastoolCommand(
        {"simulate", "--trace", trace, "--movie", url, "--rule", "fixed=0", "--json"});
    const Result first = test::run(command, environment);
    ASSERT_EQ(first.status, 0) << first.err;
    const json run = json::parse(first.out);
    EXPECT_EQ(run["segments"].size(), 4U);
    EXPECT_EQ(run["bitrates"].size(), 2U);
    const size_t requests = origin.requests().size();
    EXPECT_EQ(test::run(command, environment).out, first.out); // the sizes are known by now
    EXPECT_EQ(origin.requests().size(), requests);
}

TEST_F(HastoolSimulate, WrongUsageSaysWhatIsWrong) {
    const std::string film = m_dir.file("film.json");
    const std::string trace = m_dir.file("3G");
    EXPECT_EQ(statusOf({}), 2);
    EXPECT_EQ(statusOf({"--trace", trace}), 2);
    EXPECT_EQ(statusOf({"--movie", film}), 2);
    EXPECT_EQ(statusOf({"--trace", trace, "--movie", film, "--merge", film}), 2);
    for (const Words& words :
         {Words{"--shard", "0/2"}, Words{"--shard", "3/2"}, Words{"--shard", "1"},
          Words{"--jobs", "0"}, Words{"--buffer", "0"}, Words{"--latency", "-1"},
          Words{"--set", "magic=1"}, Words{"--set", "noise=2"}, Words{"--set", "noise"},
          Words{"--set", "hold=never"}, Words{"--set", "seed=x"}}) {
        const Result result = simulate(words);
        EXPECT_EQ(result.status, 2) << words[0] << " " << words[1];
        EXPECT_NE(result.err, "");
    }
    for (const char* rules : {"magic", "", ",", "hybrid,fixed=x"})
        EXPECT_EQ(simulate({}, rules).status, 2) << rules;
    EXPECT_EQ(simulate({}, "magic").err, "hastool: --rule: not a rule: \"magic\"\n");
}

TEST_F(HastoolSimulate, WhatCannotBeReadFailsWithItsPlace) {
    const std::string film = m_dir.file("film.json");
    const std::string bad = m_dir.write("bad", "0 1\nx\n");
    const Result result = runHastool({"simulate", "--trace", bad, "--movie", film});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "hastool: " + bad + ":2: not a time in seconds and a rate in Mbit/s: \"x\"\n");
    EXPECT_EQ(statusOf({"--trace", m_dir.file("none"), "--movie", film}), 1);
    EXPECT_EQ(statusOf({"--trace", m_dir.file("3G"), "--movie", bad}), 1);
    EXPECT_EQ(statusOf({"--merge", bad}), 1);
    EXPECT_EQ(statusOf({"--merge", m_dir.file("none")}), 1);
}
