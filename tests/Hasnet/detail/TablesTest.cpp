#include <Hasnet/detail/HeaderLine.h>
#include <Hasnet/detail/HeaderList.h>
#include <Hasnet/detail/HostTable.h>
#include <Hasnet/detail/ResultCode.h>
#include <Hasnet/detail/SocketBuffers.h>
#include <Hasnet/detail/UrlInfoTable.h>
#include <support/TempDir.h>

#include <gtest/gtest.h>

#include <climits>
#include <utility>
#include <vector>

#include <unistd.h>

namespace {

using namespace hascommon::detail;

TEST(HostTable, NumbersHostsInTheOrderOfTheirFirstUse) {
    HostTable hosts;
    EXPECT_EQ(hosts.IndexOf("a"), 1);
    EXPECT_EQ(hosts.IndexOf("b"), 2);
    EXPECT_EQ(hosts.IndexOf("a"), 1);
}

TEST(HostTable, EmptyHostAndEveryHostAfterTheNinthShareZero) {
    HostTable hosts;
    EXPECT_EQ(hosts.IndexOf(""), 0);
    for (int i = 1; i <= 9; ++i)
        EXPECT_EQ(hosts.IndexOf("h" + std::to_string(i)), i);
    EXPECT_EQ(hosts.IndexOf("tenth"), 0);
    EXPECT_EQ(hosts.IndexOf("eleventh"), 0);
    EXPECT_EQ(hosts.IndexOf("h9"), 9);
}

TEST(UrlInfoTable, RequestThatIsNotKeptUsesItsSlotsEntry) {
    const UrlInfoTable table;
    EXPECT_EQ(table.Choose(0, "u", false), 0);
    EXPECT_EQ(table.Choose(19, "u", false), 19);
}

TEST(UrlInfoTable, KeptRequestFindsItsUrlOrTakesTheLeastRecentlyUsed) {
    UrlInfoTable table;
    for (int i = 0; i < 20; ++i) {
        const std::string url = "u" + std::to_string(i);
        const int index = table.Choose(3, url, true);
        EXPECT_EQ(index, 20 + i);
        table.Fill(index, url, "", true, 100 + i);
    }
    EXPECT_EQ(table.Choose(3, "u7", true), 27);
    table.Fill(20, "u0", "", true, 500);
    EXPECT_EQ(table.Choose(3, "new", true), 21);
}

TEST(UrlInfoTable, FirstOfTheEquallyOldGivesWay) {
    UrlInfoTable table;
    for (int i = 20; i < 40; ++i)
        table.Fill(i, "u" + std::to_string(i), "", true, 7);
    EXPECT_EQ(table.Choose(0, "new", true), 20);
}

TEST(UrlInfoTable, FillForgetsDateAndFileTime) {
    UrlInfoTable table;
    table.Fill(25, "u", "0-9", true, 1);
    table.LearnDate(25, 1000);
    table.LearnFileTime(25, 2000);
    EXPECT_FALSE(table.WantsFileTime(25));
    table.Fill(25, "u", "5-", true, 2);
    const UrlInfo info = table.Get(25).value();
    EXPECT_EQ(info.url, "u");
    EXPECT_EQ(info.range, "5-");
    EXPECT_EQ(info.date, 0);
    EXPECT_EQ(info.fileTime, 0);
    EXPECT_TRUE(info.keepInfo);
    EXPECT_EQ(info.usedAt, 2);
}

TEST(UrlInfoTable, FirstDateStays) {
    UrlInfoTable table;
    table.LearnDate(0, 10);
    table.LearnDate(0, 20);
    EXPECT_EQ(table.Date(0), 10);
}

TEST(UrlInfoTable, FileTimeIsWantedOnlyForKeptRequestsThatLackIt) {
    UrlInfoTable table;
    table.Fill(1, "u", "", false, 1);
    EXPECT_FALSE(table.WantsFileTime(1));
    table.Fill(20, "u", "", true, 1);
    EXPECT_TRUE(table.WantsFileTime(20));
}

TEST(UrlInfoTable, IndexOutsideTheTableHoldsNothing) {
    const UrlInfoTable table;
    EXPECT_FALSE(table.Get(-1).has_value());
    EXPECT_FALSE(table.Get(40).has_value());
    EXPECT_TRUE(table.Get(39).has_value());
}

struct ResultRow {
    int curlCode;
    int code;
};

class ResultCodeTest : public ::testing::TestWithParam<ResultRow> {};

TEST_P(ResultCodeTest, LibcurlResultGivesTheUnitCode) {
    EXPECT_EQ(codeOf(static_cast<CURLcode>(GetParam().curlCode), 404), GetParam().code);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ResultCodeTest,
    ::testing::Values(ResultRow{0, 0}, ResultRow{5, -16}, ResultRow{6, -17}, ResultRow{7, -18},
                      ResultRow{9, -25}, ResultRow{35, -25}, ResultRow{51, -25}, ResultRow{53, -25},
                      ResultRow{54, -25}, ResultRow{18, -26}, ResultRow{22, -23},
                      ResultRow{34, -23}, ResultRow{47, -23}, ResultRow{52, -23},
                      ResultRow{28, -53}, ResultRow{42, -12}, ResultRow{55, -19},
                      ResultRow{56, -20}),
    [](const auto& row) { return "Curl" + std::to_string(row.param.curlCode); });

TEST(ResultCode, AnyOtherResultCarriesStatusAndResult) {
    EXPECT_EQ(codeOf(static_cast<CURLcode>(60), 0), -160);
    EXPECT_EQ(codeOf(static_cast<CURLcode>(60), 301), -301160);
}

TEST(ResultCode, StatusOfAnySizeIsNoOverflow) {
    // -1000 * 2147483647 - 160, brought back to 32 bits.
    EXPECT_EQ(codeOf(static_cast<CURLcode>(60), 2147483647L), 840);
    // What is above 32 bits of a wider long is cut off, so the ends are alike for every width.
    EXPECT_EQ(codeOf(static_cast<CURLcode>(60), LONG_MAX), 840);
    EXPECT_EQ(codeOf(static_cast<CURLcode>(60), LONG_MIN), -160);
}

TEST(ResultCode, RetriedStatuses) {
    for (const long status : {403L, 404L, 500L, 503L, 504L})
        EXPECT_TRUE(hascommon::isRetried(status)) << status;
    for (const long status : {0L, 200L, 206L, 304L, 400L, 401L, 410L, 416L, 501L, 502L})
        EXPECT_FALSE(hascommon::isRetried(status)) << status;
}

TEST(HeaderList, EveryLineAddsOneAndLeavesTheListBefore) {
    const HeaderList one = withLine(nullptr, "A: 1");
    const HeaderList two = withLine(one, "B: 2");
    ASSERT_NE(two, nullptr);
    EXPECT_EQ(one->next, nullptr);
    EXPECT_STREQ(two->data, "A: 1");
    ASSERT_NE(two->next, nullptr);
    EXPECT_STREQ(two->next->data, "B: 2");
    EXPECT_EQ(two->next->next, nullptr);
}

TEST(HeaderLine, FieldNameIsComparedWithoutCaseAndWhole) {
    EXPECT_TRUE(hasFieldName("Location: /a", "location"));
    EXPECT_TRUE(hasFieldName("location:/a", "location"));
    EXPECT_FALSE(hasFieldName("Content-Location: /a", "location"));
    EXPECT_FALSE(hasFieldName("Locations: /a", "location"));
    EXPECT_FALSE(hasFieldName("Location", "location"));
    EXPECT_FALSE(hasFieldName("", "location"));
}

TEST(HeaderLine, ValueIsWhatStandsBehindTheColonWithoutBlanks) {
    EXPECT_EQ(fieldValue("A: b c \r\n"), "b c");
    EXPECT_EQ(fieldValue("A:b:c"), "b:c");
    EXPECT_EQ(fieldValue("A: \r\n"), "");
    EXPECT_EQ(fieldValue("no colon"), "");
    EXPECT_EQ(fieldValue(""), "");
}

TEST(HeaderLine, StatusLineStartsTheHeaders) {
    EXPECT_TRUE(startsHeaders("HTTP/1.1 200 OK\r\n"));
    EXPECT_TRUE(startsHeaders("HTTP/2 204\r\n"));
    EXPECT_FALSE(startsHeaders("X-Trailer: HTTP/\r\n"));
    EXPECT_FALSE(startsHeaders("HTTP"));
}

TEST(HeaderLine, EmptyLineEndsTheHeaders) {
    EXPECT_TRUE(endsHeaders("\r\n"));
    EXPECT_TRUE(endsHeaders("\n"));
    EXPECT_FALSE(endsHeaders(""));
    EXPECT_FALSE(endsHeaders("A: b\r\n"));
}

TEST(SocketBuffers, TableOfNamesValuesAndLengths) {
    const std::vector<std::pair<std::string, std::string>> expected{
        {"wmem_max", "1677721600"},
        {"rmem_max", "1677721600"},
        {"tcp_wmem", "1024000 8738000 1677721600"},
        {"tcp_rmem", "1024000 8738000 1677721600"},
    };
    ASSERT_EQ(kSocketBufferSettings.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(kSocketBufferSettings[i].name, expected[i].first);
        EXPECT_EQ(kSocketBufferSettings[i].value, expected[i].second);
        EXPECT_EQ(kSocketBufferSettings[i].bytes, expected[i].second.size());
    }
}

TEST(SocketBuffers, FilesLieUnderTheProcessItself) {
    EXPECT_EQ(socketBufferPath("wmem_max"), "/proc/" + std::to_string(getpid()) + "/wmem_max");
    EXPECT_EQ(socketBufferPath("a-name-that-is-much-too-long-for-it").size(), 30U);
}

TEST(SocketBuffers, ReadsAtMostThirtyTwoBytesAndWritesTheValue) {
    const test::TempDir dir;
    const std::string path = dir.file("setting");
    std::string content;
    EXPECT_EQ(readStart(path, content), FileResult::OpenFailed);
    EXPECT_EQ(writeStart(path, "1024000 8738000 1677721600", 26), FileResult::Done);
    EXPECT_EQ(readStart(path, content), FileResult::Done);
    EXPECT_EQ(content, "1024000 8738000 1677721600");
    EXPECT_EQ(writeStart(path, std::string(50, 'x').c_str(), 50), FileResult::Done);
    EXPECT_EQ(readStart(path, content), FileResult::Done);
    EXPECT_EQ(content, std::string(32, 'x'));
}

TEST(SocketBuffers, FailuresAreTold) {
    EXPECT_EQ(writeStart("/no/such/folder/file", "x", 1), FileResult::OpenFailed);
    EXPECT_EQ(writeStart("/dev/full", "x", 1), FileResult::WriteFailed);
}

} // namespace
