#include <hastool/play/EngineFetcher.h>

#include <Hasnet/BandwidthChecker.h>
#include <support/FaultOrigin.h>

#include <chrono>
#include <deque>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

using hastool::EngineFetcher;
using hastool::MemorySink;
using test::Reply;

/// To begin one transfer moves the others on too.
TEST(EngineFetcher, ForgetsATransferThatEndedWhileAnotherWasBegun) {
    test::FaultOrigin origin;
    origin.on("/a", Reply().body("x"));
    hascommon::BandwidthChecker traffic;
    EngineFetcher fetcher({}, traffic);
    MemorySink first(10);
    const auto id = fetcher.begin({origin.url("/a"), std::nullopt}, first);
    std::deque<MemorySink> others;
    while (fetcher.outcome(id) == nullptr) {
        others.emplace_back(10);
        fetcher.begin({origin.url("/a"), std::nullopt}, others.back());
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(first.bytes(), "x");
    fetcher.forget(id);
    fetcher.wait(std::chrono::steady_clock::now() + std::chrono::milliseconds(50));
    fetcher.cancelAll();
}
