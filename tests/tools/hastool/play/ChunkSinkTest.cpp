#include <tools/hastool/LiveFolder.h>

#include <hastool/media/FragmentChunks.h>
#include <hastool/play/ChunkSink.h>
#include <hastool/play/PacedTraffic.h>

#include <tuple>
#include <vector>

#include <gmock/gmock.h>

using hastool::ChunkSink;
using hastool::MemorySink;
using hastool::PacedTraffic;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::string chunkedSegment() {
    std::string text;
    for (const auto& it : hastool::cutFragments(test::liveSegment('a', 0),
                                                hastool::readInitTracks(test::liveInit()), 0.5))
        text += it.bytes;
    return text;
}

class ChunkSinkTest : public ::testing::Test {
protected:
    bool write(std::string_view bytes) {
        return m_sink.write(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    }

    MemorySink m_target{10000};
    int m_waits = 0;
    ChunkSink m_sink{m_target, hastool::readInitTracks(test::liveInit()), [this] { ++m_waits; }};
};

TEST_F(ChunkSinkTest, CountsChunksThatAreWhole) {
    const std::string text = chunkedSegment();
    double seconds = 0;
    for (const char byte : text) {
        write({&byte, 1});
        const ChunkSink::Arrived now = m_sink.arrived();
        EXPECT_GE(now.seconds, seconds);
        if (now.seconds > seconds) {
            EXPECT_EQ(now.bytes, m_target.bytes().size());
            EXPECT_NEAR(now.seconds - seconds, 0.5, 1e-9);
        }
        seconds = now.seconds;
    }
    EXPECT_NEAR(seconds, 2, 1e-9);
    EXPECT_EQ(m_target.bytes(), text);
}

TEST_F(ChunkSinkTest, TellsOfBytesThatBeginAChunk) {
    const std::string text = chunkedSegment();
    const size_t second = text.find("moof", text.find("mdat")) - 4;
    write(text.substr(0, 50));
    write(text.substr(50, second - 50));
    EXPECT_EQ(m_waits, 1);
    write(text.substr(second, 1));
    EXPECT_EQ(m_waits, 2);
    write(text.substr(second + 1));
    EXPECT_EQ(m_waits, 2);
}

TEST_F(ChunkSinkTest, CountsNothingOfWhatIsNoMp4) {
    for (const std::string& text :
         {std::string("no boxes at all"), test::be(0) + "mdat" + std::string(99, 'x')}) {
        write(text);
        write(text);
    }
    EXPECT_EQ(m_sink.arrived().seconds, 0);
}

TEST_F(ChunkSinkTest, RefusesWhatItsTargetRefuses) {
    EXPECT_FALSE(write(std::string(10001, 'x')));
    EXPECT_FALSE(m_sink.failure().empty());
}

/// Keeps what the bandwidth checker would be told.
class Told : public hascommon::IDownloadEvent {
public:
    void AddRxTimeInfo(unsigned int start, unsigned int end, unsigned int bytes) override {
        all.emplace_back(start, end, bytes);
    }
    void ResetRxBaseTime(long long) override { ++resets; }

    std::vector<std::tuple<unsigned, unsigned, unsigned>> all;
    int resets = 0;
};

TEST(PacedTrafficTest, HandsEverythingOnWhileNothingIsPaced) {
    Told told;
    PacedTraffic traffic(told);
    traffic.AddRxTimeInfo(1, 5, 100);
    traffic.waited();
    traffic.flush();
    EXPECT_THAT(told.all, ElementsAre(std::tuple(1U, 5U, 100U)));
}

TEST(PacedTrafficTest, WaitsForTheEncoderDoNotCount) {
    Told told;
    PacedTraffic traffic(told);
    traffic.begin();
    for (unsigned time = 1000; time <= 3000;
         time += 1000) { // a chunk each second, at 10 kB in 20 ms
        traffic.AddRxTimeInfo(time - 980, time, 1460);
        traffic.waited();
        traffic.AddRxTimeInfo(time, time + 10, 5000);
        traffic.AddRxTimeInfo(time + 10, time + 20, 5000);
    }
    EXPECT_THAT(told.all, IsEmpty());
    traffic.flush();
    EXPECT_THAT(told.all, ElementsAre(std::tuple(2960U, 3020U, 30000U)));
    traffic.flush();
    EXPECT_EQ(told.all.size(), 1U);
}

TEST(PacedTrafficTest, TimeOfTransfersBesideEachOtherCountsOnce) {
    Told told;
    PacedTraffic traffic(told);
    traffic.begin();
    traffic.AddRxTimeInfo(100, 200, 1000);
    traffic.AddRxTimeInfo(150, 250, 1000);
    traffic.AddRxTimeInfo(120, 240, 1000);
    traffic.end();
    EXPECT_THAT(told.all, ElementsAre(std::tuple(100U, 250U, 3000U)));
}

TEST(PacedTrafficTest, NewTimeBaseDropsWhatWasGathered) {
    Told told;
    PacedTraffic traffic(told);
    traffic.begin();
    traffic.AddRxTimeInfo(100, 200, 1000);
    traffic.ResetRxBaseTime(300);
    traffic.end();
    EXPECT_THAT(told.all, IsEmpty());
    EXPECT_EQ(told.resets, 1);
}

} // namespace
