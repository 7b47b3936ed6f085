// What docs/adaptation.md shows works, and speaks of all that there is.
#include <support/Child.h>
#include <support/TempDir.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::HasSubstr;

class AdaptationDocsTest : public ::testing::Test {
protected:
    /// The table under a rule, over a line that is fast enough for all streams.
    std::string tableOf(const std::string& rule) const {
        std::string sizes;
        for (int i = 0; i < 40; ++i)
            sizes += std::string(sizes.empty() ? "" : ",") + "[400000,800000,1600000]";
        const std::string movie = m_dir.write(
            "film.json", "{\"segment_duration_ms\":2000,\"bitrates_kbps\":[200,400,800],"
                         "\"segment_sizes_bits\":[" +
                             sizes + "]}");
        const std::string trace = m_dir.write("t.csv", "0,4000\n");
        return test::runOk(
            {HASTOOL_PATH, "simulate", "--trace", trace, "--movie", movie, "--rule", rule});
    }

    const std::string m_document = test::readFile(ADAPTATION_DOCUMENT);
    test::TempDir m_dir;
};

TEST_F(AdaptationDocsTest, TheRuleOfOnesOwnPlays) {
    const std::string table = tableOf(DOCUMENTED_RULE ",fixed=0");
    EXPECT_THAT(table, HasSubstr("\n" DOCUMENTED_RULE " "));
    // It goes up with its buffer, through all three streams.
    const std::string lowest = table.substr(table.find("\nfixed=0"));
    EXPECT_THAT(lowest, HasSubstr("  0.000  "));
    const std::string own = table.substr(table.find("\n" DOCUMENTED_RULE), lowest.size() + 80);
    EXPECT_THAT(own, HasSubstr("  2.0  ")); // switches
}

TEST_F(AdaptationDocsTest, EveryFigureIsExplained) {
    const std::string table = tableOf("fixed=0");
    const size_t begin = table.find("score");
    const std::string headings = table.substr(begin, table.find('\n', begin) - begin);
    for (size_t at = 0; at < headings.size();) {
        const size_t end = std::min(headings.find("  ", at), headings.size());
        EXPECT_THAT(m_document, HasSubstr("`" + headings.substr(at, end - at) + "`"));
        at = std::min(headings.find_first_not_of(' ', end), headings.size());
    }
}

} // namespace
