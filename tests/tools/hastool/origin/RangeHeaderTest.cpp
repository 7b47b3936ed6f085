#include <hastool/origin/RangeHeader.h>

#include <limits>
#include <string>

#include <gtest/gtest.h>

using hastool::answerRange;
using hastool::RangeAnswer;
using Kind = hastool::RangeAnswer::Kind;

namespace {

void expectPart(const std::string& header, uint64_t first, uint64_t length) {
    const RangeAnswer answer = answerRange(header, 1000);
    EXPECT_EQ(answer.kind, Kind::Part) << header;
    EXPECT_EQ(answer.first, first) << header;
    EXPECT_EQ(answer.length, length) << header;
}

} // namespace

TEST(RangeHeader, SelectsAPart) {
    expectPart("bytes=0-99", 0, 100);
    expectPart("bytes=100-100", 100, 1);
    expectPart("bytes=100-", 100, 900);
    expectPart("bytes=0-", 0, 1000);
    expectPart("bytes=-5", 995, 5);
}

TEST(RangeHeader, EndsWithTheFile) {
    expectPart("bytes=990-5000", 990, 10);
    expectPart("bytes=999-18446744073709551615", 999, 1);
    expectPart("bytes=-5000", 0, 1000);
}

TEST(RangeHeader, BeyondTheEndIsNothing) {
    for (const char* const header : {"bytes=1000-", "bytes=1000-2000", "bytes=-0"})
        EXPECT_EQ(answerRange(header, 1000).kind, Kind::Unsatisfiable) << header;
    EXPECT_EQ(answerRange("bytes=0-", 0).kind, Kind::Unsatisfiable);
    EXPECT_EQ(answerRange("bytes=-1", 0).kind, Kind::Unsatisfiable);
}

TEST(RangeHeader, WhateverElseIsTheWholeFile) {
    for (const char* const header :
         {"", "bytes=", "bytes=-", "bytes=a-b", "bytes=5-4", "bytes=1-2,5-6", "lines=1-2", "1-2",
          "bytes=1-2 ", "bytes=99999999999999999999-", "bytes=--5"}) {
        const RangeAnswer answer = answerRange(header, 1000);
        EXPECT_EQ(answer.kind, Kind::Whole) << header;
        EXPECT_EQ(answer.first, 0U);
        EXPECT_EQ(answer.length, 1000U);
    }
}
