#include <tools/hastool/VirtualPlay.h>

#include <support/TempDir.h>

#include <algorithm>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using test::VirtualPlay;

namespace {

const std::vector<int> kBitrates = {300000, 800000, 1600000, 3000000};

/// A play whose line falls to next to nothing for a while.
void addOutage(VirtualPlay& play) {
    play.options.rule = "hybrid";
    play.options.bufferGoal = 10s;
    play.line.rates = {{0ms, 5000000}, {20000ms, 250000}, {40000ms, 5000000}};
}

/// Each segment once, one behind the other.
void expectWhole(const VirtualPlay& play, size_t count) {
    std::vector<uint64_t> numbers;
    for (const auto& row : play.rows) {
        EXPECT_FALSE(row.skipped);
        if (!row.isAudio)
            numbers.push_back(row.index);
    }
    ASSERT_EQ(numbers.size(), count);
    for (size_t i = 0; i < count; ++i)
        EXPECT_EQ(numbers[i], numbers[0] + i);
}

const hastool::TraceRow* findGivenUp(const VirtualPlay& play) {
    const auto found = std::find_if(play.rows.begin(), play.rows.end(),
                                    [](const auto& row) { return row.givenUp > 0; });
    return found != play.rows.end() ? &*found : nullptr;
}

/// What was given up is in the rows, the events and the summary alike.
void expectGivenUp(const VirtualPlay& play) {
    uint64_t givenUp = 0;
    uint64_t wasted = 0;
    for (const auto& row : play.rows) {
        givenUp += static_cast<uint64_t>(row.givenUp);
        wasted += row.wasted;
        EXPECT_EQ(row.givenUp == 0, row.wasted == 0);
    }
    EXPECT_GT(givenUp, 0U);
    EXPECT_EQ(play.summary.givenUp, givenUp);
    EXPECT_EQ(play.summary.wasted, wasted);
    EXPECT_EQ(
        static_cast<uint64_t>(std::count_if(play.events.begin(), play.events.end(),
                                            [](const auto& it) { return it.kind == "give-up"; })),
        givenUp);
}

} // namespace

TEST(GiveUp, AnOutageInASegmentLeadsToALowerStreamOfIt) {
    VirtualPlay play;
    play.addVideo(kBitrates, 40);
    addOutage(play);
    EXPECT_EQ(play.play(), "");
    expectWhole(play, 40);
    expectGivenUp(play);
    const hastool::TraceRow* const row = findGivenUp(play);
    ASSERT_NE(row, nullptr);
    const std::string name = "/" + std::to_string(row->index) + ".ts";
    const std::string lower = "v" + std::to_string(row->stream) + name;
    EXPECT_EQ(play.requestsFor(lower), 1);
    int higher = 0;
    for (size_t i = row->stream + 1; i < kBitrates.size(); ++i)
        higher += play.requestsFor("v" + std::to_string(i) + name);
    EXPECT_EQ(higher, row->givenUp) << "asked for first, of a higher stream";
    EXPECT_STREQ(row->change, "down");
    EXPECT_GT(row->wasted, 0U);
    EXPECT_LT(row->wasted, 750000U);
    EXPECT_EQ(play.requestsFor("v0/39.ts") + play.requestsFor("v1/39.ts") +
                  play.requestsFor("v2/39.ts") + play.requestsFor("v3/39.ts"),
              1);
}

TEST(GiveUp, SparesTheViewerAStall) {
    VirtualPlay patient;
    patient.addVideo(kBitrates, 40);
    addOutage(patient);
    patient.options.rule = "adaptive";
    EXPECT_EQ(patient.play(), "");
    EXPECT_EQ(patient.summary.givenUp, 0U) << "the system's rule never gives up";
    EXPECT_EQ(findGivenUp(patient), nullptr);

    VirtualPlay hasty;
    hasty.addVideo(kBitrates, 40);
    addOutage(hasty);
    EXPECT_EQ(hasty.play(), "");
    EXPECT_LT(hasty.summary.stallTime, patient.summary.stallTime);
    EXPECT_GT(patient.summary.stallTime, 0);
}

TEST(GiveUp, NothingOnASteadyLine) {
    for (const uint64_t rate : {600000U, 1000000U, 2500000U, 9000000U}) {
        VirtualPlay play;
        play.addVideoAndAudio(kBitrates, 60);
        play.options.rule = "hybrid";
        play.line.rates = {{0ms, rate}};
        EXPECT_EQ(play.play(), "");
        expectWhole(play, 60);
        EXPECT_EQ(play.summary.givenUp, 0U) << rate;
        EXPECT_EQ(play.summary.wasted, 0U);
        EXPECT_EQ(play.summary.stalls, 0) << rate;
    }
}
