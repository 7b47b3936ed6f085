#include "PlayTrace.h"

#include "LineSum.h"
#include "TraceText.h"
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

/// The columns that are needed, as the trace names them, and one that older traces do not have.
enum Column { Time, Download, FirstByte, Bytes, kNeeded, Wasted = kNeeded, kColumns };
constexpr std::array<const char*, kColumns> kNames = {"time_s", "download_s", "first_byte_s",
                                                      "bytes", "wasted_bytes"};
constexpr double kResolution = 0.001; // seconds: what the trace's times are rounded to

using Row = std::array<double, kColumns>;

/// A transfer that asked at `begin` and had its first byte after `wait`.
SeenTransfer seenFrom(double begin, double wait, double end, double bytes) {
    SeenTransfer seen;
    seen.begin = std::max(begin, 0.0);
    seen.end = std::max(end, seen.begin + kResolution);
    seen.firstByte = std::max(std::min(seen.begin + wait, seen.end - kResolution), seen.begin);
    seen.bytes = bytes;
    return seen;
}

/// Adds what a row tells; nothing came of a segment without bytes. Transfers that were given up ran
/// between the download before and this one.
void addRow(const Row& row, std::vector<SeenTransfer>& transfers) {
    const double begin = row[Time] - row[Download];
    const double before = transfers.empty() ? 0 : transfers.back().end;
    if (row[Wasted] > 0 && before + kResolution < begin)
        transfers.push_back(seenFrom(before, row[FirstByte], begin, row[Wasted]));
    if (row[Bytes] > 0)
        transfers.push_back(seenFrom(begin, row[FirstByte], row[Time], row[Bytes]));
}

/// Where the columns are in the lines.
std::array<size_t, kColumns> placesIn(const TraceLines& lines) {
    const auto names = splitAt(lines.line(), ",", false);
    std::array<size_t, kColumns> places{};
    for (size_t i = 0; i < kNames.size(); ++i) {
        const auto it = std::find(names.begin(), names.end(), kNames[i]);
        if (it == names.end() && i < kNeeded)
            lines.fail("no column " + std::string(kNames[i]));
        places[i] = static_cast<size_t>(it - names.begin()); // behind all where there is none
    }
    return places;
}

double numberIn(const nlohmann::json& row, size_t column, const std::string& where) {
    const char* const name = kNames[column];
    const auto value = row.find(name);
    if (value == row.end() && column >= kNeeded)
        return 0;
    if (value == row.end() || !value->is_number())
        throw ToolError(where, "no number \"" + std::string(name) + "\"");
    const double number = value->get<double>();
    if (!(number >= 0 && number <= kMaxTraceRate))
        throw ToolError(where, "a time or size that cannot be");
    return number;
}

} // namespace

bool isPlayTraceHeading(std::string_view line) {
    const auto names = splitAt(line, ",", false);
    return std::find(names.begin(), names.end(), kNames[Download]) != names.end();
}

bool isPlayTraceRow(const nlohmann::json& entry) {
    return entry.is_object() && entry.contains(kNames[Download]);
}

std::vector<TracePeriod> readPlayTraceCsv(std::string_view text, const std::string& where) {
    TraceLines lines(text, where);
    if (!lines.next())
        throw ToolError(where, "an empty file");
    const auto places = placesIn(lines);
    const size_t columns = splitAt(lines.line(), ",", false).size();
    std::vector<SeenTransfer> transfers;
    while (lines.next()) {
        const auto cells = splitAt(lines.line(), ",", false);
        Row row{};
        for (size_t i = 0; i < kColumns; ++i) {
            if (places[i] == columns)
                continue;
            const auto number =
                places[i] < cells.size() ? parseDecimal(cells[places[i]]) : std::nullopt;
            if (!number || *number > kMaxTraceRate)
                lines.fail("no number in the column " + std::string(kNames[i]));
            row[i] = *number;
        }
        addRow(row, transfers);
    }
    return sumOfTransfers(transfers, where);
}

std::vector<TracePeriod> readPlayTraceJson(const nlohmann::json& rows, const std::string& where) {
    std::vector<SeenTransfer> transfers;
    for (size_t i = 0; i < rows.size(); ++i) {
        const std::string place = where + ": entry " + std::to_string(i);
        if (!rows[i].is_object())
            throw ToolError(place, "not an object");
        Row row{};
        for (size_t column = 0; column < kColumns; ++column)
            row[column] = numberIn(rows[i], column, place);
        addRow(row, transfers);
    }
    return sumOfTransfers(transfers, where);
}

} // namespace hastool
