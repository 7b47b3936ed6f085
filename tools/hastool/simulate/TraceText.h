// What the readers of traces share.
#pragma once

#include "NetworkTrace.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// Limits of what is read, so that no file takes all memory.
constexpr size_t kMaxTraceBytes = 64u << 20;
constexpr size_t kMaxTracePeriods = 1000000; // a week in periods shorter than a second
constexpr double kMaxTraceSeconds = 1e9;     // 30 years
constexpr double kMaxTraceRate = 1e12;       // 1 Tbit/s

/// Takes a text apart line by line; blanks around a line are left out.
class TraceLines {
public:
    /// @param text   borrowed
    /// @param where  names the text in messages
    TraceLines(std::string_view text, std::string where)
        : m_rest(text)
        , m_where(std::move(where)) {}

    /// Goes to the next line that is not empty. @return false behind the last one
    bool next();
    std::string_view line() const { return m_line; }
    /// @throws ToolError with the place of the line
    [[noreturn]] void fail(const std::string& what) const;

private:
    std::string_view m_rest;
    const std::string m_where;
    std::string_view m_line;
    size_t m_number = 0;
};

/// Splits at one of several letters; several in a row count as one where `joins` says so.
std::vector<std::string_view> splitAt(std::string_view text, std::string_view letters, bool joins);

/// Leaves out periods that take no time, and sees to it that something gets through at last.
/// @throws ToolError, with `where`, for a trace that cannot be used
std::vector<TracePeriod> usablePeriods(std::vector<TracePeriod> periods, const std::string& where);

/// A period of so many seconds. @throws ToolError, with `where`, for numbers that cannot be
TracePeriod makePeriod(double seconds, double bitsPerSecond, double latency,
                       const std::string& where);

} // namespace hastool
