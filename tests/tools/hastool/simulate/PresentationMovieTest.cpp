// Presentations as movies: their segments' sizes, from servers and from folders.
#include <tools/hastool/ErrorOf.h>

#include <hastool/check/EngineSource.h>
#include <hastool/simulate/LoadMovie.h>
#include <hastool/simulate/MovieCache.h>
#include <hastool/simulate/MovieFile.h>
#include <support/FaultOrigin.h>
#include <support/TempDir.h>

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using hastool::Movie;
using test::errorOf;
using test::FaultOrigin;
using test::Reply;
using test::Request;

namespace {

constexpr char kMaster[] = "#EXTM3U\n"
                           "#EXT-X-STREAM-INF:BANDWIDTH=800000\nhigh.m3u8\n"
                           "#EXT-X-STREAM-INF:BANDWIDTH=200000\nlow.m3u8\n";

std::string playlist(const std::string& name, bool hasEnd = true) {
    return "#EXTM3U\n#EXT-X-TARGETDURATION:4\n#EXTINF:4,\n" + name + "0.ts\n#EXTINF:2.5,\n" + name +
           "1.ts\n" + (hasEnd ? "#EXT-X-ENDLIST\n" : "");
}

/// A presentation of two streams with two segments each.
class PresentationMovieTest : public testing::Test {
protected:
    PresentationMovieTest() {
        // The cache is this test's own.
        setenv("XDG_CACHE_HOME", m_dir.file("cache").c_str(), 1);
        setenv("no_proxy", "127.0.0.1", 1);
        write("master.m3u8", kMaster);
        write("low.m3u8", playlist("l"));
        write("high.m3u8", playlist("h"));
        write("l0.ts", std::string(1000, 'l'));
        write("l1.ts", std::string(700, 'l'));
        write("h0.ts", std::string(4000, 'h'));
        write("h1.ts", std::string(2900, 'h'));
        m_options.limits.total = std::chrono::minutes(1);
        m_options.maxRetries = 0;
    }
    ~PresentationMovieTest() override { unsetenv("XDG_CACHE_HOME"); }

    void write(const std::string& name, const std::string& text) const {
        m_dir.write("film/" + name, text);
    }
    Movie load(const std::string& what) {
        return hastool::loadMovie(what, m_options,
                                  [this](const std::string& text) { m_warnings += text; });
    }
    static void expectFilm(const Movie& movie) {
        EXPECT_EQ(movie.bitrates, (std::vector<int>{200000, 800000}));
        ASSERT_EQ(movie.segments.size(), 2U);
        EXPECT_EQ(movie.segments[0].duration.count(), 4000000);
        EXPECT_EQ(movie.segments[1].duration.count(), 2500000);
        EXPECT_EQ(movie.segments[0].bytes, (std::vector<uint64_t>{1000, 4000}));
        EXPECT_EQ(movie.segments[1].bytes, (std::vector<uint64_t>{700, 2900}));
    }

    test::TempDir m_dir;
    hastool::EngineOptions m_options;
    std::string m_warnings;
};

} // namespace

TEST_F(PresentationMovieTest, AFoldersFilesTellTheirSizes) {
    expectFilm(load(m_dir.file("film")));
    expectFilm(load(m_dir.file("film/master.m3u8")));
    EXPECT_EQ(load(m_dir.file("film")).name, m_dir.file("film"));
}

TEST_F(PresentationMovieTest, AServerIsAskedForTheFirstByteOfEachOnce) {
    FaultOrigin origin;
    origin.serve("/film/", m_dir.file("film"));
    const std::string url = origin.url("/film/master.m3u8");
    expectFilm(load(url));
    EXPECT_EQ(origin.requests("/film/h0.ts").size(), 1U);
    EXPECT_EQ(origin.requests("/film/low.m3u8").size(), 1U);
    const size_t all = origin.requests().size();
    const Movie again = load(url); // from the cache
    expectFilm(again);
    EXPECT_EQ(again.name, url);
    EXPECT_EQ(origin.requests().size(), all);
    EXPECT_EQ(m_warnings, "");
}

TEST_F(PresentationMovieTest, AServerWithoutRangesTellsTheLengthOrIsFetchedFrom) {
    FaultOrigin origin;
    origin.serve("/film/", m_dir.file("film"));
    origin.on("/film/h0.ts", Reply().body(std::string(4000, 'h')).withoutRanges());
    origin.on("/film/l1.ts", Reply().body(std::string(700, 'l')).withoutRanges().chunked());
    expectFilm(load(origin.url("/film/master.m3u8")));
}

TEST_F(PresentationMovieTest, ByteRangesNeedNoQuestion) {
    const std::string ranges = "#EXTM3U\n#EXT-X-TARGETDURATION:4\n"
                               "#EXTINF:4,\n#EXT-X-BYTERANGE:1000@0\nall.ts\n"
                               "#EXTINF:2.5,\n#EXT-X-BYTERANGE:700\nall.ts\n#EXT-X-ENDLIST\n";
    FaultOrigin origin;
    origin.on("/a.m3u8", Reply().body(ranges));
    const Movie movie = load(origin.url("/a.m3u8"));
    ASSERT_EQ(movie.segments.size(), 2U);
    EXPECT_EQ(movie.segments[1].bytes, std::vector<uint64_t>{700});
    EXPECT_EQ(movie.bitrates, std::vector<int>{2092}); // of what there is: 13600 bits in 6.5 s
    EXPECT_TRUE(origin.requests("/all.ts").empty());
}

TEST_F(PresentationMovieTest, WhatCannotBeSimulatedSaysWhy) {
    write("high.m3u8", playlist("h", false));
    write("low.m3u8", playlist("l", false));
    EXPECT_NE(errorOf([&] { load(m_dir.file("film")); }).find("live: only what has an end"),
              std::string::npos);
    write("low.m3u8", playlist("l"));
    write("high.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:4\n#EXTINF:4,\nh0.ts\n#EXT-X-ENDLIST\n");
    EXPECT_NE(errorOf([&] {
                  load(m_dir.file("film"));
              }).find("streams that are not cut alike: 2 segments, and 1 in another stream"),
              std::string::npos);
    write("high.m3u8", playlist("none"));
    EXPECT_NE(errorOf([&] { load(m_dir.file("film")); }).find("none0.ts"), std::string::npos);
    FaultOrigin origin;
    EXPECT_NE(errorOf([&] { load(origin.url("/none.m3u8")); }).find("404"), std::string::npos);
}

TEST_F(PresentationMovieTest, ACacheThatCannotBeUsedIsNoFailure) {
    FaultOrigin origin;
    origin.serve("/film/", m_dir.file("film"));
    const std::string url = origin.url("/film/master.m3u8");
    m_dir.write("cache", "a file where a folder is needed");
    expectFilm(load(url));
    EXPECT_NE(m_warnings.find("cannot be written"), std::string::npos);
}

TEST_F(PresentationMovieTest, ACacheFileThatIsBrokenIsMadeAnew) {
    FaultOrigin origin;
    origin.serve("/film/", m_dir.file("film"));
    const std::string url = origin.url("/film/master.m3u8");
    const hastool::MovieCache cache;
    const std::string path = cache.pathOf(url);
    EXPECT_EQ(path.compare(0, m_dir.file("cache/hastool/movies/").size(),
                           m_dir.file("cache/hastool/movies/")),
              0);
    m_dir.write(path.substr(m_dir.path().string().size() + 1), "{");
    EXPECT_FALSE(cache.find(url));
    expectFilm(load(url));
    expectFilm(*cache.find(url));
    expectFilm(hastool::readMovie(test::readFile(path), path));
}
