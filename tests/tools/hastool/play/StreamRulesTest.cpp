#include <hastool/base/ToolError.h>
#include <hastool/play/HybridRule.h>
#include <hastool/play/StreamRules.h>
#include <hastool/play/SwitcherRule.h>

#include <support/TempDir.h>

#include <tools/hastool/ErrorOf.h>

#include <dlfcn.h>

#include <gtest/gtest.h>

using namespace hastool;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

std::string library(const std::string& name) {
    return std::string(TEST_RULES) + "/" + name + ".so";
}

std::string failureOf(const std::string& name) {
    return test::errorOf([&] { makeStreamRule(name); });
}

template<typename Rule>
bool is(const std::unique_ptr<StreamRule>& rule) {
    return dynamic_cast<Rule*>(rule.get()) != nullptr;
}

StreamRule::Setting setting() {
    StreamRule::Setting result;
    result.bitrates = {300000, 800000, 1600000};
    result.bufferGoal = seconds(30);
    return result;
}

} // namespace

TEST(StreamRules, AreKnownByName) {
    EXPECT_TRUE(isStreamRule("adaptive"));
    EXPECT_TRUE(isStreamRule("hybrid"));
    EXPECT_TRUE(isStreamRule("own.so"));
    EXPECT_FALSE(isStreamRule(".so"));
    EXPECT_FALSE(isStreamRule("Adaptive"));
    EXPECT_FALSE(isStreamRule(""));
    EXPECT_TRUE(is<SwitcherRule>(makeStreamRule("adaptive")));
    EXPECT_TRUE(is<HybridRule>(makeStreamRule("hybrid")));
    EXPECT_EQ(failureOf("other"), "--rule: no such rule: \"other\"");
}

TEST(StreamRules, OnlyTheHybridOneWaitsForRoom) {
    EXPECT_TRUE(makeStreamRule("adaptive")->choosesWhenFull());
    EXPECT_FALSE(makeStreamRule("hybrid")->choosesWhenFull());
}

TEST(StreamRules, ALibraryBringsItsOwn) {
    const auto rule = makeStreamRule(library("own_rule"));
    ASSERT_TRUE(is<SwitcherRule>(rule));
    rule->configure(setting());
    EXPECT_EQ(rule->choose(0, {}, {seconds(1), seconds(2)}), 1);
    EXPECT_EQ(rule->progress(0, {seconds(60), milliseconds(1)}), StreamRule::kStay);
}

TEST(StreamRules, AHybridOneOfALibraryIsToldOfTransfers) {
    const auto rule = makeStreamRule(library("hybrid_rule"));
    ASSERT_TRUE(is<HybridRule>(rule));
    rule->configure(setting());
    StreamRule::NextSegment next;
    next.duration = seconds(2);
    rule->choose(2, next, {seconds(0), seconds(6)});
    rule->begun(2, 400000, {seconds(0), seconds(6)});
    EXPECT_EQ(rule->progress(100000, {seconds(2), seconds(4)}), 0) << "6 s are left of it";
}

TEST(StreamRules, ALibraryStaysOpenAsLongAsItsRule) {
    const auto isOpen = [] {
        void* const found = dlopen(library("own_rule").c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (found != nullptr)
            dlclose(found);
        return found != nullptr;
    };
    auto rule = makeStreamRule(library("own_rule"));
    EXPECT_TRUE(isOpen());
    rule.reset();
    EXPECT_FALSE(isOpen());
}

TEST(StreamRules, TellWhatIsWrongWithALibrary) {
    EXPECT_EQ(failureOf("none/rule.so"), "none/rule.so: no such file");
    EXPECT_EQ(failureOf(library("null_rule")),
              library("null_rule") + ": hastool_make_switcher makes no switcher");
    EXPECT_EQ(failureOf(library("empty_rule")),
              library("empty_rule") + ": it has no function hastool_make_switcher");
    const test::TempDir dir;
    dir.write("text.so", "no library");
    EXPECT_EQ(failureOf(dir.file("text.so"))
                  .rfind(dir.file("text.so") + ": no library that can be loaded: ", 0),
              0U);
}
