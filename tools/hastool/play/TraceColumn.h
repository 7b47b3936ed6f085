// The columns that a segment's record has.
#pragma once

#include "TraceRow.h"

#include <string>
#include <variant>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace hastool {

/// The value of a column in a row.
using TraceValue = std::variant<bool, int, uint64_t, double, std::string>;

enum class TraceUnit { None, Seconds, Milliseconds, BitsPerSecond };

/// One column: its value, and where it appears. The trace, the report's table and charts, and the
/// documentation are made from these.
struct TraceColumn {
    const char* name; ///< without the unit: "bitrate"
    TraceUnit unit;
    TraceValue (*value)(const TraceRow& row);
    const char* text;         ///< what it is, for the documentation; empty: not in the trace
    const char* heading = ""; ///< in a report's table
    int place = 0;            ///< in a report's table, from 1; 0: not in it
    const char* key = "";     ///< in the data of a report's charts; empty: not in it
    bool zeroIsNone = false;  ///< 0 stands for "not measured", which a report leaves empty
};

/// All columns, in the trace's order.
const std::vector<TraceColumn>& traceColumns();

/// The name with the unit, as the trace has it: "bitrate_bps".
std::string nameOf(const TraceColumn& column);
/// The heading with the unit, as a report has it: "bitrate, bit/s".
std::string headingOf(const TraceColumn& column);
/// "1.500", "7"; "0" for false.
std::string textOf(const TraceValue& value);
nlohmann::ordered_json jsonOf(const TraceValue& value);

} // namespace hastool
