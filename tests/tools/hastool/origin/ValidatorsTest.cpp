#include <hastool/origin/Validators.h>
#include <support/TempDir.h>

#include <map>

#include <gtest/gtest.h>

using hastool::Validators;
using Verdict = hastool::Validators::Verdict;

namespace {

constexpr int64_t kTime = 784111777;
constexpr char kDate[] = "Sun, 06 Nov 1994 08:49:37 GMT";
constexpr char kLater[] = "Sun, 06 Nov 1994 08:49:38 GMT";
constexpr char kEarlier[] = "Sun, 06 Nov 1994 08:49:36 GMT";

using Headers = std::map<std::string, std::string>;

Validators::Header from(const Headers& headers) {
    return [headers](const std::string& name) {
        const auto found = headers.find(name);
        return found != headers.end() ? found->second : std::string();
    };
}
Verdict judge(const Headers& headers) {
    return Validators("\"a\"", kTime).judge(from(headers));
}
bool allowsRange(const std::string& condition) {
    return Validators("\"a\"", kTime).allowsRange(from({{"If-Range", condition}}));
}

} // namespace

TEST(Validators, WithoutAConditionEveryRequestGoesOn) {
    EXPECT_EQ(judge({}), Verdict::Go);
    EXPECT_TRUE(allowsRange(""));
}

TEST(Validators, ATagThatIsListedIsNotModified) {
    for (const char* list : {"\"a\"", "W/\"a\"", "\"x\", \"a\"", "\"x\",W/\"a\"", "*"})
        EXPECT_EQ(judge({{"If-None-Match", list}}), Verdict::NotModified) << list;
    for (const char* list : {"\"b\"", "a", "\"a", "\"xa\"", "\"x\", \"\""})
        EXPECT_EQ(judge({{"If-None-Match", list}}), Verdict::Go) << list;
}

TEST(Validators, ATimeThatIsNotOverIsNotModified) {
    for (const char* date :
         {kDate, kLater, "Sunday, 06-Nov-94 08:49:37 GMT", "Sun Nov  6 08:49:37 1994"})
        EXPECT_EQ(judge({{"If-Modified-Since", date}}), Verdict::NotModified) << date;
    for (const char* date : {kEarlier, "yesterday", "Sun, 06 Nov 1994 08:49:37 GMT+1"})
        EXPECT_EQ(judge({{"If-Modified-Since", date}}), Verdict::Go) << date;
}

TEST(Validators, ATagCountsBeforeATime) {
    EXPECT_EQ(judge({{"If-None-Match", "\"b\""}, {"If-Modified-Since", kLater}}), Verdict::Go);
    EXPECT_EQ(judge({{"If-None-Match", "\"a\""}, {"If-Modified-Since", kEarlier}}),
              Verdict::NotModified);
}

TEST(Validators, WhatMustBeTheSameFailsWhenItIsNot) {
    EXPECT_EQ(judge({{"If-Match", "\"a\""}}), Verdict::Go);
    EXPECT_EQ(judge({{"If-Match", "*"}}), Verdict::Go);
    EXPECT_EQ(judge({{"If-Match", "\"b\""}}), Verdict::Failed);
    EXPECT_EQ(judge({{"If-Match", "W/\"a\""}}), Verdict::Failed) << "a weak tag is never the same";
    EXPECT_EQ(judge({{"If-Unmodified-Since", kDate}}), Verdict::Go);
    EXPECT_EQ(judge({{"If-Unmodified-Since", kEarlier}}), Verdict::Failed);
    EXPECT_EQ(judge({{"If-Match", "\"a\""}, {"If-Unmodified-Since", kEarlier}}), Verdict::Go);
    EXPECT_EQ(judge({{"If-Match", "\"b\""}, {"If-None-Match", "\"a\""}}), Verdict::Failed);
}

TEST(Validators, ARangeHoldsForTheSameFileOnly) {
    EXPECT_TRUE(allowsRange("\"a\""));
    EXPECT_TRUE(allowsRange(kDate));
    for (const char* condition : {"\"b\"", "W/\"a\"", kEarlier, kLater, "never"})
        EXPECT_FALSE(allowsRange(condition)) << condition;
}

TEST(Validators, AreThoseOfTheFile) {
    const test::TempDir dir;
    const Validators first(dir.write("a", "1"));
    EXPECT_EQ(Validators("\"a\"", kTime).lastModified(), kDate);
    EXPECT_EQ(first.etag(), Validators(dir.file("a")).etag());
    EXPECT_NE(first.etag(), Validators(dir.write("a", "12")).etag());
    EXPECT_EQ(Validators(dir.file("none")).etag(), "");
    EXPECT_EQ(Validators(dir.file("none")).judge(from({{"If-None-Match", "*"}})), Verdict::Go);
}
