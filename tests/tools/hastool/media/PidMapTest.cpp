#include <hastool/media/PidMap.h>
#include <hastool/media/TsReport.h>

#include <gtest/gtest.h>

using hastool::parsePidMap;
using hastool::PidMap;

namespace {

std::string failureOf(const std::vector<std::string>& texts) {
    std::string failure;
    EXPECT_FALSE(parsePidMap(texts, failure));
    return failure;
}

hastool::TsReport reportWith(const std::vector<int>& pids) {
    hastool::TsReport report;
    for (const int pid : pids)
        report.pids[pid].packets = 1;
    return report;
}

} // namespace

TEST(PidMap, ReadsDecimalAndHexadecimalPids) {
    std::string failure;
    EXPECT_EQ(parsePidMap({"256=0x200", "0X1FFE=1"}, failure), (PidMap{{256, 512}, {8190, 1}}));
    EXPECT_EQ(parsePidMap({}, failure), PidMap());
    EXPECT_EQ(hastool::mapped({{1, 2}}, 1), 2);
    EXPECT_EQ(hastool::mapped({{1, 2}}, 3), 3);
}

TEST(PidMap, RefusesWhatIsNoPid) {
    for (const char* const text : {"", "=", "1", "1=", "=1", "0=1", "1=0", "8191=1", "1=8191",
                                   "0x=1", "1=2=3", "a=1", "-1=2", "1 =2", "99999999999=1"})
        EXPECT_EQ(failureOf({text}),
                  "A=B with PIDs from 1 to 8190 is needed: \"" + std::string(text) + "\"");
}

TEST(PidMap, RefusesASideThatIsThereTwice) {
    EXPECT_EQ(failureOf({"1=2", "1=3"}), "a PID is there twice: \"1=3\"");
    EXPECT_EQ(failureOf({"1=2", "3=2"}), "a PID is there twice: \"3=2\"");
}

TEST(PidMap, KnowsWhatDoesNotFitTheStream) {
    const hastool::TsReport report = reportWith({0, 0x100, 0x101});
    EXPECT_EQ(hastool::conflictOf({{0x100, 0x200}}, report), "");
    EXPECT_EQ(hastool::conflictOf({{0x100, 0x101}, {0x101, 0x100}}, report), "");
    EXPECT_EQ(hastool::conflictOf({{0x102, 0x200}}, report), "no packet has PID 0x0102");
    EXPECT_EQ(hastool::conflictOf({{0x100, 0x101}}, report), "PID 0x0101 is taken already");
}
