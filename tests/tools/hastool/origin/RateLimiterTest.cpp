#include <hastool/origin/RateLimiter.h>

#include <chrono>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using hastool::RateLimiter;
using hastool::RateProfile;

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

RateProfile profile(const char* text) {
    return RateProfile::parse(text, "p");
}

} // namespace

TEST(RateLimiter, LetsEverythingThroughWithoutAProfile) {
    RateLimiter limiter(std::nullopt);
    const auto begin = Clock::now();
    EXPECT_TRUE(limiter.beginAnswer());
    for (int i = 0; i < 1000; ++i)
        EXPECT_TRUE(limiter.pass(limiter.pieceSize()));
    EXPECT_LT(secondsSince(begin), 5);
}

TEST(RateLimiter, IsNoFasterThanTheProfile) {
    RateLimiter limiter(profile("0,800")); // 100,000 bytes per second
    const auto begin = Clock::now();
    EXPECT_TRUE(limiter.beginAnswer());
    for (int sent = 0; sent < 20000; sent += 1000)
        EXPECT_TRUE(limiter.pass(1000));
    EXPECT_GE(secondsSince(begin), 0.199);
    EXPECT_LT(secondsSince(begin), 2);
}

TEST(RateLimiter, ThreadsShareTheRate) {
    RateLimiter limiter(profile("0,800"));
    const auto begin = Clock::now();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            limiter.beginAnswer();
            for (int sent = 0; sent < 5000; sent += 500)
                limiter.pass(500);
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GE(secondsSince(begin), 0.199);
    EXPECT_LT(secondsSince(begin), 2);
}

TEST(RateLimiter, WaitsTheLatencyBeforeAnAnswer) {
    RateLimiter limiter(profile(R"([{"duration_ms":1000,"bandwidth_kbps":8000,"latency_ms":50}])"));
    const auto begin = Clock::now();
    EXPECT_TRUE(limiter.beginAnswer());
    EXPECT_GE(secondsSince(begin), 0.049);
}

TEST(RateLimiter, WaitsAsLongAsItIsTold) {
    RateLimiter limiter(std::nullopt);
    const auto begin = Clock::now();
    EXPECT_TRUE(limiter.wait(0.05));
    EXPECT_GE(secondsSince(begin), 0.049);
}

TEST(RateLimiter, TheProfileBeginsWithTheFirstAnswer) {
    RateLimiter limiter(profile("0,800\n1,8\n1000000,\n"));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_TRUE(limiter.beginAnswer());
    EXPECT_EQ(limiter.pieceSize(), 1000U) << "of the first rate";
}

TEST(RateLimiter, StopEndsEveryWait) {
    RateLimiter limiter(profile(R"([{"duration_ms":1,"bandwidth_kbps":1,"latency_ms":0},
                                    {"duration_ms":900000,"bandwidth_kbps":0}])"));
    std::vector<std::thread> threads;
    std::vector<char> results(3, 1);
    threads.emplace_back([&] { results[0] = limiter.pass(1000000) ? 1 : 0; });
    threads.emplace_back([&] { results[1] = limiter.wait(1e12) ? 1 : 0; });
    threads.emplace_back([&] {
        limiter.beginAnswer();
        results[2] = limiter.pass(5000) ? 1 : 0;
    });
    limiter.stop();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(results, std::vector<char>(3, 0));
    EXPECT_FALSE(limiter.beginAnswer());
    EXPECT_FALSE(limiter.wait(0));
}
