// Several owner threads do everything at once.
#include <support/EngineTest.h>

#include <random>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using hascommon::Curl;
using hascommon::UnitObject;
using test::EngineTest;
using test::pattern;
using test::Reply;
using test::Stage;

constexpr auto kRunTime = 20s;
constexpr int kSizes = 6;

unsigned long long sizeOf(int kind) {
    constexpr unsigned long long kBytes[kSizes] = {0, 1, 1000, 20000, 300000, 2000000};
    return kBytes[kind];
}

/// One request as its owner sees it; the unit's user data points to it.
struct Job {
    int kind = 0;
    std::unique_ptr<test::BodyChecker> body;
};

class StressOwner : public hascommon::ICurlCB {
public:
    explicit StressOwner(Curl*& engine)
        : m_engine(engine) {}

    void OnDownloadBegin(UnitObject*) override { ++begun; }
    int OnDataReceived(UnitObject* unit, int, unsigned char* data, unsigned int size) override {
        if (++m_calls % 97 == 0)
            return 1;
        auto* job = static_cast<Job*>(m_engine->GetData(unit));
        job->body->add(data, size);
        return 0;
    }
    void OnRedirected(UnitObject*, std::string) override {}

    std::atomic<int> begun{0};

private:
    Curl*& m_engine;
    unsigned int m_calls = 0; // Under the item lock.
};

struct Tally {
    std::atomic<int> accepted{0};
    std::atomic<int> collected{0};
    std::atomic<int> whole{0};
    std::atomic<int> cancelled{0};
    std::atomic<int> broken{0};
};

class CurlStressTest : public ::testing::Test {
protected:
    CurlStressTest() {
        for (int kind = 0; kind < kSizes; ++kind) {
            const Reply plain = Reply().body(pattern(sizeOf(kind)));
            m_origin.on("/" + std::to_string(kind), Reply(plain));
            m_origin.on("/z" + std::to_string(kind), Reply(plain).gzip());
            m_origin.on("/c" + std::to_string(kind), Reply(plain).chunked(5000));
            m_origin.on("/d" + std::to_string(kind), Reply(plain).dripped(100000, 2ms));
        }
    }

    /// One owner thread: begins, disturbs and collects its own units.
    void own(unsigned int seed, Clock::time_point until) {
        std::mt19937 random(seed);
        const auto pick = [&](int n) {
            return static_cast<int>(random() % static_cast<unsigned>(n));
        };
        while (Clock::now() < until) {
            Job job;
            job.kind = pick(kSizes);
            job.body = std::make_unique<test::BodyChecker>(pattern(sizeOf(job.kind)));
            const char* const variants[] = {"/", "/z", "/c", "/d"};
            const std::string path = variants[pick(4)] + std::to_string(job.kind);
            UnitObject* unit = nullptr;
            if (m_curl.BeginDownload2(m_curl.GetRequestKey(), m_origin.url(path), "", pick(2) == 0,
                                      unit, false, &job) != 0 ||
                unit == nullptr)
                continue;
            ++m_tally.accepted;
            for (int step = pick(6); step > 0; --step)
                disturb(unit, pick(8));
            const int code = m_curl.EndDownload(unit);
            // The job lives on this stack, so its unit must be gone before it is.
            ++m_tally.collected;
            if (code == 0 && job.body->complete())
                ++m_tally.whole;
            else if (code == -12)
                ++m_tally.cancelled;
            else
                ++m_tally.broken;
        }
    }

    void disturb(UnitObject* unit, int what) {
        switch (what) {
        case 0:
            m_curl.Pause(unit);
            std::this_thread::yield();
            m_curl.Resume(unit);
            break;
        case 1:
            m_curl.Pause(unit);
            std::this_thread::sleep_for(1ms);
            m_curl.Resume(unit);
            break;
        case 2:
            m_curl.Cancel(unit);
            break;
        case 3:
            m_curl.LockMutItem();
            m_curl.IsPause(unit);
            m_curl.UnlockMutItem();
            break;
        case 4:
            m_curl.SetCookie("u=" + std::to_string(what));
            break;
        default:
            m_curl.IsDownloading(unit);
            m_curl.GetPos(unit);
            std::this_thread::sleep_for(1ms);
            break;
        }
    }

    test::FaultOrigin m_origin;
    Curl* m_pointer = &m_curl;
    StressOwner m_owner{m_pointer};
    test::TrafficRecorder m_traffic;
    Curl m_curl{hascommon::CURL_THREAD_PACED, 500, test::unusedAppId()};
    Tally m_tally;
};

TEST_F(CurlStressTest, NothingIsLostAmongThreeOwners) {
    m_curl.Init(&m_owner, nullptr);
    m_curl.StartLoop();
    const auto until = Clock::now() + kRunTime;
    std::vector<std::thread> owners;
    for (unsigned int i = 0; i < 3; ++i)
        owners.emplace_back([this, i, until] { own(i + 1, until); });
    for (std::thread& owner : owners)
        owner.join();
    EXPECT_EQ(m_tally.broken, 0);
    EXPECT_EQ(m_tally.accepted, m_tally.collected);
    EXPECT_EQ(m_tally.accepted, m_tally.whole + m_tally.cancelled);
    EXPECT_GT(m_tally.whole, 20);
    EXPECT_GT(m_tally.cancelled, 20);
    EXPECT_TRUE(m_curl.IsIdle());
    m_curl.Quit();
}

TEST_F(CurlStressTest, ResetsAndQuitsInTheMiddleLeaveNothingBehind) {
    test::EngineOwner owner;
    owner.countOnly = true;
    m_curl.Init(&owner, &m_traffic);
    m_curl.StartLoop();
    std::atomic<bool> stop{false};
    std::vector<std::thread> owners;
    for (unsigned int i = 0; i < 2; ++i) {
        owners.emplace_back([&, i] {
            std::mt19937 random(i + 10);
            while (!stop) {
                UnitObject* unit = nullptr;
                const std::string path = "/" + std::to_string(random() % kSizes);
                m_curl.BeginDownload2(m_curl.GetRequestKey(), m_origin.url(path), "", false, unit,
                                      false, nullptr);
                if (unit == nullptr)
                    continue;
                disturb(unit, static_cast<int>(random() % 8));
                const int code = m_curl.EndDownload(unit);
                EXPECT_TRUE(code == 0 || code == -12) << code;
                ++m_tally.collected;
            }
        });
    }
    std::mt19937 random(99);
    const auto until = Clock::now() + kRunTime;
    for (int i = 0; Clock::now() < until; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 30));
        if (i % 5 == 4) {
            m_curl.Quit();
            m_curl.StartLoop();
        } else {
            m_curl.Reset();
        }
    }
    stop = true;
    for (std::thread& thread : owners)
        thread.join();
    m_curl.Reset();
    EXPECT_TRUE(m_curl.IsIdle());
    EXPECT_GT(m_tally.collected, 20);
}

} // namespace
