#include <Hascommon/Thread.h>
#include <support/LogCapture.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include <sys/resource.h>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define HAS_THREAD_SANITIZER
#endif
#endif

namespace {

struct Body {
    std::atomic<int> calls{0};
    std::atomic<int> wanted{1};
    std::atomic<bool> ended{false};
    std::atomic<std::thread::id> thread{};
};

bool countCalls(void* argument) {
    auto* body = static_cast<Body*>(argument);
    body->thread = std::this_thread::get_id();
    const bool again = ++body->calls < body->wanted;
    if (!again)
        body->ended = true;
    return again;
}

void waitFor(const std::atomic<bool>& flag) {
    while (!flag)
        std::this_thread::yield();
}

TEST(Thread, BodyThatReturnsFalseEndsTheThreadAfterOneCall) {
    Body body;
    hascommon::Thread thread;
    EXPECT_FALSE(thread.IsThread());
    ASSERT_TRUE(thread.Create(countCalls, &body));
    EXPECT_TRUE(thread.IsThread());
    void* result = &body;
    EXPECT_TRUE(thread.Join(&result));
    EXPECT_EQ(result, nullptr);
    EXPECT_FALSE(thread.IsThread());
    EXPECT_EQ(body.calls, 1);
    EXPECT_NE(body.thread.load(), std::this_thread::get_id());
}

TEST(Thread, BodyIsCalledAgainWhileItReturnsTrue) {
    Body body;
    body.wanted = 1000;
    hascommon::Thread thread;
    ASSERT_TRUE(thread.Create(countCalls, &body));
    EXPECT_TRUE(thread.Join(nullptr));
    EXPECT_EQ(body.calls, 1000);
}

TEST(Thread, JoinAndDetachWithoutAThreadAreTrueAndLogNothing) {
    test::LogCapture log;
    hascommon::Thread thread;
    EXPECT_TRUE(thread.Join(nullptr));
    EXPECT_TRUE(thread.Detach());
    EXPECT_TRUE(log.lines().empty());
}

TEST(Thread, DetachedThreadRunsOnAndIsNoLongerCounted) {
    Body body;
    body.wanted = 1 << 30;
    hascommon::Thread thread;
    ASSERT_TRUE(thread.Create(countCalls, &body));
    EXPECT_TRUE(thread.Detach());
    EXPECT_FALSE(thread.IsThread());
    const int seen = body.calls;
    while (body.calls <= seen)
        std::this_thread::yield();
    body.wanted = 0;
    waitFor(body.ended);
}

TEST(Thread, CreateTwiceDetachesTheFirstThreadAndJoinWaitsForTheSecond) {
    // Both threads read the function and its argument anew each time, so one body ends them both.
    struct Both {
        std::atomic<int> ended{0};
        std::atomic<bool> stop{false};
    } both;
    const auto body = [](void* argument) {
        auto* state = static_cast<Both*>(argument);
        if (!state->stop) {
            std::this_thread::yield();
            return true;
        }
        ++state->ended;
        return false;
    };
    hascommon::Thread thread;
    ASSERT_TRUE(thread.Create(body, &both));
    ASSERT_TRUE(thread.Create(body, &both));
    EXPECT_TRUE(thread.IsThread());
    both.stop = true;
    EXPECT_TRUE(thread.Join(nullptr));
    while (both.ended < 2)
        std::this_thread::yield();
    EXPECT_EQ(both.ended, 2);
}

TEST(Thread, ObjectCanBeUsedAgainAfterJoin) {
    Body body;
    hascommon::Thread thread;
    ASSERT_TRUE(thread.Create(countCalls, &body));
    ASSERT_TRUE(thread.Join(nullptr));
    ASSERT_TRUE(thread.Create(countCalls, &body));
    ASSERT_TRUE(thread.Join(nullptr));
    EXPECT_EQ(body.calls, 2);
}

#ifndef HAS_THREAD_SANITIZER // Which rightly reports the thread that nobody can join any more.
TEST(Thread, FailedJoinLogsTheErrorAndClearsTheFlag) {
    // A thread that joins itself is told EDEADLK.
    struct Self {
        hascommon::Thread thread;
        std::atomic<bool> joined{true};
        std::atomic<bool> ready{false};
        std::atomic<bool> done{false};
    } self;
    test::LogCapture log;
    const auto body = [](void* argument) {
        auto* state = static_cast<Self*>(argument);
        waitFor(state->ready);
        state->joined = state->thread.Join(nullptr);
        state->done = true;
        return false;
    };
    ASSERT_TRUE(self.thread.Create(body, &self));
    self.ready = true;
    waitFor(self.done);
    EXPECT_FALSE(self.joined);
    EXPECT_FALSE(self.thread.IsThread());
    const test::LogLine line = log.find("thread::join => fail, " + std::to_string(EDEADLK));
    EXPECT_EQ(line.file, "Thread.cpp");
    EXPECT_EQ(line.function, "Join");
    EXPECT_EQ(line.priority, 4);
}
#endif

} // namespace
