// The program of docs/embedding.md does what the page says.
#include <support/AesPeer.h>
#include <support/Child.h>
#include <support/FaultOrigin.h>

#include <chrono>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using test::Reply;
using ::testing::HasSubstr;

TEST(EmbeddingExample, DownloadsReadsDecryptsAndRewrites) {
    test::FaultOrigin origin;
    origin.on("/m.mpd", Reply().body("<MPD xmlns='urn:mpeg:dash:schema:mpd:2011'><Period>"
                                     "<AdaptationSet><Representation bandwidth='300000'/>"
                                     "<Representation bandwidth='800000'/></AdaptationSet>"
                                     "</Period></MPD>"));
    test::Bytes iv(16, 0);
    iv.back() = 7;
    const std::string plain = "the plain text of segment 7";
    const test::Bytes cipher =
        test::encrypted({test::Bytes(16, 0), iv, true}, test::Bytes(plain.begin(), plain.end()));
    origin.on("/7.ts", Reply().body(std::string(cipher.begin(), cipher.end())));
    const test::Child::Result result =
        test::run({EMBEDDING_EXAMPLE, origin.url("/m.mpd"), origin.url("/7.ts")},
                  {"HAS_LOG=off", "no_proxy=127.0.0.1"}, std::chrono::seconds(60));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("/m.mpd: ok, "));
    EXPECT_THAT(result.out, HasSubstr("  300000 bit/s\n  800000 bit/s\n"));
    EXPECT_THAT(result.out, HasSubstr("/7.ts: ok, 32 bytes, stream 0\n"));
    EXPECT_THAT(result.out, HasSubstr("segment: code 0, stream 1\n"));
    EXPECT_THAT(result.out, HasSubstr("decrypted: " + plain + "\n"));
    EXPECT_THAT(result.out, HasSubstr("rewritten: 12 bytes\nhighlighted: some\n"));
}

TEST(EmbeddingExample, GivesUpATransferThatWouldOutlastTheBuffer) {
    test::FaultOrigin origin;
    origin.on("/low.ts", Reply().body("low"));
    // 15 kB/s, of a stream that would need twelve times as much.
    origin.on("/high.ts", Reply().body(std::string(36000, 'h')).dripped(1500, 100ms));
    const test::Child::Result result =
        test::run({EMBEDDING_EXAMPLE, origin.url("/low.ts"), origin.url("/high.ts")},
                  {"HAS_LOG=off", "no_proxy=127.0.0.1"}, std::chrono::seconds(60));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("given up for stream 0\nsegment: code 0, stream 0\n"));
}

} // namespace
