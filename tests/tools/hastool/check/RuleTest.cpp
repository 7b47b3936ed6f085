#include <hastool/check/Rule.h>
#include <hastool/check/RuleText.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

using namespace hastool;

TEST(Rules, HaveCodesOfTheirOwn) {
    std::set<std::string> codes;
    for (const auto& rule : allRules()) {
        const std::string code = rule->card().code;
        EXPECT_TRUE(codes.insert(code).second) << code;
        for (const char letter : code)
            EXPECT_TRUE(letter == '-' || std::islower(static_cast<unsigned char>(letter)) != 0 ||
                        std::isdigit(static_cast<unsigned char>(letter)) != 0)
                << code;
    }
}

TEST(Rules, SayWhatIsWrongAndWhatMendsIt) {
    for (const auto& rule : allRules()) {
        const RuleCard& card = rule->card();
        const std::string title = card.title;
        const std::string advice = card.advice;
        EXPECT_GT(title.size(), 10u) << card.code;
        EXPECT_LE(title.size(), 90u) << card.code;
        EXPECT_NE(title.back(), '.') << card.code;
        EXPECT_GT(advice.size(), 30u) << card.code;
        EXPECT_EQ(advice.back(), '.') << card.code;
        EXPECT_NE(std::string(card.clause), "") << card.code;
        EXPECT_EQ((title + advice + card.clause).find_first_of("|\n<>"), std::string::npos)
            << card.code << ": would break the table";
    }
}

TEST(Rules, HaveATestThatBreaksThem) {
    std::string tests;
    for (const auto& entry : std::filesystem::directory_iterator(CHECK_TESTS)) {
        std::ifstream file(entry.path(), std::ios::binary);
        tests.append(std::istreambuf_iterator<char>(file), {});
    }
    for (const auto& rule : allRules()) {
        const std::string code = rule->card().code;
        EXPECT_NE(tests.find('"' + code + '"'), std::string::npos) << code;
    }
}

TEST(Rules, StandInThePageOfAll) {
    const std::string page = rulesAsMarkdown();
    for (const auto& rule : allRules()) {
        const std::string code = rule->card().code;
        EXPECT_NE(page.find("| `" + code + "` |"), std::string::npos) << code;
        EXPECT_NE(page.find("\n### " + code + "\n"), std::string::npos) << code;
    }
}

TEST(Rules, AreSilentWhereThereIsNothing) {
    for (const auto& rule : allRules()) {
        if (std::string(rule->card().code) == "presentation-empty")
            continue;
        Findings findings;
        rule->check(Evidence(), findings);
        EXPECT_TRUE(findings.all().empty()) << rule->card().code;
    }
}

} // namespace
