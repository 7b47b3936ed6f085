#include <tools/hastool/ErrorOf.h>

#include <hastool/origin/FaultRules.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

using hastool::Fault;
using hastool::FaultRules;
using test::errorOf;

namespace {

std::optional<Fault> take(FaultRules& rules, const std::string& path,
                          std::optional<uint64_t> segment = {}) {
    return rules.take(path, [=] { return segment; });
}

/// The fault of a rule for everything.
Fault faultOf(const std::string& what) {
    FaultRules rules({"path=/:" + what});
    return take(rules, "/").value();
}

std::string trouble(const std::string& rule) {
    return errorOf([&] { FaultRules rules({rule}); });
}

} // namespace

TEST(FaultRules, HasAFaultForEachWord) {
    EXPECT_EQ(faultOf("404").kind, Fault::Kind::Status);
    EXPECT_EQ(faultOf("404").status, 404);
    EXPECT_EQ(faultOf("400").status, 400);
    EXPECT_EQ(faultOf("599").status, 599);
    EXPECT_EQ(faultOf("reset").kind, Fault::Kind::Reset);
    EXPECT_EQ(faultOf("stall=2.5").kind, Fault::Kind::Stall);
    EXPECT_EQ(faultOf("stall=2.5").seconds, 2.5);
    EXPECT_EQ(faultOf("truncate=1000").kind, Fault::Kind::Truncate);
    EXPECT_EQ(faultOf("truncate=1000").bytes, 1000U);
    EXPECT_EQ(faultOf("truncate=0").bytes, 0U);
}

TEST(FaultRules, MatchTheSegment) {
    FaultRules rules({"seg=7:404"});
    EXPECT_FALSE(take(rules, "/7", 6));
    EXPECT_TRUE(take(rules, "/x", 7));
    EXPECT_FALSE(take(rules, "/7"));
}

TEST(FaultRules, MatchAPartOfThePath) {
    FaultRules rules({"path=audio/a:b:404"});
    EXPECT_TRUE(take(rules, "/d/audio/a:b/1.ts"));
    EXPECT_FALSE(take(rules, "/d/audio/a"));
}

TEST(FaultRules, HoldForEverWithoutACount) {
    FaultRules rules({"seg=1:reset"});
    for (int i = 0; i < 1000; ++i)
        ASSERT_TRUE(take(rules, "/", 1));
}

TEST(FaultRules, HoldAsOftenAsTheySay) {
    FaultRules rules({"seg=1:404*2", "seg=1:503*1"});
    EXPECT_EQ(take(rules, "/", 1)->status, 404);
    EXPECT_FALSE(take(rules, "/", 2));
    EXPECT_EQ(take(rules, "/", 1)->status, 404);
    EXPECT_EQ(take(rules, "/", 1)->status, 503);
    EXPECT_FALSE(take(rules, "/", 1));
}

TEST(FaultRules, TheFirstThatFitsCounts) {
    FaultRules rules({"path=b:404", "path=a:500", "seg=1:503"});
    EXPECT_EQ(take(rules, "ab", 1)->status, 404);
    EXPECT_EQ(take(rules, "a", 1)->status, 500);
    EXPECT_EQ(take(rules, "c", 1)->status, 503);
    EXPECT_FALSE(take(rules, "c", 2));
}

TEST(FaultRules, AskForTheSegmentOnceAndOnlyWhereItMatters) {
    int asked = 0;
    const auto segment = [&] {
        ++asked;
        return std::optional<uint64_t>(9);
    };
    FaultRules paths({"path=x:404"});
    EXPECT_FALSE(paths.take("/y", segment));
    EXPECT_EQ(asked, 0);
    FaultRules both({"path=x:404", "seg=1:404", "seg=2:404"});
    EXPECT_TRUE(both.take("/x", segment));
    EXPECT_EQ(asked, 0);
    EXPECT_FALSE(both.take("/y", segment));
    EXPECT_EQ(asked, 1);
}

TEST(FaultRules, NoRulesNoFaults) {
    FaultRules rules;
    EXPECT_FALSE(take(rules, "/", 1));
}

TEST(FaultRules, TextThatIsNoRuleIsRefusedInOneLine) {
    EXPECT_EQ(trouble("404"), "--fault: not WHICH:WHAT: \"404\"");
    EXPECT_EQ(trouble(""), "--fault: not WHICH:WHAT: \"\"");
    for (const char* const rule : {"seg=0:404", "seg=:404", "seg=x:404", "seg=-1:404", "path=:404",
                                   ":404", "seg=99999999999999999999:404", "segment=1:404"})
        EXPECT_EQ(trouble(rule),
                  "--fault: neither seg=N, from 1, nor path=TEXT: \"" + std::string(rule) + "\"");
    for (const char* const rule : {"seg=1:404*", "seg=1:404*0", "seg=1:reset*-1", "seg=1:reset*x"})
        EXPECT_EQ(trouble(rule),
                  "--fault: not a number of times behind \"*\": \"" + std::string(rule) + "\"");
    for (const char* const rule :
         {"seg=1:", "seg=1:399", "seg=1:600", "seg=1:Reset", "seg=1:stall",
          "seg=1:stall=", "seg=1:stall=-1", "seg=1:stall=nan", "seg=1:stall=1e9",
          "seg=1:stall=86401", "seg=1:truncate=", "seg=1:truncate=1.5", "seg=1:reset=1"})
        EXPECT_EQ(trouble(rule), "--fault: neither a status from 400 to 599, reset, stall=SECONDS "
                                 "nor truncate=BYTES: \"" +
                                     std::string(rule) + "\"");
}
