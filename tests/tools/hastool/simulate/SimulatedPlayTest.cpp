#include "SyntheticStudy.h"

#include <hastool/simulate/RuleBook.h>
#include <hastool/simulate/SimulatedPlay.h>

#include <vector>

#include <gtest/gtest.h>

namespace {

using hastool::SimulatedRun;
using hastool::SimulationOptions;
using hastool::StreamRule;

/// Keeps what it is asked and told; stays at a stream, and gives up where it is told to.
class KeptRule : public StreamRule {
public:
    explicit KeptRule(int stream)
        : m_stream(stream) {}

    void configure(const Setting& it) override { setting = it; }
    int choose(int, const NextSegment& next, const Moment& moment) override {
        questions.push_back(next);
        levels.push_back(moment.buffer);
        return m_stream;
    }
    void begun(int stream, uint64_t bytes, const Moment&) override {
        begins.push_back(stream);
        sizes.push_back(bytes);
    }
    int progress(uint64_t received, const Moment& moment) override {
        looks.push_back(moment.now);
        EXPECT_GT(received, 0U);
        return instead != kStay && begins.back() != instead ? instead : kStay;
    }
    void done(const Arrived& it, const Moment&) override { arrived.push_back(it); }
    void held(Time time) override { holds.push_back(time); }
    bool choosesWhenFull() const override { return isAskedWhenFull; }

    Setting setting;
    bool isAskedWhenFull = false;
    int instead = kStay;
    std::vector<NextSegment> questions;
    std::vector<Time> levels;
    std::vector<int> begins;
    std::vector<uint64_t> sizes;
    std::vector<Time> looks;
    std::vector<Arrived> arrived;
    std::vector<Time> holds;

private:
    const int m_stream;
};

hastool::NetworkTrace evenLine(double kbps) {
    return test::lineOf("even", 10, [kbps](int) { return kbps; });
}

} // namespace

TEST(SimulatedPlay, TellsTheRuleOfEachSegmentInOrder) {
    KeptRule rule(3);
    const auto movie = test::syntheticMovie(20);
    const SimulatedRun run = simulate(movie, evenLine(3000), rule, {});
    ASSERT_EQ(run.segments.size(), 20U);
    EXPECT_EQ(rule.setting.bitrates, movie.bitrates);
    EXPECT_EQ(rule.setting.bufferGoal, std::chrono::seconds(25));
    ASSERT_EQ(rule.questions.size(), 19U); // the first segment is of the lowest stream
    EXPECT_EQ(rule.begins.front(), 0);
    EXPECT_EQ(rule.begins.back(), 3);
    for (size_t i = 0; i < rule.questions.size(); ++i) {
        EXPECT_EQ(rule.questions[i].index, i + 1);
        EXPECT_EQ(rule.questions[i].left, 19 - i);
        EXPECT_EQ(rule.questions[i].bytes, movie.segments[i + 1].bytes);
        EXPECT_EQ(rule.arrived[i + 1].bytes, movie.segments[i + 1].bytes[3]);
        EXPECT_EQ(rule.arrived[i + 1].latency, std::chrono::milliseconds(50));
        EXPECT_EQ(rule.sizes[i + 1], movie.segments[i + 1].bytes[3]);
    }
}

TEST(SimulatedPlay, WaitsUntilTheNextSegmentFits) {
    KeptRule rule(0);
    simulate(test::syntheticMovie(30), evenLine(6000), rule, {});
    EXPECT_FALSE(rule.holds.empty());
    for (const auto level : rule.levels)
        EXPECT_LE(level, std::chrono::seconds(22));
}

TEST(SimulatedPlay, HoldsAtTheGoalAsARealPlayDoes) {
    KeptRule rule(0);
    SimulationOptions options;
    options.hold = SimulationOptions::Hold::Goal;
    simulate(test::syntheticMovie(30), evenLine(6000), rule, options);
    EXPECT_EQ(rule.levels.back(), std::chrono::seconds(25));
}

TEST(SimulatedPlay, ARuleThatIsAskedWhenFullIsAskedBeforeTheHoldOfARealPlay) {
    KeptRule rule(0);
    rule.isAskedWhenFull = true;
    SimulationOptions options;
    options.hold = SimulationOptions::Hold::Goal;
    simulate(test::syntheticMovie(30), evenLine(6000), rule, options);
    EXPECT_GT(rule.levels.back(), std::chrono::seconds(25));
    options.hold = SimulationOptions::Hold::Fit;
    simulate(test::syntheticMovie(30), evenLine(6000), rule, options);
    EXPECT_EQ(rule.levels.back(), std::chrono::seconds(22));
}

TEST(SimulatedPlay, ABufferBelowASegmentHoldsUntilItIsEmpty) {
    KeptRule rule(0);
    SimulationOptions options;
    options.bufferGoal = std::chrono::seconds(1);
    const auto run = simulate(test::syntheticMovie(5), evenLine(6000), rule, options);
    EXPECT_EQ(run.segments.size(), 5U);
    EXPECT_EQ(rule.levels.back(), std::chrono::seconds(0));
}

TEST(SimulatedPlay, WhatIsGivenUpIsWasteAndFetchedOfTheOtherStream) {
    KeptRule rule(5);
    rule.instead = 1;
    const auto movie = test::syntheticMovie(10);
    const auto run = simulate(movie, evenLine(800), rule, {});
    EXPECT_EQ(run.figures.givenUp, 9); // the first segment is never given up
    EXPECT_GT(run.figures.wasted, 0U);
    for (size_t i = 1; i < run.segments.size(); ++i) {
        EXPECT_EQ(run.segments[i].stream, 1U);
        EXPECT_EQ(run.segments[i].bytes, movie.segments[i].bytes[1]);
        EXPECT_EQ(run.segments[i].givenUp, 1);
    }
    EXPECT_EQ(rule.arrived.size(), 10U);
}

TEST(SimulatedPlay, NothingIsGivenUpWhereThatIsOff) {
    KeptRule rule(5);
    rule.instead = 1;
    SimulationOptions options;
    options.abandon = false;
    const auto run = simulate(test::syntheticMovie(10), evenLine(800), rule, options);
    EXPECT_EQ(run.figures.givenUp, 0);
    EXPECT_TRUE(rule.looks.empty());
    EXPECT_EQ(run.segments.back().stream, 5U);
}

TEST(SimulatedPlay, LooksAtATransferEveryFiftyMilliseconds) {
    KeptRule rule(5);
    simulate(test::syntheticMovie(2), evenLine(1000), rule, {});
    ASSERT_GT(rule.looks.size(), 10U);
    for (size_t i = 1; i < rule.looks.size(); ++i)
        EXPECT_EQ(rule.looks[i] - rule.looks[i - 1], std::chrono::milliseconds(50));
}

TEST(SimulatedPlay, AnotherLatencyTakesThePlaceOfTheTraces) {
    KeptRule rule(0);
    SimulationOptions options;
    options.latency = std::chrono::milliseconds(700);
    simulate(test::syntheticMovie(3), evenLine(1000), rule, options);
    EXPECT_EQ(rule.arrived.back().latency, std::chrono::milliseconds(700));
}

TEST(SimulatedPlay, NoiseIsTheSameForTheSameSeed) {
    const auto bytes = [](double noise, uint64_t seed) {
        KeptRule rule(2);
        SimulationOptions options;
        options.noise = noise;
        options.seed = seed;
        simulate(test::syntheticMovie(8), evenLine(1000), rule, options);
        std::vector<uint64_t> result;
        for (const auto& it : rule.arrived)
            result.push_back(it.bytes);
        return result;
    };
    const auto exact = bytes(0, 1);
    const auto off = bytes(0.1, 1);
    EXPECT_EQ(off, bytes(0.1, 1));
    EXPECT_NE(off, bytes(0.1, 2));
    EXPECT_NE(off, exact);
    for (size_t i = 0; i < exact.size(); ++i)
        EXPECT_NEAR(static_cast<double>(off[i]) / static_cast<double>(exact[i]), 1, 0.1001);
}

TEST(SimulatedPlay, EveryRuleGivesTheSameFiguresAgain) {
    const auto movie = test::syntheticMovie(60);
    for (const char* name : {"adaptive", "hybrid", "throughput", "bola", "bola-e", "dynamic"}) {
        for (const auto& line : test::syntheticLines()) {
            const auto first = simulate(movie, line, *hastool::makeRule(name, {}), {});
            const auto again = simulate(movie, line, *hastool::makeRule(name, {}), {});
            EXPECT_EQ(first.figures.score, again.figures.score) << name << ' ' << line.name;
            EXPECT_EQ(first.figures.bytes, again.figures.bytes) << name << ' ' << line.name;
        }
    }
}

/// Its mean is there after five polls of a quarter of a second.
TEST(SimulatedPlay, TheCheckerMissesNoPoll) {
    class Waiting : public KeptRule {
    public:
        using KeptRule::KeptRule;
        int progress(uint64_t, const Moment& moment) override {
            if (measured.count() == 0 && setting.checker->GetCurrentAvgBandwidth() > 0)
                measured = moment.now;
            return kStay;
        }
        Time measured{0};
    };
    Waiting rule(5);
    simulate(test::syntheticMovie(10), evenLine(1000), rule, {});
    EXPECT_GT(rule.measured.count(), 0);
    EXPECT_LE(rule.measured, 5 * std::chrono::milliseconds(251) + std::chrono::milliseconds(100));
}

TEST(SimulatedPlay, AFixedRuleStaysOrTakesTheHighestThatThereIs) {
    const auto movie = test::syntheticMovie(4);
    const auto second = simulate(movie, evenLine(2000), *hastool::makeRule("fixed=1", {}), {});
    EXPECT_EQ(second.segments.back().stream, 1U);
    const auto beyond = simulate(movie, evenLine(2000), *hastool::makeRule("fixed=99", {}), {});
    EXPECT_EQ(beyond.segments.back().stream, 9U);
}
