// docs/hastool.md speaks of every command and option that the tool has, and of no other.
#include <support/Child.h>
#include <support/FaultOrigin.h>

#include <algorithm>
#include <iterator>
#include <regex>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::IsSupersetOf;

std::set<std::string> matches(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator it(text.begin(), text.end(), regex), end; it != end; ++it)
        found.insert((*it)[1]);
    return found;
}

class HastoolDocsTest : public ::testing::Test {
protected:
    static std::string help(const std::string& command) {
        return command.empty() ? test::runOk({HASTOOL_PATH, "--help"})
                               : test::runOk({HASTOOL_PATH, command, "--help"});
    }
    static std::set<std::string> commands() {
        const std::string text = help("");
        return matches(text.substr(text.find("Subcommands:")), "\n  ([a-z0-9]+) ");
    }

    const std::string document = test::readFile(DOCUMENT);
};

TEST_F(HastoolDocsTest, EveryCommandHasASection) {
    EXPECT_EQ(matches(document, "\n## hastool ([a-z0-9]+)\n"), commands());
}

TEST_F(HastoolDocsTest, EveryOptionIsExplainedAndNoOther) {
    std::set<std::string> options{"--help"};
    for (const std::string& command : commands())
        options.merge(matches(help(command), "(--[a-z-]+)"));
    const std::set<std::string> explained = matches(document, "(--[a-z]+[a-z-]*)");
    options.erase("--quiet"); // Is called -q there.
    EXPECT_EQ(explained, options);
}

TEST_F(HastoolDocsTest, TraceFieldsAreThoseOfTheTool) {
    const test::TempDir dir;
    const std::string trace = dir.file("t.csv");
    test::FaultOrigin origin;
    origin.on("/a", test::Reply().body("#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\nb.ts\n"
                                       "#EXT-X-ENDLIST\n"));
    origin.on("/b.ts", test::Reply().body("media"));
    test::runOk({HASTOOL_PATH, "play", "--fast", "--trace", trace, origin.url("/a")});
    const std::string text = test::readFile(trace);
    const std::string header = text.substr(0, text.find('\n') + 1);
    EXPECT_THAT(matches(document, "`([a-z_]+)`"), IsSupersetOf(matches(header, "([a-z_]+)[,\n]")));
    EXPECT_EQ(std::count(header.begin(), header.end(), ','), 25);
}

} // namespace
