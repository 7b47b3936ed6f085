#include "TraceColumn.h"

#include <hastool/base/HtmlText.h>

#include <cmath>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using Row = const TraceRow&;
using Value = TraceValue;
using Unit = TraceUnit;

struct UnitText {
    const char* inName;
    const char* inHeading;
};

UnitText unitText(TraceUnit unit) {
    switch (unit) {
    case Unit::Seconds:
        return {"_s", ", s"};
    case Unit::Milliseconds:
        return {"_ms", ", ms"};
    case Unit::BitsPerSecond:
        return {"_bps", ", bit/s"};
    case Unit::None:
        break;
    }
    return {"", ""};
}

/// Which segment it is, and how its download went.
const std::vector<TraceColumn> kSegmentColumns = {
    {"time", Unit::Seconds, [](Row row) { return Value(row.time); },
     "since the start, when the segment was there", "there", 4, "time"},
    {"begin", Unit::Seconds, [](Row row) { return Value(row.begin); }, "", "asked for", 3, "begin"},
    {"track", Unit::None,
     [](Row row) {
         return Value(std::string(row.isText ? "subtitles" : row.isAudio ? "audio" : "main"));
     },
     "`main`, `audio` for separate audio, or `subtitles`", "track", 1},
    {"audio", Unit::None, [](Row row) { return Value(row.isAudio); }, "", "", 0, "audio"},
    {"text", Unit::None, [](Row row) { return Value(row.isText); }, "", "", 0, "text"},
    {"index", Unit::None, [](Row row) { return Value(row.index); }, "the segment's number",
     "segment", 2, "index"},
    {"stream", Unit::None, [](Row row) { return Value(uint64_t{row.stream}); },
     "its stream, from 0 for the lowest"},
    {"bitrate", Unit::BitsPerSecond, [](Row row) { return Value(row.bitrate); },
     "the stream's bitrate", "bitrate", 7, "bitrate"},
    {"bytes", Unit::None, [](Row row) { return Value(row.bytes); }, "its size", "bytes", 9,
     "bytes"},
    {"duration", Unit::Seconds, [](Row row) { return Value(row.duration); }, "seconds of media",
     "media", 10, "duration"},
    {"download", Unit::Seconds, [](Row row) { return Value(row.download); },
     "how long it took, over all attempts", "download", 5, "download"},
    {"first_byte", Unit::Seconds, [](Row row) { return Value(row.firstByte); },
     "until the first byte came, of the last attempt", "first byte", 6, "firstByte"},
    {"redirects", Unit::None, [](Row row) { return Value(uint64_t(row.redirects)); },
     "how many, of the last attempt", "redirects", 14, "redirects"},
};

/// The state of the play, and what the switcher went by.
const std::vector<TraceColumn> kPlayColumns = {
    {"bandwidth", Unit::BitsPerSecond, [](Row row) { return Value(uint64_t{row.bandwidth}); },
     "highest sample of the checker's window; 0 until it is full", "highest", 12, "", true},
    {"mean", Unit::BitsPerSecond, [](Row row) { return Value(uint64_t{row.mean}); },
     "mean of the checker's window; 0 until it is full", "mean", 13, "", true},
    {"buffer", Unit::Seconds, [](Row row) { return Value(row.buffer); },
     "media in the buffer, this segment included", "buffer", 11},
    {"switch", Unit::None, [](Row row) { return Value(std::string(row.change)); },
     "`up` or `down` where the stream changed, else empty"},
    {"stalls", Unit::None, [](Row row) { return Value(row.stalls); }, "how many so far"},
    {"stall", Unit::Seconds, [](Row row) { return Value(row.stallTime); },
     "how long they took so far"},
    {"choice", Unit::None, [](Row row) { return Value(row.choice); },
     "what the switcher answered before it: a stream, -1 to stay, -2 where it was not asked"},
    {"choice_mean", Unit::BitsPerSecond, [](Row row) { return Value(uint64_t{row.choiceMean}); },
     "what it went by: the window's mean"},
    {"choice_first", Unit::BitsPerSecond, [](Row row) { return Value(uint64_t{row.choiceFirst}); },
     "what it went by: the first sample"},
    {"choice_buffer", Unit::Milliseconds, [](Row row) { return Value(uint64_t(row.choiceBuffer)); },
     "what it went by: media in the buffer"},
    {"retries", Unit::None, [](Row row) { return Value(row.retries); }, "how many, of this segment",
     "retries", 15, "retries"},
    {"skipped", Unit::None, [](Row row) { return Value(row.skipped); },
     "1 (or `true`) for a segment that could not be had", "", 0, "skipped"},
    {"resolution", Unit::None, [](Row row) { return Value(row.resolution); },
     "of the rendition, as in `1280x720`; empty where it is not known", "picture", 8, "resolution"},
    {"live_distance", Unit::Seconds, [](Row row) { return Value(row.liveDistance); },
     "of what is played, behind the live edge; 0 in a recording", "behind live", 16, "", true},
    {"given_up", Unit::None, [](Row row) { return Value(row.givenUp); },
     "how many of its transfers were given up for a lower stream"},
    {"wasted_bytes", Unit::None, [](Row row) { return Value(row.wasted); },
     "what these had brought"},
};

} // namespace

const std::vector<TraceColumn>& traceColumns() {
    static const auto all = [] {
        std::vector<TraceColumn> columns = kSegmentColumns;
        columns.insert(columns.end(), kPlayColumns.begin(), kPlayColumns.end());
        return columns;
    }();
    return all;
}

std::string nameOf(const TraceColumn& column) {
    return std::string(column.name) + unitText(column.unit).inName;
}

std::string headingOf(const TraceColumn& column) {
    return std::string(column.heading) + unitText(column.unit).inHeading;
}

std::string textOf(const TraceValue& value) {
    if (const auto* const text = std::get_if<std::string>(&value))
        return *text;
    if (const auto* const number = std::get_if<double>(&value))
        return fixedText(*number, 3);
    if (const auto* const count = std::get_if<uint64_t>(&value))
        return std::to_string(*count);
    if (const auto* const number = std::get_if<int>(&value))
        return std::to_string(*number);
    return std::get<bool>(value) ? "1" : "0";
}

nlohmann::ordered_json jsonOf(const TraceValue& value) {
    if (const auto* const number = std::get_if<double>(&value))
        return std::round(*number * 1000) / 1000;
    return std::visit([](const auto& it) { return nlohmann::ordered_json(it); }, value);
}

} // namespace hastool
