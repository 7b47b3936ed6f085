// A decision of each switcher, for twenty streams.
#include <Hasnet/AdaptiveSegSwitcher.h>
#include <Hasnet/HybridSegSwitcher.h>

#include <benchmark/benchmark.h>

#include <vector>

namespace {

constexpr int kStreams = 20;
constexpr int kStep = 250000; // bits per second between two streams
constexpr unsigned int kBufferMs = 8000;

/// A checker that has measured enough for half of the streams.
class SteadyChecker : public hascommon::IBandwidthChecker {
public:
    bool Start() override { return true; }
    bool Stop() override { return true; }
    bool IsMonitoring() override { return true; }
    void OnPolling(long long) override {}
    void SetMonitorInterval(unsigned int) override {}
    unsigned int GetMonitorInterval() override { return 250; }
    unsigned int GetCurrentBandwidth() override { return kBandwidth; }
    unsigned int GetBeginingBandwidth() override { return kBandwidth; }
    unsigned int GetCurrentMinBandwidth() override { return kBandwidth; }
    unsigned int GetCurrentAvgBandwidth() override { return kBandwidth; }
    unsigned int GetAverageBandwidth() override { return kBandwidth; }
    int GetVariationRateBandwidth() override { return 0; }
    unsigned int GetDownloadPerHour() override { return 0; }

    static constexpr unsigned int kBandwidth = kStreams * kStep / 2;
};

/// Every stream is one of the limits' entries, too.
void setUp(hascommon::IBitrateSwitcher& switcher, hascommon::IBandwidthChecker& checker) {
    std::vector<int> bitrates;
    std::vector<hascommon::bitrateParam_t> params;
    for (int i = 1; i <= kStreams; ++i) {
        bitrates.push_back(i * kStep);
        params.push_back({i * kStep, 1, 1});
    }
    switcher.Init(&checker);
    switcher.SetBitrateLimit(params, {});
    switcher.ResetData(bitrates, false);
}

void decide(benchmark::State& state, hascommon::IBitrateSwitcher& switcher) {
    int current = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(switcher.ProcessAdaptiveSeg(current, kBufferMs));
        current = (current + 7) % kStreams;
    }
}

void adaptiveDecision(benchmark::State& state) {
    SteadyChecker checker;
    hascommon::AdaptiveSegSwitcher switcher;
    setUp(switcher, checker);
    decide(state, switcher);
}
BENCHMARK(adaptiveDecision);

void hybridDecision(benchmark::State& state) {
    SteadyChecker checker;
    hascommon::HybridSegSwitcher switcher;
    setUp(switcher, checker);
    decide(state, switcher);
}
BENCHMARK(hybridDecision);

/// All that a segment costs: sizes, a decision, begin, forty reports and the end.
void hybridSegment(benchmark::State& state) {
    constexpr unsigned int kReports = 40;
    constexpr unsigned long long kBytes = 625000; // 2.5 Mbit/s with 2 s
    SteadyChecker checker;
    hascommon::HybridSegSwitcher switcher;
    setUp(switcher, checker);
    const std::vector<unsigned long long> sizes(kStreams, kBytes);
    long long now = 0;
    for (auto _ : state) {
        switcher.SetNextSizes(sizes);
        benchmark::DoNotOptimize(switcher.ProcessAdaptiveSeg(kStreams - 1, kBufferMs));
        switcher.SegmentBegun(kStreams - 1, kBytes, kBufferMs, now);
        for (unsigned int i = 1; i <= kReports; ++i)
            benchmark::DoNotOptimize(
                switcher.SegmentProgress(kBytes / kReports * i, kBufferMs, now += 50));
        switcher.SegmentDone(kBytes, 30, kBufferMs, now);
    }
}
BENCHMARK(hybridSegment);

} // namespace
