#include <hastool/play/SegmentWatch.h>
#include <hastool/play/VirtualClock.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using hastool::SegmentWatch;
using hastool::StreamRule;

namespace {

std::string ms(StreamRule::Time time) {
    return std::to_string(time.count() / 1000);
}

/// Writes down what it is told.
class Diary : public StreamRule {
public:
    void configure(const Setting&) override {}
    int choose(int, const NextSegment&, const Moment&) override { return kStay; }
    void begun(int stream, uint64_t bytes, const Moment& moment) override {
        told.push_back("begun " + std::to_string(stream) + ", " + std::to_string(bytes) + " at " +
                       ms(moment.now));
    }
    int progress(uint64_t received, const Moment& moment) override {
        told.push_back(std::to_string(received) + " at " + ms(moment.now));
        return answer;
    }
    void done(const Arrived& arrived, const Moment& moment) override {
        told.push_back("done " + std::to_string(arrived.bytes) + " at " + ms(moment.now));
    }
    void held(Time time) override { told.push_back("held " + ms(time)); }

    std::vector<std::string> told;
    int answer = kStay;
};

class SegmentWatchTest : public testing::Test {
protected:
    void pass(std::chrono::milliseconds time) { m_clock.goTo(m_clock.steady() + time); }
    int progress(uint64_t received, uint64_t expected = 0) {
        return m_watch.progress(received, expected, m_buffer);
    }
    void end(uint64_t bytes) {
        StreamRule::Arrived arrived;
        arrived.bytes = bytes;
        m_watch.end(arrived, m_buffer);
    }
    using Told = std::vector<std::string>;

    hastool::VirtualClock m_clock;
    hastool::PlaybackBuffer m_buffer{1s};
    Diary m_diary;
    SegmentWatch m_watch{m_diary, m_clock};
};

TEST_F(SegmentWatchTest, TellsOfATransferInItsOrder) {
    m_watch.begin(2, 9000, m_buffer);
    pass(50ms);
    EXPECT_EQ(progress(100), StreamRule::kStay);
    m_diary.answer = 1;
    pass(50ms);
    EXPECT_EQ(progress(200), 1);
    m_watch.begin(1, 4000, m_buffer);
    pass(100ms);
    end(4000);
    EXPECT_EQ(m_diary.told, (Told{"begun 2, 9000 at 0", "100 at 50", "200 at 100",
                                  "begun 1, 4000 at 100", "done 4000 at 200"}));
}

TEST_F(SegmentWatchTest, WaitsForTheSizeButNotForLong) {
    m_watch.begin(0, 0, m_buffer);
    pass(100ms);
    progress(0);
    EXPECT_EQ(m_diary.told, Told());
    progress(10, 9000);
    end(9000);
    EXPECT_EQ(m_diary.told, (Told{"begun 0, 9000 at 0", "10 at 100", "done 9000 at 100"}));
    m_diary.told.clear();
    m_watch.begin(0, 0, m_buffer);
    pass(300ms);
    progress(0);
    EXPECT_EQ(m_diary.told, (Told{"begun 0, 0 at 100", "0 at 400"}));
    m_diary.told.clear();
    m_watch.begin(0, 0, m_buffer);
    end(77);
    EXPECT_EQ(m_diary.told, (Told{"begun 0, 77 at 400", "done 77 at 400"}));
}

TEST_F(SegmentWatchTest, HeldTimeIsNoTime) {
    m_watch.begin(0, 9000, m_buffer);
    pass(100ms);
    m_watch.hold(true);
    m_watch.hold(true);
    pass(5s);
    m_diary.answer = 3;
    EXPECT_EQ(progress(10), StreamRule::kStay) << "nothing is asked meanwhile";
    m_watch.hold(false);
    pass(100ms);
    EXPECT_EQ(progress(20), 3);
    m_watch.leaveOut(150ms);
    end(30);
    EXPECT_EQ(m_diary.told,
              (Told{"begun 0, 9000 at 0", "held 5000", "20 at 200", "done 30 at 50"}));
}

} // namespace
