// No call of a play takes memory: while FailingNew lives, the first allocation would throw.
#include <Hasnet/HybridTest.h>

#include <support/FailingNew.h>

namespace {

class HybridMemoryTest : public test::HybridTest {
protected:
    void SetUp() override {
        HybridTest::SetUp();
        crawl(); // The first line to the log makes what takes the lines.
    }
};

TEST_F(HybridMemoryTest, NoCallOfAPlayTakesMemory) {
    const std::vector<unsigned long long> sizes = {150000, 400000, 750000, kTopBytes};
    int given = 0;
    int chosen = 0;
    bool hasFailed = false;
    {
        const test::FailingNew none(0);
        for (int i = 0; i < 20; ++i) {
            switcher.SetNextSizes(sizes);
            chosen += played(0, 20000);
            given += crawl();
            switcher.SegmentBegun(0, 150000, 5000, now);
            now += 1000;
            switcher.SegmentDone(150000, 20, 8000, now);
            switcher.SetNextSizes({});
            switcher.SetBufferGoal(30000);
            switcher.SetSegmentDuration(0);
            switcher.GetSatisfiedStreamIndex(1000000, 0);
        }
        hasFailed = none.hasFailed();
    }
    EXPECT_FALSE(hasFailed);
    EXPECT_GT(given, -20);
    EXPECT_GT(chosen, 0);
}

} // namespace
