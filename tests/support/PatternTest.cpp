#include <support/Pattern.h>

#include <gtest/gtest.h>

using test::BodyChecker;
using test::pattern;
using test::Pattern;

TEST(Pattern, SlicesAndPartsAgreeAcrossThePeriod) {
    const Pattern body = pattern(3000000, 7);
    const std::string all = body.all();
    ASSERT_EQ(all.size(), 3000000U);
    EXPECT_EQ(all.substr(1048570, 10), body.part(1048570, 10));
    EXPECT_EQ(all.substr(2999990), body.part(2999990, 100));
    EXPECT_EQ(all.substr(2097140, 20), std::string(body.slice(2097140, 20)));
    EXPECT_TRUE(body.slice(3000000, 1).empty());
    EXPECT_EQ(body.part(4000000, 5), "");
}

TEST(Pattern, SeedsGiveDifferentBytes) {
    EXPECT_NE(pattern(64, 1).all(), pattern(64, 2).all());
    EXPECT_EQ(pattern(64, 3).all(), pattern(64, 3).all());
}

TEST(BodyChecker, AcceptsTheBodyInPiecesOfAnySize) {
    const Pattern body = pattern(2500000);
    const std::string all = body.all();
    BodyChecker checker(body);
    for (size_t at = 0, size = 1; at < all.size(); at += size, size = size * 3 + 1)
        checker.add(all.data() + at, std::min(size, all.size() - at));
    EXPECT_TRUE(checker.complete());
}

TEST(BodyChecker, SeesAFlippedByteAMissingPieceAndAnEndTooFar) {
    const Pattern body = pattern(1000);
    std::string all = body.all();
    BodyChecker cut(body);
    cut.add(all.data(), 999);
    EXPECT_TRUE(cut.intact());
    EXPECT_FALSE(cut.complete());
    cut.add(all.data() + 999, 1);
    EXPECT_TRUE(cut.complete());
    cut.add("x", 1);
    EXPECT_FALSE(cut.intact());

    BodyChecker hole(body);
    hole.add(all.data(), 100);
    hole.add(all.data() + 101, 100);
    EXPECT_FALSE(hole.intact());

    all[500] = static_cast<char>(all[500] ^ 1);
    BodyChecker flipped(body);
    flipped.add(all.data(), all.size());
    EXPECT_FALSE(flipped.intact());
}

TEST(BodyChecker, BeginsWhereARangeBegins) {
    const Pattern body = pattern(1000);
    BodyChecker checker(body, 400);
    const std::string rest = body.part(400, 600);
    checker.add(rest.data(), rest.size());
    EXPECT_TRUE(checker.complete());
    EXPECT_EQ(checker.position(), 1000U);
}
