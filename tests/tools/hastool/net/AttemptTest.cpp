#include <hastool/net/Attempt.h>

#include <gtest/gtest.h>

using hastool::Attempt;
using hastool::cacheFields;
using hastool::keepAttempt;

TEST(Attempt, TellsWhatTheServerSaysOfCaches) {
    EXPECT_EQ(cacheFields("HTTP/1.1 200 OK\r\nAge: 5\r\nX: y\r\nvia: 1.1 edge\r\n"
                          "Cache-Control: max-age=2\r\nx-cache: HIT\r\n\r\n"),
              "Cache-Control: max-age=2; Age: 5; X-Cache: HIT; Via: 1.1 edge");
    EXPECT_EQ(cacheFields("HTTP/1.1 200 OK\r\n\r\n"), "");
    EXPECT_EQ(cacheFields(""), "");
}

TEST(Attempt, TheLastResponseCounts) {
    EXPECT_EQ(cacheFields("HTTP/1.1 302 Found\r\nAge: 5\r\n\r\nHTTP/1.1 200 OK\r\nAge: 7\r\n\r\n"),
              "Age: 7");
}

TEST(Attempt, OfTooManyTheLastOnesAreKept) {
    std::vector<Attempt> attempts;
    for (size_t i = 0; i < hastool::kMostAttempts + 3; ++i) {
        Attempt it;
        it.bytes = i;
        keepAttempt(attempts, it);
    }
    ASSERT_EQ(attempts.size(), hastool::kMostAttempts);
    EXPECT_EQ(attempts.front().bytes, 3U);
}
