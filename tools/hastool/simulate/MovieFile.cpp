#include "MovieFile.h"

#include <hastool/base/ToolError.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using nlohmann::json;

constexpr size_t kMaxStreams = 1000;
constexpr size_t kMaxSegments = 200000;
constexpr double kMaxKbps = 2e6;         // an int holds as many bits per second
constexpr double kMaxBits = 1e12;        // of a segment
constexpr double kMaxMs = 1000.0 * 3600; // of a segment

const json& listIn(const json& movie, const char* name, size_t most, const std::string& where) {
    const auto list = movie.find(name);
    if (list == movie.end() || !list->is_array() || list->empty())
        throw ToolError(where, "no list \"" + std::string(name) + "\"");
    if (list->size() > most)
        throw ToolError(where, "\"" + std::string(name) + "\" is longer than can be handled");
    return *list;
}

double numberOf(const json& value, double least, double most, const std::string& place) {
    const double number = value.is_number() ? value.get<double>() : -1;
    if (!(number >= least && number <= most))
        throw ToolError(place, "not a number that can be");
    return number;
}

std::vector<int> readBitrates(const json& movie, const std::string& where) {
    std::vector<int> bitrates;
    for (const json& it : listIn(movie, "bitrates_kbps", kMaxStreams, where)) {
        const double kbps = numberOf(it, 0.001, kMaxKbps, where + ": bitrates_kbps");
        const int bitrate = static_cast<int>(std::lround(kbps * 1000));
        if (!bitrates.empty() && bitrate <= bitrates.back())
            throw ToolError(where, "bitrates that do not rise");
        bitrates.push_back(bitrate);
    }
    return bitrates;
}

std::chrono::microseconds durationOf(const json& value, const std::string& place) {
    return std::chrono::microseconds(std::llround(numberOf(value, 1, kMaxMs, place) * 1000));
}

Movie::Segment readSegment(const json& sizes, size_t streams, const std::string& place) {
    if (!sizes.is_array() || sizes.size() != streams)
        throw ToolError(place, "not " + std::to_string(streams) + " sizes, one of each bitrate");
    Movie::Segment segment;
    for (const json& it : sizes)
        segment.bytes.push_back(
            static_cast<uint64_t>(std::ceil(numberOf(it, 1, kMaxBits, place) / 8)));
    return segment;
}

/// The durations where they are not all the same.
void readDurations(const json& movie, std::vector<Movie::Segment>& segments,
                   const std::string& where) {
    const json& durations = listIn(movie, "segment_durations_ms", kMaxSegments, where);
    if (durations.size() != segments.size())
        throw ToolError(where, "not as many durations as segments");
    for (size_t i = 0; i < segments.size(); ++i)
        segments[i].duration =
            durationOf(durations[i], where + ": segment_durations_ms " + std::to_string(i));
}

} // namespace

Movie readMovie(const std::string& text, const std::string& where) {
    const json root = json::parse(text, nullptr, false);
    if (!root.is_object())
        throw ToolError(where, "not a movie in JSON");
    Movie movie;
    movie.name = std::filesystem::path(where).filename().string();
    movie.bitrates = readBitrates(root, where);
    const auto duration = root.find("segment_duration_ms");
    if (duration == root.end())
        throw ToolError(where, "no number \"segment_duration_ms\"");
    const auto common = durationOf(*duration, where + ": segment_duration_ms");
    for (const json& it : listIn(root, "segment_sizes_bits", kMaxSegments, where)) {
        const std::string place =
            where + ": segment_sizes_bits " + std::to_string(movie.segments.size());
        movie.segments.push_back(readSegment(it, movie.bitrates.size(), place));
        movie.segments.back().duration = common;
    }
    if (root.contains("segment_durations_ms"))
        readDurations(root, movie.segments, where);
    return movie;
}

std::string movieText(const Movie& movie, const std::string& origin) {
    const auto ms = [](std::chrono::microseconds it) {
        return static_cast<double>(it.count()) / 1000;
    };
    nlohmann::ordered_json root;
    root["origin"] = origin;
    root["name"] = movie.name;
    std::vector<double> durations;
    for (const Movie::Segment& it : movie.segments)
        durations.push_back(ms(it.duration));
    root["segment_duration_ms"] = durations.empty() ? 0 : durations.front();
    if (std::count(durations.begin(), durations.end(), durations.front()) !=
        static_cast<std::ptrdiff_t>(durations.size()))
        root["segment_durations_ms"] = durations;
    for (const int it : movie.bitrates)
        root["bitrates_kbps"].push_back(it / 1000.0);
    for (const Movie::Segment& it : movie.segments) {
        auto sizes = nlohmann::ordered_json::array();
        for (const uint64_t bytes : it.bytes)
            sizes.push_back(bytes * 8);
        root["segment_sizes_bits"].push_back(std::move(sizes));
    }
    constexpr auto kReplace = nlohmann::ordered_json::error_handler_t::replace;
    return root.dump(-1, ' ', true, kReplace) + "\n";
}

} // namespace hastool
