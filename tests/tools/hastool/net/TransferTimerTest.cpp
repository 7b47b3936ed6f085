#include <hastool/net/RequestHeader.h>
#include <hastool/net/TransferTimer.h>
#include <hastool/net/TransferTrace.h>

#include <gtest/gtest.h>

using namespace hastool;
using namespace std::chrono_literals;

namespace {

const TransferTimer::TimePoint kStart{1000h};

TimeLimits limits(std::chrono::milliseconds idle, std::chrono::milliseconds total) {
    TimeLimits result;
    result.idle = idle;
    result.total = total;
    return result;
}

} // namespace

TEST(TransferTimer, KnowsNoLimitOfItsOwn) {
    TransferTimer timer;
    EXPECT_EQ(timer.overdue(limits(1s, 1s), kStart + 100h), "") << "not begun";
    timer.begin(kStart);
    EXPECT_EQ(timer.overdue({}, kStart + 100h), "");
}

TEST(TransferTimer, TellsWhenNoByteCame) {
    TransferTimer timer;
    timer.begin(kStart);
    EXPECT_EQ(timer.overdue(limits(5s, 0s), kStart + 4999ms), "");
    EXPECT_EQ(timer.overdue(limits(5s, 0s), kStart + 5s), "no byte for 5 s, see --timeout");
    timer.progress(kStart + 4s);
    EXPECT_EQ(timer.overdue(limits(5s, 0s), kStart + 8s), "");
    timer.end();
    EXPECT_EQ(timer.overdue(limits(5s, 0s), kStart + 1h), "") << "between two attempts";
    timer.begin(kStart + 1h);
    EXPECT_EQ(timer.overdue(limits(5s, 0s), kStart + 1h + 4s), "");
}

TEST(TransferTimer, CountsAllAttempts) {
    TransferTimer timer;
    timer.begin(kStart);
    timer.end();
    timer.begin(kStart + 9s);
    timer.progress(kStart + 9s);
    EXPECT_EQ(timer.overdue(limits(0s, 10s), kStart + 9999ms), "");
    timer.end();
    EXPECT_EQ(timer.overdue(limits(0s, 10s), kStart + 10s), "not done after 10 s, see --max-time");
    EXPECT_EQ(timer.overdue(limits(0s, 250ms), kStart + 1h),
              "not done after 0.25 s, see --max-time");
}

TEST(TransferTimer, LeavesOutTheTimeItWasHeld) {
    TransferTimer timer;
    timer.begin(kStart);
    timer.hold(1h);
    EXPECT_EQ(timer.overdue(limits(5s, 10s), kStart + 1h + 4s), "");
    EXPECT_NE(timer.overdue(limits(5s, 10s), kStart + 1h + 5s), "");
}

TEST(RequestHeader, IsANameAColonAndAValueOnOneLine) {
    for (const char* line : {"X: 1", "X:1", "X-a.b_c: \t\xC3\xA4", "X:"})
        EXPECT_EQ(troubleOfHeader(line), "") << line;
    for (const char* line : {"", ":", ": 1", "X", "X 1: 1", "X : 1", "X: 1\n", "X: \r", "X\n: 1",
                             "\xC3\xA4: 1", "X: \x7F", "(X): 1"})
        EXPECT_NE(troubleOfHeader(line), "") << line;
    EXPECT_TRUE(isHeaderNamed("accept-ENCODING: x", "Accept-Encoding"));
    EXPECT_FALSE(isHeaderNamed("Accept-Encodings: x", "Accept-Encoding"));
}

TEST(TransferTrace, HidesWhatGivesAccess) {
    EXPECT_EQ(shownHeader("authorization: Basic abc"), "authorization: ...");
    EXPECT_EQ(shownHeader("Proxy-Authorization: x"), "Proxy-Authorization: ...");
    EXPECT_EQ(shownHeader("Cookie:a=1"), "Cookie: ...");
    EXPECT_EQ(shownHeader("Set-Cookie: a=1; Path=/"), "Set-Cookie: ...");
    EXPECT_EQ(shownHeader("Location: /a?token=1"), "Location: /a?...");
    EXPECT_EQ(shownHeader("Location: /a?u=http://b/?token=1"), "Location: /a?...");
    EXPECT_EQ(shownHeader("X-Other: a?b"), "X-Other: a?b");
    EXPECT_EQ(shownHeader("HTTP/1.1 200 OK"), "HTTP/1.1 200 OK");
}
