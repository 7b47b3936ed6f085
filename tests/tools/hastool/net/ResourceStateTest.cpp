#include <hastool/net/ResourceState.h>

#include <gtest/gtest.h>

#include <string>

using namespace hastool;

namespace {

constexpr char kDate[] = "Sun, 06 Nov 1994 08:49:37 GMT";

ResponseHead head(const std::string& status, const std::string& fields) {
    return ResponseHead("HTTP/1.1 " + status + "\r\n" + fields + "\r\n");
}

ResponseHead partial(const std::string& range, const std::string& more = "") {
    return head("206 Partial", "Content-Range: " + range + "\r\n" + more);
}

ResourceState known(const std::string& etag, std::optional<uint64_t> total = 1000) {
    ResourceState state;
    state.etag = etag;
    state.total = total;
    return state;
}

} // namespace

TEST(ResponseHead, TellsTheLastResponse) {
    const ResponseHead response("HTTP/1.1 302 Found\r\nLocation: /a\r\n\r\nHTTP/2 200\r\neTaG:\t "
                                "\"x\" \r\nETag: \"y\"\r\n");
    EXPECT_EQ(response.status(), 200);
    EXPECT_EQ(response.field("etag"), "\"y\"");
    EXPECT_FALSE(response.has("Location"));
    EXPECT_EQ(ResponseHead().status(), 0);
    EXPECT_EQ(ResponseHead("HTTP/1.1 x\nno field\n: nothing\n").status(), 0);
}

TEST(ResourceState, TakesStrongTags) {
    EXPECT_EQ(stateOf(head("200 OK", "ETag: \"a b\"\r\n")).ifRange(), "\"a b\"");
    for (const char* etag : {"W/\"a\"", "a", "\"", "\"a", "\"a\"b\"", "\"\x01\"", "\"\xC3\xA4\""})
        EXPECT_EQ(stateOf(head("200 OK", "ETag: " + std::string(etag) + "\r\n")).ifRange(), "")
            << etag;
}

TEST(ResourceState, TakesADateWhereThereIsNoTagAndItIsOld) {
    const std::string modified = "Last-Modified: " + std::string(kDate) + "\r\n";
    const std::string later = "Date: Sun, 06 Nov 1994 08:49:38 GMT\r\n";
    EXPECT_EQ(stateOf(head("200 OK", modified + later)).ifRange(), kDate);
    EXPECT_EQ(stateOf(head("200 OK", modified)).ifRange(), "");
    EXPECT_EQ(stateOf(head("200 OK", modified + "Date: " + kDate + "\r\n")).ifRange(), "");
    EXPECT_EQ(stateOf(head("200 OK", modified + later + "ETag: W/\"a\"\r\n")).ifRange(), "");
    EXPECT_EQ(stateOf(head("200 OK", "Last-Modified: never\r\n" + later)).ifRange(), "");
}

TEST(ResourceState, KnowsNothingOfEncodedBytes) {
    const ResourceState state =
        stateOf(head("200 OK", "ETag: \"a\"\r\nContent-Length: 7\r\nContent-Encoding: gzip\r\n"));
    EXPECT_EQ(state.ifRange(), "");
    EXPECT_FALSE(state.total);
    EXPECT_EQ(stateOf(head("200 OK", "Content-Length: 7\r\n")).total, 7U);
}

TEST(ContentRange, IsRead) {
    const auto range = parseContentRange("bytes 5-9/10");
    ASSERT_TRUE(range);
    EXPECT_EQ(range->first, 5U);
    EXPECT_EQ(range->last, 9U);
    EXPECT_EQ(range->total, 10U);
    EXPECT_FALSE(parseContentRange("bytes 0-0/*")->total);
    EXPECT_FALSE(parseContentRange("bytes */7")->first);
    for (const char* text : {"", "bytes", "bytes 5-9", "bytes 9-5/10", "bytes 5-10/10", "bytes */*",
                             "lines 5-9/10", "bytes -9/10", "bytes 5-/10", "bytes 5-9/x",
                             "bytes 99999999999999999999-1/2", "bytes 5 - 9/10", "bytes 5-9/10 "})
        EXPECT_FALSE(parseContentRange(text)) << text;
}

TEST(AnswerFit, GoesOnWhereEverythingFits) {
    EXPECT_EQ(fitOf(partial("bytes 400-999/1000"), 400, known("\"a\"")), AnswerFit::GoesOn);
    EXPECT_EQ(fitOf(partial("bytes 400-499/*"), 400, known("\"a\"")), AnswerFit::GoesOn);
    EXPECT_EQ(fitOf(partial("bytes 400-499/500"), 400, known("\"a\"", std::nullopt)),
              AnswerFit::GoesOn);
    EXPECT_EQ(fitOf(partial("bytes 400-999/1000", "ETag: \"a\"\r\n"), 400, known("\"a\"")),
              AnswerFit::GoesOn);
}

TEST(AnswerFit, IsAnewWithTheWhole) {
    EXPECT_EQ(fitOf(head("200 OK", ""), 400, known("\"a\"")), AnswerFit::Anew);
    EXPECT_EQ(fitOf(head("200 OK", ""), 0, {}), AnswerFit::Anew);
}

TEST(AnswerFit, IsNoneWhereAnythingContradicts) {
    const ResourceState state = known("\"a\"");
    for (const ResponseHead& answer :
         {partial("bytes 399-999/1000"), partial("bytes 401-999/1000"), partial("bytes 0-999/1000"),
          partial("bytes 400-999/1001"), partial("bytes 400-1000/*"), partial("bytes */1000"),
          partial("400-999/1000"), partial(""), head("206 Partial", ""), head("204 None", ""),
          partial("bytes 400-999/1000", "ETag: \"b\"\r\n"),
          partial("bytes 400-999/1000", "ETag: W/\"a\"\r\n"),
          partial("bytes 400-999/1000", "Content-Encoding: gzip\r\n"), ResponseHead()})
        EXPECT_EQ(fitOf(answer, 400, state), AnswerFit::NotAtAll) << answer.status();
    EXPECT_EQ(fitOf(partial("bytes 0-999/1000"), 0, {}), AnswerFit::NotAtAll) << "not asked for";
    ResourceState dated;
    dated.date = kDate;
    EXPECT_EQ(fitOf(partial("bytes 400-999/1000", "Last-Modified: today\r\n"), 400, dated),
              AnswerFit::NotAtAll);
}

TEST(AnswerFit, ARefusedRangeMayMeanThatAllIsThere) {
    const ResourceState state = known("\"a\"");
    const auto refused = [](const std::string& fields) { return head("416 No", fields); };
    EXPECT_TRUE(saysComplete(refused("Content-Range: bytes */1000\r\n"), 1000, state));
    EXPECT_TRUE(saysComplete(refused("Content-Range: bytes */7\r\n"), 7, known("\"a\"", {})));
    EXPECT_FALSE(saysComplete(refused("Content-Range: bytes */1000\r\n"), 999, state));
    EXPECT_FALSE(saysComplete(refused("Content-Range: bytes */999\r\n"), 999, state));
    EXPECT_FALSE(saysComplete(refused(""), 1000, state));
    EXPECT_FALSE(
        saysComplete(refused("Content-Range: bytes */1000\r\nETag: \"b\"\r\n"), 1000, state));
    EXPECT_FALSE(saysComplete(head("404 No", "Content-Range: bytes */1000\r\n"), 1000, state));
}
