#include "StudyRun.h"

#include <hastool/base/ByteSource.h>
#include <hastool/base/ToolError.h>

#include <cmath>
#include <set>
#include <tuple>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

/// Calls `use` with each figure and its name, in the order of the lines.
template<typename Figures, typename Use>
void forEachFigure(Figures& figures, const Use& use) {
    use("time_s", figures.time);
    use("mean_bps", figures.meanBitrate);
    use("utility", figures.utility);
    use("stall_ratio", figures.stallRatio);
    use("score", figures.score);
    use("stalls", figures.stalls);
    use("stall_s", figures.stallTime);
    use("startup_s", figures.startup);
    use("switches", figures.switches);
    use("change_bps", figures.change);
    use("given_up", figures.givenUp);
    use("bytes", figures.bytes);
    use("wasted", figures.wasted);
}

/// The same of a segment; its values stand in a list.
template<typename Segment, typename Use>
void forEachValue(Segment& segment, const Use& use) {
    use(segment.begun);
    use(segment.time);
    use(segment.stream);
    use(segment.bytes);
    use(segment.buffer);
    use(segment.stalled);
    use(segment.givenUp);
    use(segment.wasted);
}

constexpr size_t kValues = 8; // of a segment
constexpr size_t kMostNumber = 1000000000;

/// @throws ToolError for what is no number, or cannot be
template<typename Number>
void take(const json& value, Number& number, const std::string& where) {
    const bool isNumber =
        std::is_floating_point_v<Number> ? value.is_number() : value.is_number_unsigned();
    if (!isNumber)
        throw ToolError(where, "not a line of \"hastool simulate --json\": a number is missing");
    const double wide = value.get<double>();
    const double most = sizeof(Number) < 8 ? double{kMostNumber} : 1e18;
    if (!(std::abs(wide) <= most))
        throw ToolError(where, "a number that cannot be");
    number = value.get<Number>();
}

const json& member(const json& object, const char* name, const std::string& where) {
    const auto found = object.find(name);
    if (found == object.end())
        throw ToolError(where, "not a line of \"hastool simulate --json\": no \"" +
                                   std::string(name) + "\"");
    return *found;
}

std::string textIn(const json& object, const char* name, const std::string& where) {
    const json& value = member(object, name, where);
    if (!value.is_string())
        throw ToolError(where, "\"" + std::string(name) + "\" is no text");
    return value.get<std::string>();
}

const json& listIn(const json& object, const char* name, const std::string& where) {
    const json& value = member(object, name, where);
    if (!value.is_array())
        throw ToolError(where, "\"" + std::string(name) + "\" is no list");
    return value;
}

SimulatedSegment readSegment(const json& values, size_t streams, const std::string& where) {
    if (!values.is_array() || values.size() != kValues)
        throw ToolError(where, "a segment that has not " + std::to_string(kValues) + " values");
    SimulatedSegment segment;
    size_t i = 0;
    forEachValue(segment, [&](auto& number) { take(values[i++], number, where); });
    if (segment.stream >= streams)
        throw ToolError(where, "a segment of a stream that is not there");
    return segment;
}

} // namespace

std::string toLine(const StudyRun& run) {
    ordered_json line = {{"set", run.run.set},
                         {"trace", run.run.trace},
                         {"rule", run.run.rule},
                         {"movie", run.movie},
                         {"options", ordered_json::parse(run.options)}};
    forEachFigure(run.run.figures,
                  [&](const char* name, const auto& number) { line["figures"][name] = number; });
    line["figures"]["qoe_linear"] = run.qoe.linear;
    line["figures"]["qoe_log"] = run.qoe.logarithmic;
    line["bitrates"] = run.bitrates;
    line["segments"] = ordered_json::array();
    for (const SimulatedSegment& it : run.run.segments) {
        auto values = ordered_json::array();
        forEachValue(it, [&](const auto& number) { values.push_back(number); });
        line["segments"].push_back(std::move(values));
    }
    line["line"] = ordered_json::array();
    for (const StudyRun::Rate& it : run.line)
        line["line"].push_back({it.seconds, it.kbps});
    return line.dump(-1, ' ', true, ordered_json::error_handler_t::replace) + "\n";
}

StudyRun parseLine(const std::string& text, const std::string& where) {
    const ordered_json ordered = ordered_json::parse(text, nullptr, false);
    if (!ordered.is_object())
        throw ToolError(where, "not a line of \"hastool simulate --json\"");
    const json line = ordered;
    StudyRun run;
    run.run.set = textIn(line, "set", where);
    run.run.trace = textIn(line, "trace", where);
    run.run.rule = textIn(line, "rule", where);
    run.movie = textIn(line, "movie", where);
    member(line, "options", where);
    run.options = ordered["options"].dump();
    const json& figures = member(line, "figures", where);
    forEachFigure(run.run.figures, [&](const char* name, auto& number) {
        take(member(figures, name, where), number, where);
    });
    take(member(figures, "qoe_linear", where), run.qoe.linear, where);
    take(member(figures, "qoe_log", where), run.qoe.logarithmic, where);
    for (const json& it : listIn(line, "bitrates", where)) {
        uint32_t bitrate = 0;
        take(it, bitrate, where);
        run.bitrates.push_back(static_cast<int>(bitrate));
    }
    for (const json& it : listIn(line, "segments", where))
        run.run.segments.push_back(readSegment(it, run.bitrates.size(), where));
    for (const json& it : listIn(line, "line", where)) {
        StudyRun::Rate rate;
        if (!it.is_array() || it.size() != 2)
            throw ToolError(where, "a rate that has not 2 values");
        take(it[0], rate.seconds, where);
        take(it[1], rate.kbps, where);
        run.line.push_back(rate);
    }
    return run;
}

std::vector<StudyRun> loadRuns(const std::vector<std::string>& paths) {
    std::vector<StudyRun> runs;
    std::set<std::tuple<std::string, std::string, std::string, std::string>> seen;
    for (const std::string& path : paths) {
        std::string text;
        fileSource(path)([&](const unsigned char* data, size_t size) {
            text.append(reinterpret_cast<const char*>(data), size);
        });
        size_t number = 0;
        for (size_t begin = 0; begin < text.size();) {
            const size_t end = std::min(text.find('\n', begin), text.size());
            const std::string where = path + ":" + std::to_string(++number);
            const std::string line = text.substr(begin, end - begin);
            begin = end + 1;
            if (line.empty())
                continue;
            StudyRun run = parseLine(line, where);
            if (!seen.insert({run.movie, run.run.set, run.run.trace, run.run.rule}).second)
                throw ToolError(where, "a run that was there before");
            if (!runs.empty() && run.options != runs.front().options)
                throw ToolError(where, "a run of other options than the first one");
            runs.push_back(std::move(run));
        }
    }
    if (runs.empty())
        throw ToolError(paths.front(), "no run");
    return runs;
}

} // namespace hastool
