// Movies in JSON.
#include <tools/hastool/ErrorOf.h>

#include <hastool/simulate/MovieFile.h>

#include <string>

#include <gtest/gtest.h>

using hastool::Movie;
using hastool::readMovie;
using test::errorOf;

namespace {

constexpr char kMovie[] = R"({"segment_duration_ms": 3000, "bitrates_kbps": [230, 331.5],
    "segment_sizes_bits": [[886360, 1180512], [8, 9]]})";

std::string trouble(const std::string& text) {
    return errorOf([&] { readMovie(text, "m"); });
}

/// The movie above with a part replaced.
std::string with(const std::string& part, const std::string& other) {
    std::string text = kMovie;
    return text.replace(text.find(part), part.size(), other);
}

} // namespace

TEST(MovieFile, ReadsThePublicForm) {
    const Movie movie = readMovie(kMovie, "/a/film.json");
    EXPECT_EQ(movie.name, "film.json");
    EXPECT_EQ(movie.bitrates, (std::vector<int>{230000, 331500}));
    ASSERT_EQ(movie.segments.size(), 2U);
    EXPECT_EQ(movie.segments[0].duration.count(), 3000000);
    EXPECT_EQ(movie.segments[0].bytes, (std::vector<uint64_t>{110795, 147564}));
    EXPECT_EQ(movie.segments[1].bytes, (std::vector<uint64_t>{1, 2})); // whole bytes
}

TEST(MovieFile, SegmentsMayBeOfTheirOwnLengths) {
    const Movie movie =
        readMovie(with("\"bitrates", "\"segment_durations_ms\": [3000, 1.5], \"bitrates"), "m");
    EXPECT_EQ(movie.segments[0].duration.count(), 3000000);
    EXPECT_EQ(movie.segments[1].duration.count(), 1500);
    EXPECT_EQ(trouble(with("\"bitrates", "\"segment_durations_ms\": [3000], \"bitrates")),
              "m: not as many durations as segments");
}

TEST(MovieFile, WhatIsWrittenComesBack) {
    for (const bool isEven : {true, false}) {
        Movie movie = readMovie(kMovie, "m");
        if (!isEven)
            movie.segments[1].duration = std::chrono::microseconds(1234567);
        const Movie again = readMovie(hastool::movieText(movie, "http://host/a"), "m");
        EXPECT_EQ(again.bitrates, movie.bitrates);
        ASSERT_EQ(again.segments.size(), movie.segments.size());
        for (size_t i = 0; i < movie.segments.size(); ++i) {
            EXPECT_EQ(again.segments[i].duration, movie.segments[i].duration);
            EXPECT_EQ(again.segments[i].bytes, movie.segments[i].bytes);
        }
    }
}

TEST(MovieFile, WhatIsNoMovieSaysWhy) {
    EXPECT_EQ(trouble(""), "m: not a movie in JSON");
    EXPECT_EQ(trouble("[]"), "m: not a movie in JSON");
    EXPECT_EQ(trouble("{}"), "m: no list \"bitrates_kbps\"");
    EXPECT_EQ(trouble(with("230, 331.5", "")), "m: no list \"bitrates_kbps\"");
    EXPECT_EQ(trouble(with("230, 331.5", "230, \"x\"")),
              "m: bitrates_kbps: not a number that can be");
    EXPECT_EQ(trouble(with("230, 331.5", "230, 3e6")),
              "m: bitrates_kbps: not a number that can be");
    EXPECT_EQ(trouble(with("230, 331.5", "331, 331")), "m: bitrates that do not rise");
    EXPECT_EQ(trouble(with("\"segment_duration_ms\": 3000, ", "")),
              "m: no number \"segment_duration_ms\"");
    EXPECT_EQ(trouble(with("3000", "0")), "m: segment_duration_ms: not a number that can be");
    EXPECT_EQ(trouble(with("[8, 9]", "[8]")),
              "m: segment_sizes_bits 1: not 2 sizes, one of each bitrate");
    EXPECT_EQ(trouble(with("[8, 9]", "[8, 0]")),
              "m: segment_sizes_bits 1: not a number that can be");
    EXPECT_EQ(trouble(with("[8, 9]", "[8, 1e13]")),
              "m: segment_sizes_bits 1: not a number that can be");
    EXPECT_EQ(trouble(with("[[886360, 1180512], [8, 9]]", "[]")),
              "m: no list \"segment_sizes_bits\"");
}
