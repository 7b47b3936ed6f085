// A hybrid switcher with four streams, on a clock that the test moves.
#pragma once

#include <Hasnet/HybridSegSwitcher.h>
#include <Hasnet/SwitcherTest.h>

#include <cstdint>
#include <vector>

namespace test {

using hascommon::HybridSegSwitcher;

class HybridTest : public ::testing::Test {
protected:
    static constexpr int kStay = -1;
    static constexpr int kTop = 3;
    static constexpr unsigned int kSegmentMs = 4000;
    static constexpr unsigned int kGoalMs = 25000;

    void SetUp() override { begin(switcher); }
    void begin(HybridSegSwitcher& one) {
        one.Init(&checker);
        one.ResetData({300000, 800000, 1500000, 3000000}, false);
        one.SetSegmentDuration(kSegmentMs);
    }
    /// A segment of `bytes` comes within `ms`, the first byte after `latencyMs`.
    void fetchBytes(unsigned long long bytes, unsigned int ms, unsigned int latencyMs = 0) {
        switcher.SegmentBegun(0, bytes, 10000, now);
        now += ms;
        switcher.SegmentDone(bytes, latencyMs, 10000 + kSegmentMs - ms, now);
    }
    /// Segments come at a rate, in bits per second.
    void fetch(unsigned int rate, int count = 1, unsigned int ms = 2000) {
        for (int i = 0; i < count; ++i)
            fetchBytes(std::uint64_t{rate} * ms / 8000, ms);
    }
    /// After as many segments of a rate as make the estimate equal to it.
    void settle(unsigned int rate) {
        begin(switcher);
        fetch(rate, 5);
    }
    /// The stream that is played after the choice.
    int played(int current, unsigned int bufferMs) {
        const int next = switcher.ProcessAdaptiveSeg(current, bufferMs);
        return next == kStay ? current : next;
    }
    /// Entries for the four streams.
    void setGroups(const std::vector<int>& groups, const std::vector<int>& classes) {
        const std::vector<int> bitrates = {300000, 800000, 1500000, 3000000};
        std::vector<bitrateParam_t> params;
        for (size_t i = 0; i < groups.size(); ++i)
            params.push_back({bitrates[i], groups[i], classes[i]});
        switcher.SetBitrateLimit(params, {});
    }
    /// A transfer of the top stream, of 12 Mbit, crawls: of 1.2 Mbit/s for 2 s. With 5 s of buffer
    /// it is to be given up.
    int crawl(unsigned int bufferMs = 5000) {
        switcher.SegmentBegun(kTop, kTopBytes, bufferMs + 2000, now);
        now += 2000;
        return switcher.SegmentProgress(300000, bufferMs, now);
    }
    static constexpr unsigned long long kTopBytes = 1500000;
    /// Of a segment of 4 s in each stream.
    const std::vector<unsigned long long> kSizes = {150000, 400000, 750000, kTopBytes};

    FixedChecker checker;
    HybridSegSwitcher switcher;
    long long now = 1000;
};

} // namespace test
