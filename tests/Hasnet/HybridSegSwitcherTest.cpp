#include <Hasnet/HybridSegSwitcher.h>

#include <Hasnet/SwitcherTest.h>

namespace {

using hascommon::HybridSegSwitcher;

constexpr int kStay = -1;
constexpr unsigned int kSegmentMs = 4000;

class HybridSegSwitcherTest : public ::testing::Test {
protected:
    void SetUp() override {
        switcher.Init(&checker);
        switcher.ResetData({300000, 800000, 1500000, 3000000}, false);
        switcher.SetSegmentDuration(kSegmentMs);
    }
    /// A segment comes at a rate, in bits per second.
    void fetch(unsigned int rate, unsigned int ms = 2000, unsigned int bufferMs = 10000) {
        const unsigned long long bytes = std::uint64_t{rate} * ms / 8000;
        switcher.SegmentBegun(0, bytes, bufferMs, now);
        now += ms;
        switcher.SegmentDone(bytes, 0, bufferMs + kSegmentMs - ms, now);
    }
    void fetchMany(unsigned int rate) {
        for (int i = 0; i < 30; ++i)
            fetch(rate);
    }
    /// The stream that is played after the choice.
    int played(int current, unsigned int bufferMs) {
        const int next = switcher.ProcessAdaptiveSeg(current, bufferMs);
        return next == kStay ? current : next;
    }

    test::FixedChecker checker;
    HybridSegSwitcher switcher;
    long long now = 1000;
};

TEST_F(HybridSegSwitcherTest, GoesAnyNumberOfStepsUpAndDown) {
    fetchMany(20000000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(0, 20000), 3);
    fetchMany(350000);
    EXPECT_EQ(switcher.ProcessAdaptiveSeg(3, 2000), 0);
}

TEST_F(HybridSegSwitcherTest, MoreBufferNeverChoosesALowerStream) {
    fetchMany(2000000);
    int last = 0;
    for (unsigned int buffer = 0; buffer <= 40000; buffer += 250) {
        const int next = played(0, buffer);
        EXPECT_GE(next, last) << buffer;
        last = next;
    }
    EXPECT_EQ(played(0, 0), 0);
    EXPECT_GE(last, 2);
}

TEST_F(HybridSegSwitcherTest, GivesUpWhatWouldOutlastTheBuffer) {
    fetchMany(3000000);
    switcher.SegmentBegun(3, 1500000, 6000, now);
    EXPECT_EQ(switcher.SegmentProgress(1000, 5900, now + 100), kStay);
    const int instead = switcher.SegmentProgress(60000, 5000, now + 1000);
    EXPECT_GE(instead, 0);
    EXPECT_LT(instead, 3);
}

} // namespace
