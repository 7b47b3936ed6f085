// A switcher with a checker whose figures the test sets.
#pragma once

#include <Hasnet/AdaptiveSegSwitcher.h>

#include <support/LogCapture.h>

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace test {

using hascommon::AdaptiveSegSwitcher;
using hascommon::bitrateParam_t;

/// A checker whose figures the test sets.
class FixedChecker : public hascommon::IBandwidthChecker {
public:
    bool Start() override { return true; }
    bool Stop() override { return true; }
    bool IsMonitoring() override { return true; }
    void OnPolling(long long) override {}
    void SetMonitorInterval(unsigned int) override {}
    unsigned int GetMonitorInterval() override { return 250; }
    unsigned int GetCurrentBandwidth() override { return current; }
    unsigned int GetBeginingBandwidth() override { return begining; }
    unsigned int GetCurrentMinBandwidth() override { return min; }
    unsigned int GetCurrentAvgBandwidth() override { return avg; }
    unsigned int GetAverageBandwidth() override { return 0; }
    int GetVariationRateBandwidth() override { return 0; }
    unsigned int GetDownloadPerHour() override { return 0; }

    unsigned int current = 0;
    unsigned int begining = 0;
    unsigned int min = 0;
    unsigned int avg = 0;
};

using Ranges = std::vector<std::pair<int, int>>;

class SwitcherTest : public ::testing::Test {
protected:
    void SetUp() override {
        switcher.Init(&checker);
        switcher.ResetData({300000, 800000, 1500000, 3000000}, false);
    }
    /// Entries for the four streams.
    void setGroups(const std::vector<int>& groups, const std::vector<int>& classes) {
        const std::vector<int> bitrates = {300000, 800000, 1500000, 3000000};
        std::vector<bitrateParam_t> params;
        for (size_t i = 0; i < groups.size(); ++i)
            params.push_back({bitrates[i], groups[i], classes[i]});
        switcher.SetBitrateLimit(params, {});
    }
    /// Uses up the two changes of group that need no waiting.
    void useUpGrants() {
        for (int i = 0; i < 2; ++i) {
            int target = 1;
            EXPECT_TRUE(switcher.CheckStreamUp(0, target, 9000));
        }
        log.clear();
    }
    /// Lets the level rise to `level` by a draining buffer.
    void raiseLevelTo(int level) {
        checker.current = 1000;
        unsigned int duration = 7000;
        switcher.ProcessAdaptiveSegLevel(0, duration, true);
        for (int i = 1; i < level; ++i)
            switcher.ProcessAdaptiveSegLevel(0, --duration, false);
        log.clear();
    }
    std::vector<std::string> messages() const { return log.messages("AdaptiveSegSwitcher.cpp"); }

    test::LogCapture log;
    FixedChecker checker;
    AdaptiveSegSwitcher switcher;
};

} // namespace test
