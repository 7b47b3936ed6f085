// hastool check against servers good and bad, and against folders.
#include "Hastool.h"
#include "Serve.h"

#include <support/FaultOrigin.h>
#include <support/Nginx.h>
#include <support/TempDir.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using test::Child;
using test::Reply;
using test::runHastool;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace fs = std::filesystem;

namespace {

constexpr char kMedia[] = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n#EXTINF:2,\n1.ts\n"
                          "#EXTINF:2,\n2.ts\n#EXT-X-ENDLIST\n";

std::string presentation(const std::string& name) {
    return (fs::path(PRESENTATIONS) / name).string();
}

/// Whether a finding of the JSON has this code.
bool hasCode(const json& result, const std::string& code) {
    for (const json& finding : result["findings"]) {
        if (finding["code"] == code)
            return true;
    }
    return false;
}

/// The first two segments of the smallest quality.
void offerSegments(test::FaultOrigin& server) {
    for (const char* const name : {"1.ts", "2.ts"})
        server.on(std::string("/") + name, Reply()
                                               .body(test::readFile(presentation("hls/0/") + name))
                                               .header("Content-Type", "video/mp2t"));
}

class HastoolCheckBuiltIn : public testing::TestWithParam<const char*> {};

TEST_P(HastoolCheckBuiltIn, IsSilentOverTheToolsOwnServer) {
    const std::string path = GetParam();
    test::Serve server({"--root", PRESENTATIONS});
    const std::string url = server.url("/" + path);
    const Child::Result result = runHastool({"check", "--strict", url});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, StartsWith(url + "\n"));
    EXPECT_THAT(result.out, EndsWith("\n0 errors, 0 warnings, 0 notes\n"));
}

TEST_P(HastoolCheckBuiltIn, HasNoErrorOverNginx) {
    const std::string path = GetParam();
    const test::Nginx server;
    fs::copy(PRESENTATIONS, server.root(),
             fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    const Child::Result plain = runHastool({"check", server.url("/" + path)});
    EXPECT_EQ(plain.status, 0) << plain.out << plain.err;
    EXPECT_THAT(plain.out, HasSubstr("\n0 errors, "));
}

INSTANTIATE_TEST_SUITE_P(Presentations, HastoolCheckBuiltIn,
                         testing::Values("hls/master.m3u8", "hls-aes/master.m3u8",
                                         "dash/manifest.mpd", "dash-cenc/manifest.mpd",
                                         "dash-muxed/manifest.mpd", "smooth/Manifest"),
                         [](const auto& it) {
                             std::string name = it.param;
                             name.erase(name.find('/'));
                             if (const size_t dash = name.find('-'); dash != std::string::npos)
                                 name.erase(dash, 1);
                             return name;
                         });

TEST(HastoolCheck, LooksIntoAFolderAndWritesAPage) {
    const test::TempDir dir;
    fs::copy(presentation("hls"), dir.path() / "film", fs::copy_options::recursive);
    fs::remove(dir.path() / "film/3/7.ts");
    const std::string page = dir.file("check.html");
    const Child::Result result =
        runHastool({"check", "--report", page, (dir.path() / "film").string()});
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_THAT(result.out, StartsWith("master.m3u8\nHLS, recorded, 42.0 s, 5 renditions, 104 of"));
    EXPECT_THAT(result.out, HasSubstr("\nerror  "));
    EXPECT_THAT(result.out, HasSubstr("3/7.ts"));
    EXPECT_THAT(result.out, HasSubstr("\n1 error, 0 warnings, 0 notes\n"));
    const std::string html = test::readFile(page);
    EXPECT_THAT(html, HasSubstr("3/7.ts"));
    EXPECT_THAT(html, Not(HasSubstr("folder.invalid")));
}

TEST(HastoolCheck, LooksIntoOnePlaylistOfAFolder) {
    const Child::Result result = runHastool({"check", "--json", presentation("hls/0/index.m3u8")});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    const json found = json::parse(result.out);
    EXPECT_EQ(found["url"], "index.m3u8");
    ASSERT_EQ(found["renditions"].size(), 1U);
    EXPECT_EQ(found["renditions"][0]["fetched"], 21);
    EXPECT_TRUE(found["findings"].empty());
}

TEST(HastoolCheck, FetchesASampleOrNoSegments) {
    const test::Nginx server;
    fs::copy(presentation("hls"), server.root(),
             fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    const std::string url = server.url("/master.m3u8");
    const json sample = json::parse(runHastool({"check", "--json", "--sample", "2", url}).out);
    EXPECT_EQ(sample["renditions"][4]["fetched"], 2);
    const std::string before = server.accessLog();
    const json none = json::parse(runHastool({"check", "--json", "--manifest-only", url}).out);
    EXPECT_EQ(none["renditions"][4]["fetched"], 0);
    EXPECT_EQ(none["renditions"][4]["segments"], 21);
    EXPECT_THAT(server.accessLog().substr(before.size()), Not(HasSubstr(".ts")));
}

TEST(HastoolCheck, LooksAtTheServersCertificate) {
    const test::Nginx server;
    fs::copy(presentation("hls"), server.root(),
             fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    const std::string url = server.tlsUrl("/master.m3u8");
    const json found = json::parse(runHastool({"check", "--json", "--sample", "1", url}).out);
    EXPECT_TRUE(hasCode(found, "tls-self-signed")) << found;
    const json trusted = json::parse(
        runHastool({"check", "--json", "--sample", "1", "--cacert", server.caFile(), url}).out);
    EXPECT_FALSE(hasCode(trusted, "tls-self-signed")) << trusted;
    // Of another server, whose certificate is not trusted by the first one's.
    const test::Nginx other;
    const Child::Result refused =
        runHastool({"check", "--json", "--cacert", other.caFile(), server.tlsUrl("/master.m3u8")});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err, "");
    EXPECT_TRUE(hasCode(json::parse(refused.out), "http-failed")) << refused.out;
    EXPECT_TRUE(hasCode(json::parse(refused.out), "tls-self-signed")) << refused.out;
}

TEST(HastoolCheck, ErrorPagesWithStatus200AreFound) {
    test::FaultOrigin server;
    server.on("/media.m3u8", Reply().body(kMedia).header("Content-Type", "application/x-mpegURL"));
    offerSegments(server);
    server.on("/2.ts", Reply()
                           .body("<!DOCTYPE html>\n<html><body>Gone</body></html>\n")
                           .header("Content-Type", "text/html"));
    const Child::Result result = runHastool({"check", "--json", server.url("/media.m3u8")});
    EXPECT_EQ(result.status, 1);
    const json found = json::parse(result.out);
    EXPECT_GE(found["errors"], 1) << result.out;
    EXPECT_THAT(result.out, HasSubstr("segment 1"));
}

TEST(HastoolCheck, WarningsFailOnlyWhenThatIsAskedFor) {
    const test::TempDir dir;
    fs::copy(presentation("hls"), dir.path() / "film", fs::copy_options::recursive);
    // Another frame of the presentation has a resolution, so that this one lacks it.
    std::string master = test::readFile((dir.path() / "film/master.m3u8").string());
    const size_t at = master.find("RESOLUTION=160x90,");
    ASSERT_NE(at, std::string::npos);
    dir.write("film/master.m3u8", master.erase(at, std::string("RESOLUTION=160x90,").size()));
    const std::string film = (dir.path() / "film").string();
    const Child::Result plain = runHastool({"check", "--manifest-only", film});
    EXPECT_EQ(plain.status, 0) << plain.out;
    EXPECT_THAT(plain.out, HasSubstr(" 1 warning, "));
    EXPECT_EQ(runHastool({"check", "--manifest-only", "--strict", film}).status, 1);
}

TEST(HastoolCheck, WhatIsNoManifestFailsInOneLine) {
    test::FaultOrigin server;
    server.on("/page", Reply().body("<!DOCTYPE html>\n<html><body>Sign in</body></html>\n"));
    server.on("/picture", Reply().body(std::string("\x89PNG\r\n\x1a\n\0\1", 10)));
    for (const char* const path : {"/page", "/picture", "/nothing"}) {
        const Child::Result result = runHastool({"check", "--retries", "0", server.url(path)});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, StartsWith("hastool: " + server.url(path)));
        EXPECT_EQ(test::lines(result.err), 1) << result.err;
    }
    EXPECT_EQ(runHastool({"check"}).status, 2);
    EXPECT_EQ(runHastool({"check", "--sample", "0", "x"}).status, 2);
    const Child::Result missing = runHastool({"check", "/no/such/folder/x.mpd"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(test::lines(missing.err), 1) << missing.err;
}

TEST(HastoolCheck, AManifestOf50MegabytesIsLookedInto) {
    constexpr size_t kSize = size_t{50} << 20;
    std::string text = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n";
    const std::string comment = "# " + std::string(1000, 'x') + "\n";
    while (text.size() < kSize)
        text += comment;
    text += "#EXTINF:2,\n1.ts\n#EXT-X-ENDLIST\n";
    test::FaultOrigin server;
    server.on("/media.m3u8", Reply().body(text).header("Content-Type", "application/x-mpegURL"));
    offerSegments(server);
    const Child::Result result = runHastool({"check", "--json", server.url("/media.m3u8")});
    const json found = json::parse(result.out);
    EXPECT_EQ(found["renditions"][0]["fetched"], 1) << result.err;
}

TEST(HastoolCheck, StreamsThatStallForEverEndInFindings) {
    test::FaultOrigin server;
    server.on("/media.m3u8", Reply().body(kMedia).header("Content-Type", "application/x-mpegURL"));
    offerSegments(server);
    server.on("/2.ts", Reply().body("x").stalledAt(test::Stage::BeforeStatus));
    const Child::Result result = runHastool(
        {"check", "--json", "--timeout", "0.3", "--retries", "0", server.url("/media.m3u8")});
    EXPECT_EQ(result.status, 1) << result.err;
    const json found = json::parse(result.out);
    EXPECT_EQ(found["errors"], 1) << result.out;
    EXPECT_THAT(result.out, HasSubstr("timed out"));
}

TEST(HastoolCheck, TheTimeForAllIsLimited) {
    std::string media = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n";
    for (int i = 0; i < 100; ++i)
        media += "#EXTINF:2,\ns" + std::to_string(i) + ".ts\n";
    test::FaultOrigin server;
    server.on(
        "/media.m3u8",
        Reply().body(media + "#EXT-X-ENDLIST\n").header("Content-Type", "application/x-mpegURL"));
    server.onPrefix("/s", [](const test::Request&) {
        return Reply().body("x").stalledAt(test::Stage::AfterHeader);
    });
    const auto begin = std::chrono::steady_clock::now();
    const Child::Result result =
        runHastool({"check", "--json", "--max-time", "1.5", server.url("/media.m3u8")});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    const json found = json::parse(result.out);
    EXPECT_TRUE(hasCode(found, "check-incomplete")) << result.out;
    EXPECT_NE(found["cut_short"], json());
}

TEST(HastoolCheck, FollowsALivePresentation) {
    test::Serve server({"--root", PRESENTATIONS, "--live"});
    const Child::Result result =
        runHastool({"check", "--json", "--for", "5", server.url("/hls/master.m3u8")});
    const json found = json::parse(result.out);
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_EQ(found["live"], true);
    EXPECT_GE(found["followed_s"], 4.9);
    EXPECT_GE(found["renditions"][0]["fetched"], 4) << result.out;
}

} // namespace
