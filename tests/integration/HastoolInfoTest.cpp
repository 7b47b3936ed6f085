// hastool info against servers good and bad.
#include "Hastool.h"

#include <support/FaultOrigin.h>
#include <support/Nginx.h>

#include <chrono>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using test::Child;
using test::Reply;
using test::runHastool;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

constexpr char kMaster[] = "#EXTM3U\n"
                           "#EXT-X-STREAM-INF:BANDWIDTH=500000,RESOLUTION=640x360\nlow.m3u8\n"
                           "#EXT-X-STREAM-INF:BANDWIDTH=900000,RESOLUTION=1280x720\nhigh.m3u8\n";
constexpr char kMedia[] = "#EXTM3U\n#EXT-X-TARGETDURATION:4\n#EXTINF:4,\na.ts\n#EXTINF:3,\nb.ts\n"
                          "#EXT-X-ENDLIST\n";

TEST(HastoolInfo, TellsOfAPresentationOverTls) {
    const test::Nginx server;
    server.write("master.m3u8", kMaster);
    server.write("low.m3u8", kMedia);
    server.write("high.m3u8", kMedia);
    const std::string url = server.tlsUrl("/master.m3u8") + "?token=secret";
    const Child::Result result = runHastool({"info", "--cacert", server.caFile(), url});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, server.tlsUrl("/master.m3u8") +
                              "?...\n"
                              "HLS, recorded, 7.0 s\n"
                              "\n"
                              "Video\n"
                              "     bitrate      size  segs   min  mean  max s\n"
                              "  500 kbit/s   640x360     2  3.00  3.50   4.00\n"
                              "  900 kbit/s  1280x720     2  3.00  3.50   4.00\n");
    const Child::Result whole = runHastool({"info", "--show-urls", "--json", url});
    EXPECT_EQ(json::parse(whole.out)["url"], url);
    EXPECT_THAT(server.accessLog(), Not(HasSubstr(".ts")));
}

TEST(HastoolInfo, APlaylistThatCannotBeHadIsListedAndFails) {
    test::FaultOrigin server;
    server.on("/master.m3u8", Reply().body(kMaster));
    server.on("/low.m3u8", Reply().body(kMedia));
    const Child::Result result =
        runHastool({"info", "--json", "--retries", "0", server.url("/master.m3u8")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "hastool: " + server.url("/master.m3u8") +
                              ": 1 part of the presentation could not be read\n");
    const json info = json::parse(result.out);
    EXPECT_EQ(info["complete"], false);
    const json& streams = info["periods"][0]["tracks"][0]["streams"];
    EXPECT_EQ(streams[0]["segments"]["count"], 2);
    EXPECT_EQ(streams[1]["segments"], json());
    EXPECT_THAT(streams[1]["error"].get<std::string>(),
                StartsWith(server.url("/high.m3u8") + ": HTTP 404"));
}

TEST(HastoolInfo, WhatIsNoManifestFailsInOneLine) {
    test::FaultOrigin server;
    server.on("/page", Reply().body("<!DOCTYPE html>\n<html><body>Sign in</body></html>\n"));
    server.on("/picture", Reply().body(std::string("\x89PNG\r\n\x1a\n\0\1", 10)));
    for (const char* const path : {"/page", "/picture", "/nothing"}) {
        const Child::Result result = runHastool({"info", "--retries", "0", server.url(path)});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, StartsWith("hastool: " + server.url(path)));
        EXPECT_EQ(test::lines(result.err), 1) << result.err;
    }
    const Child::Result page = runHastool({"info", server.url("/page")});
    EXPECT_EQ(page.err, "hastool: " + server.url("/page") + ": a web page, not a manifest\n");
    EXPECT_EQ(runHastool({"info"}).status, 2);
    EXPECT_EQ(runHastool({"info", "ftp://h/a"}).status, 1);
}

TEST(HastoolInfo, AManifestBeyondAllBoundsIsRefused) {
    test::FaultOrigin server;
    server.on("/huge", Reply().body(test::Pattern(uint64_t{65} << 20)));
    const Child::Result result = runHastool({"info", server.url("/huge")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "hastool: " + server.url("/huge") + ": more than 64 MiB\n");
}

TEST(HastoolInfo, AServerThatStallsEndsIt) {
    test::FaultOrigin server;
    server.on("/stalls", Reply().body(kMaster).stalledAt(test::Stage::BeforeStatus));
    const Child::Result result = runHastool({"info", "--timeout", "0.3", server.url("/stalls")});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, StartsWith("hastool: " + server.url("/stalls") + ": "));
    EXPECT_EQ(test::lines(result.err), 1) << result.err;
}

TEST(HastoolInfo, TheTimeForAllPlaylistsTogetherIsLimited) {
    std::string master = "#EXTM3U\n";
    for (int i = 1; i <= 100; ++i)
        master += "#EXT-X-STREAM-INF:BANDWIDTH=" + std::to_string(i) + "\nv" + std::to_string(i) +
                  ".m3u8\n";
    test::FaultOrigin server;
    server.on("/master.m3u8", Reply().body(master));
    server.onPrefix("/v", [](const test::Request&) {
        return Reply().body(kMedia).stalledAt(test::Stage::AfterHeader);
    });
    const auto begin = std::chrono::steady_clock::now();
    const Child::Result result =
        runHastool({"info", "--json", "--max-time", "1.5", server.url("/master.m3u8")});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20))
        << "one after the other would take longer";
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("100 parts of the presentation could not be read"));
    EXPECT_EQ(json::parse(result.out)["periods"][0]["tracks"][0]["streams"].size(), 100U);
}

} // namespace
