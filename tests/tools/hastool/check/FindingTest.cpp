#include <hastool/check/Finding.h>

#include <string>

#include <gtest/gtest.h>

namespace {

using namespace hastool;

constexpr RuleCard kBad = {"b-bad", Severity::Error, "a clause", "Bad", "Mend it."};
constexpr RuleCard kWorse = {"a-worse", Severity::Error, "a clause", "Worse", "Mend it."};
constexpr RuleCard kOdd = {"a-odd", Severity::Note, "a clause", "Odd", "Look at it."};

TEST(Findings, ComeTheWorstFirstThenByCode) {
    Findings findings;
    findings.add(kOdd, {}, "1");
    findings.add(kBad, {}, "2");
    findings.add(kWorse, {}, "3");
    findings.add(kBad, {}, "4");
    std::string order;
    for (const Finding& it : findings.sorted())
        order += it.text;
    EXPECT_EQ(order, "3241");
}

TEST(Findings, OfOneRuleInOneRenditionTheFirstAreKeptAndTheOthersCounted) {
    Findings findings;
    for (int i = 0; i < 25; ++i)
        findings.add(kBad, {"one", "", ""}, "x");
    findings.add(kBad, {"two", "", ""}, "x");
    EXPECT_EQ(findings.all().size(), Findings::kMostAlike + 1);
    EXPECT_EQ(findings.count(Severity::Error), 26u);
    EXPECT_EQ(findings.count(Severity::Warning), 0u);
    EXPECT_EQ(findings.more(kBad, "one"), 25 - Findings::kMostAlike);
    EXPECT_EQ(findings.more(kBad, "two"), 0u);
    EXPECT_EQ(findings.more(kOdd, "one"), 0u);
}

TEST(Findings, SeveritiesHaveNames) {
    EXPECT_STREQ(nameOf(Severity::Error), "error");
    EXPECT_STREQ(nameOf(Severity::Warning), "warning");
    EXPECT_STREQ(nameOf(Severity::Note), "note");
}

} // namespace
