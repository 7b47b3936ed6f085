#include <hastool/play/VirtualLine.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using hastool::Clock;
using hastool::MemorySink;
using hastool::Resource;
using hastool::VirtualAnswer;
using hastool::VirtualClock;
using hastool::VirtualLine;

namespace {

/// Keeps what a bandwidth checker would be told.
class Traffic : public hascommon::IDownloadEvent {
public:
    void AddRxTimeInfo(unsigned int rxStart, unsigned int rxEnd, unsigned int size) override {
        bytes += size;
        end = rxEnd;
        if (begin == 0)
            begin = rxStart;
    }
    void ResetRxBaseTime(long long) override { ++resets; }

    uint64_t bytes = 0;
    unsigned int begin = 0;
    unsigned int end = 0;
    int resets = 0;
};

class VirtualLineTest : public testing::Test {
protected:
    VirtualLine& line() {
        if (!m_line)
            m_line.emplace(
                m_options, [this](const Resource&) { return m_answer; }, m_clock, m_traffic);
        return *m_line;
    }
    VirtualLine::Id begin(MemorySink& sink) { return line().begin({"http://line/x", {}}, sink); }
    std::chrono::milliseconds now() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(m_clock.steady() -
                                                                     Clock::TimePoint());
    }
    void wait(std::chrono::milliseconds time) { line().wait(m_clock.steady() + time); }

    VirtualLine::Options m_options{{{0ms, 800000}}, 50ms}; // 100 bytes in a millisecond
    VirtualAnswer m_answer;
    VirtualClock m_clock;
    Traffic m_traffic;
    MemorySink m_first{1u << 20};
    MemorySink m_second{1u << 20};

private:
    std::optional<VirtualLine> m_line;
};

} // namespace

TEST_F(VirtualLineTest, ABodyTakesItsTime) {
    m_answer.size = 20000;
    const auto id = begin(m_first);
    wait(1h);
    EXPECT_EQ(now(), 250ms);
    ASSERT_NE(line().outcome(id), nullptr);
    EXPECT_TRUE(line().outcome(id)->ok);
    EXPECT_EQ(line().outcome(id)->latency, 50ms);
    EXPECT_EQ(line().outcome(id)->time, 250ms);
    EXPECT_EQ(m_first.bytes().size(), 20000U);
    EXPECT_EQ(m_traffic.bytes, 20000U);
    EXPECT_EQ(m_traffic.end - m_traffic.begin, 250U);
}

TEST_F(VirtualLineTest, BytesComeAsTheyAre) {
    m_answer.bytes = "a text";
    begin(m_first);
    wait(1h);
    EXPECT_EQ(m_first.bytes(), "a text");
}

TEST_F(VirtualLineTest, AnEmptyBodyEndsWithItsBegin) {
    const auto id = begin(m_first);
    wait(1h);
    EXPECT_EQ(now(), 50ms);
    EXPECT_TRUE(line().outcome(id)->ok);
}

TEST_F(VirtualLineTest, TransfersShareTheRate) {
    m_answer.size = 20000;
    const auto first = begin(m_first);
    wait(100ms);
    m_answer.size = 5000;
    const auto second = begin(m_second); // its body begins when half of the first one has come
    wait(1h);
    EXPECT_EQ(now(), 250ms);
    EXPECT_NE(line().outcome(second), nullptr);
    EXPECT_EQ(line().outcome(first), nullptr);
    wait(1h);
    EXPECT_EQ(now(), 300ms);
    EXPECT_NE(line().outcome(first), nullptr);
}

TEST_F(VirtualLineTest, TheRateChanges) {
    m_options.rates = {{0ms, 800000}, {150ms, 0}, {1000ms, 80000}};
    m_answer.size = 11000;
    begin(m_first);
    wait(1h);
    EXPECT_EQ(now(), 1100ms);
}

TEST_F(VirtualLineTest, WaitsNoLongerThanItShould) {
    m_answer.size = 20000;
    const auto id = begin(m_first);
    wait(60ms);
    EXPECT_EQ(now(), 60ms);
    EXPECT_EQ(line().outcome(id), nullptr);
    EXPECT_EQ(m_first.bytes().size(), 1000U);
}

TEST_F(VirtualLineTest, NothingComesWhileTransfersAreHeld) {
    m_answer.size = 20000;
    const auto id = begin(m_first);
    wait(60ms);
    const int resets = m_traffic.resets;
    line().hold(true);
    wait(10s);
    EXPECT_EQ(m_first.bytes().size(), 1000U);
    line().hold(false);
    wait(10ms);
    EXPECT_EQ(m_traffic.resets, resets + 1);
    wait(1h);
    EXPECT_NE(line().outcome(id), nullptr);
    EXPECT_EQ(now(), 10250ms);
}

TEST_F(VirtualLineTest, AFailureComesInsteadOfTheBody) {
    m_answer.failure = "HTTP 404";
    m_answer.delay = 100ms;
    const auto id = begin(m_first);
    wait(1h);
    EXPECT_EQ(now(), 150ms);
    EXPECT_FALSE(line().outcome(id)->ok);
    EXPECT_EQ(line().outcome(id)->failure, "HTTP 404");
}

TEST_F(VirtualLineTest, ASinkMayRefuse) {
    MemorySink small(1000);
    m_answer.size = 20000;
    const auto id = begin(small);
    wait(1h);
    ASSERT_NE(line().outcome(id), nullptr);
    EXPECT_FALSE(line().outcome(id)->ok);
    EXPECT_EQ(line().outcome(id)->failure, "more than 0 MiB");
}

TEST_F(VirtualLineTest, EndsWhatIsCancelled) {
    m_answer.size = 20000;
    const auto id = begin(m_first);
    line().cancelAll();
    ASSERT_NE(line().outcome(id), nullptr);
    EXPECT_FALSE(line().outcome(id)->ok);
}
