#include "TraceText.h"

#include <hastool/base/ToolError.h>

#include <algorithm>
#include <cmath>

namespace hastool {
namespace {

constexpr std::string_view kBlanks = " \t\r";
constexpr double kMicroseconds = 1e6;

std::string_view trimmed(std::string_view text) {
    const size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

bool isWithin(double value, double most) {
    return std::isfinite(value) && value >= 0 && value <= most;
}

} // namespace

bool TraceLines::next() {
    while (!m_rest.empty()) {
        const size_t end = std::min(m_rest.find('\n'), m_rest.size());
        m_line = trimmed(m_rest.substr(0, end));
        m_rest.remove_prefix(std::min(end + 1, m_rest.size()));
        ++m_number;
        if (!m_line.empty())
            return true;
    }
    m_line = {};
    return false;
}

void TraceLines::fail(const std::string& what) const {
    throw ToolError(m_where + ":" + std::to_string(m_number), what);
}

std::vector<std::string_view> splitAt(std::string_view text, std::string_view letters, bool joins) {
    std::vector<std::string_view> parts;
    for (;;) {
        const size_t end = std::min(text.find_first_of(letters), text.size());
        if (end > 0 || !joins)
            parts.push_back(text.substr(0, end));
        if (end == text.size())
            return parts;
        text.remove_prefix(end + 1);
    }
}

std::vector<TracePeriod> usablePeriods(std::vector<TracePeriod> periods, const std::string& where) {
    const auto isNothing = [](const TracePeriod& it) { return it.duration.count() <= 0; };
    periods.erase(std::remove_if(periods.begin(), periods.end(), isNothing), periods.end());
    if (periods.size() > kMaxTracePeriods)
        throw ToolError(where, "more rates than can be handled");
    const auto lets = [](const TracePeriod& it) { return it.bitsPerSecond > 0; };
    if (std::none_of(periods.begin(), periods.end(), lets))
        throw ToolError(where, "a trace that never lets anything through");
    return periods;
}

TracePeriod makePeriod(double seconds, double bitsPerSecond, double latency,
                       const std::string& where) {
    if (!isWithin(seconds, kMaxTraceSeconds) || !isWithin(bitsPerSecond, kMaxTraceRate) ||
        !isWithin(latency, kMaxTraceSeconds))
        throw ToolError(where, "a time, rate or latency that cannot be");
    const auto micros = [](double value) {
        return std::chrono::microseconds(std::llround(value * kMicroseconds));
    };
    return {micros(seconds), bitsPerSecond, micros(latency)};
}

} // namespace hastool
