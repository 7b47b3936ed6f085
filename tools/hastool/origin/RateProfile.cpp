#include "RateProfile.h"

#include <hastool/base/ByteSource.h>
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <sstream>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using Step = RateProfile::Step;

constexpr size_t kMaxSteps = 1000000;      // a week in steps shorter than a second
constexpr size_t kMaxFileSize = 64u << 20; // for as many
constexpr double kMaxValue = 1e9;          // 1 Tbit/s, 30 years
constexpr char kBlanks[] = " \t\r";

std::string trimmedLine(const std::string& line) {
    const size_t begin = line.find_first_not_of(kBlanks);
    if (begin == std::string::npos)
        return {};
    return line.substr(begin, line.find_last_not_of(kBlanks) - begin + 1);
}

/// One line of a CSV profile.
struct Line {
    double time = 0;
    std::optional<double> kbps; ///< nothing in the line that ends the profile
};

std::optional<Line> parseLine(const std::string& text) {
    const size_t comma = std::min(text.find(','), text.size());
    const auto time = parseDecimal(trimmedLine(text.substr(0, comma)));
    const std::string rate = trimmedLine(text.substr(std::min(comma + 1, text.size())));
    const auto kbps = parseDecimal(rate);
    if (!time || (!kbps && !rate.empty()))
        return std::nullopt;
    return Line{*time, kbps};
}

/// Whether a first line names the columns.
bool isHeading(const std::string& line) {
    return line == "time_s,kbps";
}

[[noreturn]] void fail(const std::string& where, size_t number, const std::string& what) {
    throw ToolError(where + ":" + std::to_string(number), what);
}

std::vector<Line> readLines(const std::string& text, const std::string& where) {
    std::vector<Line> lines;
    std::istringstream stream(text);
    size_t number = 0;
    for (std::string raw; std::getline(stream, raw);) {
        ++number;
        const std::string line = trimmedLine(raw);
        if (line.empty() || (lines.empty() && isHeading(line)))
            continue;
        const auto parsed = parseLine(line);
        if (!parsed)
            fail(where, number, "not a time in seconds and a rate in kbit/s: " + inQuotes(line));
        if (lines.empty() ? parsed->time != 0 : parsed->time <= lines.back().time)
            fail(where, number,
                 lines.empty() ? "the first time is not 0" : "a time that is not behind the last");
        if (!lines.empty() && !lines.back().kbps)
            fail(where, number, "a line behind the end");
        lines.push_back(*parsed);
    }
    return lines;
}

std::vector<Step> parseCsv(const std::string& text, const std::string& where) {
    const std::vector<Line> lines = readLines(text, where);
    std::vector<Step> steps;
    for (size_t i = 0; i < lines.size() && lines[i].kbps; ++i) {
        double seconds = 1; // any length will do for a single rate: it repeats for ever
        if (i + 1 < lines.size())
            seconds = lines[i + 1].time - lines[i].time;
        else if (i > 0)
            seconds = steps.back().seconds;
        steps.push_back({seconds, *lines[i].kbps, 0});
    }
    return steps;
}

double numberIn(const nlohmann::json& entry, const char* name, const std::string& where) {
    const auto value = entry.find(name);
    if (value == entry.end() || !value->is_number())
        throw ToolError(where, "no number \"" + std::string(name) + "\"");
    return value->get<double>();
}

std::vector<Step> parseJson(const std::string& text, const std::string& where) {
    const auto list = nlohmann::json::parse(text, nullptr, false);
    if (!list.is_array())
        throw ToolError(where, "not a JSON list");
    std::vector<Step> steps;
    for (const nlohmann::json& entry : list) {
        const std::string place = where + ": entry " + std::to_string(steps.size());
        if (!entry.is_object())
            throw ToolError(place, "not an object");
        const double latency =
            entry.contains("latency_ms") ? numberIn(entry, "latency_ms", place) : 0;
        steps.push_back({numberIn(entry, "duration_ms", place) / 1000,
                         numberIn(entry, "bandwidth_kbps", place), latency / 1000});
    }
    return steps;
}

bool isUsable(double value) {
    return std::isfinite(value) && value >= 0 && value <= kMaxValue;
}

} // namespace

RateProfile::RateProfile(std::vector<Step> steps, const std::string& where)
    : m_steps(std::move(steps)) {
    if (m_steps.empty() || m_steps.size() > kMaxSteps)
        throw ToolError(where, m_steps.empty() ? "a profile without a rate"
                                               : "more rates than can be handled");
    End end{0, 0};
    for (const Step& step : m_steps) {
        if (!isUsable(step.seconds) || !isUsable(step.kbps) || !isUsable(step.latency))
            throw ToolError(where, "a time, rate or latency that cannot be");
        end.seconds += step.seconds;
        end.bytes += step.seconds * step.kbps * kBytesPerKbps;
        m_ends.push_back(end);
    }
    if (end.bytes <= 0)
        throw ToolError(where, "a profile that never lets anything through");
}

RateProfile RateProfile::parse(const std::string& text, const std::string& where) {
    const size_t begin = text.find_first_not_of(" \t\r\n");
    const bool isJson = begin != std::string::npos && (text[begin] == '[' || text[begin] == '{');
    return {isJson ? parseJson(text, where) : parseCsv(text, where), where};
}

RateProfile RateProfile::load(const std::string& path) {
    std::string text;
    fileSource(path)([&](const unsigned char* data, size_t size) {
        if (size > kMaxFileSize - text.size())
            throw ToolError(path, "too long for a profile");
        text.append(reinterpret_cast<const char*>(data), size);
    });
    return parse(text, path);
}

size_t RateProfile::stepAt(double time) const {
    const auto it = std::upper_bound(m_ends.begin(), m_ends.end(), time,
                                     [](double at, const End& end) { return at < end.seconds; });
    return std::min(static_cast<size_t>(it - m_ends.begin()), m_ends.size() - 1);
}

const RateProfile::Step& RateProfile::at(double time) const {
    return m_steps[stepAt(std::fmod(time, duration()))];
}

double RateProfile::bytesUntil(double time) const {
    const double rounds = std::floor(time / duration());
    const double rest = time - rounds * duration();
    const size_t step = stepAt(rest);
    const double inStep = (rest - begin(step).seconds) * m_steps[step].kbps * kBytesPerKbps;
    return rounds * m_ends.back().bytes + begin(step).bytes + inStep;
}

double RateProfile::timeOf(double bytes) const {
    const double rounds = std::floor(bytes / m_ends.back().bytes);
    const double rest = bytes - rounds * m_ends.back().bytes;
    // The first step at whose end so many bytes are over; steps of rate 0 are passed over by this.
    const auto it = std::lower_bound(m_ends.begin(), m_ends.end(), rest,
                                     [](const End& end, double at) { return end.bytes < at; });
    const size_t step = std::min(static_cast<size_t>(it - m_ends.begin()), m_ends.size() - 1);
    const double rate = m_steps[step].kbps * kBytesPerKbps;
    const double inStep = rate > 0 ? (rest - begin(step).bytes) / rate : 0;
    return rounds * duration() + begin(step).seconds + inStep;
}

} // namespace hastool
