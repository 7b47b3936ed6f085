// How an owner is told that a download has completed.
#include <Hasnet/Curl.h>
#include <support/EngineTest.h>

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include <poll.h>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using hascommon::UnitObject;
using test::EngineTest;
using test::eventually;
using test::Reply;
using test::Stage;

/// What no test waits for unless something is wrong.
constexpr int kLong = 20000;

class CurlCompletionTest : public EngineTest {
protected:
    CurlCompletionTest() {
        origin.on("/a", Reply().body("hello"));
        origin.on("/late", Reply().body("hello").delayed(50ms));
        origin.on("/stall", Reply().stalledAt(Stage::BeforeStatus));
    }

    UnitObject* wait(int timeoutMs) { return engine->WaitCompleted(code, date, timeoutMs); }
    /// Waits for it as a loop of the owner's own would.
    bool isReadable(int timeoutMs = 0) const {
        pollfd completion{engine->CompletionFd(), POLLIN, 0};
        return poll(&completion, 1, timeoutMs) == 1;
    }
    UnitObject* beginStalled() {
        UnitObject* const unit = beginPath("/stall");
        EXPECT_TRUE(origin.waitForRequests("/stall", 1));
        return unit;
    }

    int code = 77;
    long date = 88;
};

TEST_F(CurlCompletionTest, WaitsForTheTransferThread) {
    engine->StartLoop();
    UnitObject* unit = beginPath("/late");
    EXPECT_EQ(wait(kLong), unit);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(engine->EndDownload(unit), 0);
}

TEST_F(CurlCompletionTest, RunsPassesWhereNoThreadDoes) {
    UnitObject* const unit = beginPath("/late");
    EXPECT_EQ(wait(kLong), unit);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(owner.body(unit), "hello");
}

TEST_F(CurlCompletionTest, TellsTheCodeAndTheServersDate) {
    origin.on("/dated", Reply().body("x").header("Date", "Sun, 06 Nov 1994 08:49:37 GMT"));
    engine->StartLoop();
    UnitObject* const unit = beginPath("/dated");
    EXPECT_EQ(wait(-1), unit);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(date, 784111777);
}

TEST_F(CurlCompletionTest, EndsWithTheTimeAndTouchesNothing) {
    for (const bool isLooping : {false, true}) {
        if (isLooping)
            engine->StartLoop();
        const auto begin = Clock::now();
        EXPECT_EQ(wait(30), nullptr);
        EXPECT_GE(Clock::now() - begin, 30ms);
        EXPECT_EQ(wait(0), nullptr);
        EXPECT_EQ(code, 77);
        EXPECT_EQ(date, 88);
    }
}

TEST_F(CurlCompletionTest, AShortWaitIsNotDrawnOutByAPass) {
    beginPath("/stall");
    const auto begin = Clock::now();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(wait(5), nullptr);
    EXPECT_LT(Clock::now() - begin, 3s); // A pass of 300 ms each would be six.
}

TEST_F(CurlCompletionTest, AWaitSeesARequestOfAnotherThread) {
    std::thread other([&] {
        std::this_thread::sleep_for(20ms);
        beginPath("/a");
    });
    EXPECT_NE(wait(kLong), nullptr);
    other.join();
    EXPECT_EQ(code, 0);
}

TEST_F(CurlCompletionTest, ManyThreadsGetUnitsOfTheirOwn) {
    constexpr int kThreads = 4;
    constexpr int kEach = 5;
    engine->StartLoop();
    std::mutex mutex; // guards the units
    std::multiset<UnitObject*> units;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < kEach; ++n) {
                int itsCode = 0;
                long itsDate = 0;
                UnitObject* const unit = engine->WaitCompleted(itsCode, itsDate, kLong);
                const std::lock_guard<std::mutex> lock(mutex);
                units.insert(unit);
            }
        });
    for (int i = 0; i < kThreads * kEach; ++i)
        EXPECT_NE(beginPath("/a"), nullptr);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(units.size(), size_t{kThreads * kEach});
    EXPECT_EQ(std::set<UnitObject*>(units.begin(), units.end()).size(), units.size());
    EXPECT_EQ(units.count(nullptr), 0U);
}

TEST_F(CurlCompletionTest, QuitEndsAWaitForEver) {
    for (const bool hasUnit : {false, true}) {
        engine->StartLoop();
        UnitObject* const stalled = hasUnit ? beginStalled() : nullptr;
        std::vector<UnitObject*> got;
        std::thread waiting([&] {
            int itsCode = 0;
            long itsDate = 0;
            do
                got.push_back(engine->WaitCompleted(itsCode, itsDate, -1));
            while (got.back() != nullptr);
        });
        std::this_thread::sleep_for(20ms);
        engine->Quit();
        waiting.join();
        EXPECT_EQ(got.front(), stalled);
        EXPECT_EQ(got.size(), hasUnit ? 2U : 1U);
    }
}

TEST_F(CurlCompletionTest, AWaitOutlastsAResetAndAStart) {
    engine->StartLoop();
    beginStalled();
    std::atomic<UnitObject*> got{nullptr};
    std::thread waiting([&] {
        int itsCode = 0;
        long itsDate = 0;
        got = engine->WaitCompleted(itsCode, itsDate, kLong);
    });
    engine->Reset();
    engine->StartLoop();
    UnitObject* const unit = beginPath("/a");
    waiting.join();
    EXPECT_EQ(got, unit);
}

TEST_F(CurlCompletionTest, ACallerWithTheItemLockLetsOthersIn) {
    engine->StartLoop();
    engine->LockMutItem();
    engine->LockMutItem();
    UnitObject* const unit = beginPath("/late");
    EXPECT_EQ(wait(kLong), unit);
    engine->UnlockMutItem();
    engine->UnlockMutItem();
}

TEST_F(CurlCompletionTest, ACallbackDoesNotWait) {
    std::atomic<bool> hasWaited{false};
    owner.onData = [&](UnitObject*, const std::string&) {
        int itsCode = 0;
        long itsDate = 0;
        EXPECT_EQ(engine->WaitCompleted(itsCode, itsDate, -1), nullptr);
        hasWaited = true;
        return 0;
    };
    engine->StartLoop();
    UnitObject* const unit = beginPath("/a");
    EXPECT_EQ(wait(kLong), unit);
    EXPECT_TRUE(hasWaited);
}

TEST_F(CurlCompletionTest, TheDescriptorIsReadableWhileAUnitIsToBeHad) {
    const int fd = engine->CompletionFd();
    ASSERT_GE(fd, 0);
    EXPECT_FALSE(isReadable());
    engine->StartLoop();
    beginPath("/a");
    beginPath("/late");
    EXPECT_TRUE(isReadable(kLong));
    EXPECT_NE(wait(kLong), nullptr);
    EXPECT_TRUE(isReadable(kLong)) << "the second one";
    EXPECT_NE(wait(0), nullptr);
    EXPECT_FALSE(isReadable());
    EXPECT_EQ(engine->CompletionFd(), fd);
}

TEST_F(CurlCompletionTest, TheDescriptorGoesOnAcrossResetQuitAndStart) {
    const int fd = engine->CompletionFd();
    for (int i = 0; i < 3; ++i) {
        engine->StartLoop();
        beginPath("/a");
        EXPECT_TRUE(isReadable(kLong));
        engine->Reset();
        EXPECT_FALSE(isReadable()) << "a reset frees what has completed";
        UnitObject* unit = beginPath("/a");
        EXPECT_TRUE(isReadable(kLong));
        engine->Quit();
        EXPECT_TRUE(isReadable()) << "it is still there";
        EXPECT_EQ(engine->EndDownload(unit), 0);
        EXPECT_FALSE(isReadable()) << "collected without the queue";
    }
    EXPECT_EQ(engine->CompletionFd(), fd);
}

TEST_F(CurlCompletionTest, AnEngineThatIsDrivenMakesItReadableInAPass) {
    beginPath("/a");
    while (engine->RunOnce() == 0)
        EXPECT_FALSE(isReadable());
    EXPECT_TRUE(isReadable());
}

TEST_F(CurlCompletionTest, ExtraHeadersGoWithLaterRequests) {
    engine->StartLoop();
    EXPECT_TRUE(engine->SetRequestHeaders({"X-One: 1", "X-Two: two words"}));
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_TRUE(engine->SetRequestHeaders({"X-Two: 2", "Accept:"}));
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_TRUE(engine->SetRequestHeaders({}));
    EXPECT_EQ(fetchPath("/a"), 0);
    const auto requests = origin.requests("/a");
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(requests[0].header("X-One"), "1");
    EXPECT_EQ(requests[0].header("X-Two"), "two words");
    EXPECT_EQ(requests[0].header("Accept"), "*/*");
    EXPECT_EQ(requests[1].header("X-One"), "");
    EXPECT_EQ(requests[1].header("X-Two"), "2");
    EXPECT_EQ(requests[1].header("Accept"), "") << "left out";
    EXPECT_EQ(requests[2].header("X-Two"), "");
}

TEST_F(CurlCompletionTest, ExtraHeadersAreGoneAfterQuit) {
    engine->StartLoop();
    EXPECT_TRUE(engine->SetRequestHeaders({"X-One: 1"}));
    engine->Quit();
    engine->StartLoop();
    EXPECT_EQ(fetchPath("/a"), 0);
    EXPECT_EQ(origin.requests("/a").back().header("X-One"), "");
}

TEST_F(CurlCompletionTest, WhatIsNoHeaderLineChangesNothing) {
    engine->StartLoop();
    EXPECT_TRUE(engine->SetRequestHeaders({"X-One: 1"}));
    for (const char* const line : {"", "no colon", ": no name", "X-Two: 2\r\nX-Three: 3", "X Y: 1",
                                   "X-Two: 2\n", "X-Two: \x01", "\xC3\xA4: 1"})
        EXPECT_FALSE(engine->SetRequestHeaders({"X-Four: 4", line})) << line;
    EXPECT_EQ(fetchPath("/a"), 0);
    const auto request = origin.requests("/a").back();
    EXPECT_EQ(request.header("X-One"), "1");
    EXPECT_EQ(request.header("X-Four"), "");
}

TEST_F(CurlCompletionTest, AuthorizationAndCookieLinesStayWithTheirHost) {
    origin.on("/away", Reply().redirect(origin.url("/a", "localhost")));
    origin.on("/near", Reply().redirect(origin.url("/a")));
    engine->StartLoop();
    EXPECT_TRUE(engine->SetRequestHeaders({"Authorization: secret", "Cookie: s=1", "X-One: 1"}));
    EXPECT_EQ(fetchPath("/near"), 0);
    EXPECT_EQ(fetchPath("/away"), 0);
    const auto requests = origin.requests("/a");
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].header("Authorization"), "secret");
    EXPECT_EQ(requests[0].header("Cookie"), "s=1");
    EXPECT_EQ(requests[1].header("Authorization"), "");
    EXPECT_EQ(requests[1].header("Cookie"), "");
    EXPECT_EQ(requests[1].header("X-One"), "1");
}

} // namespace
