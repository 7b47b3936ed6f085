#include "Trace.h"

#include "TraceColumn.h"

#include <functional>
#include <vector>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// Those of all columns that a trace has.
const std::vector<TraceColumn>& columns() {
    static const auto written = [] {
        std::vector<TraceColumn> result;
        for (const TraceColumn& column : traceColumns()) {
            if (*column.text != '\0')
                result.push_back(column);
        }
        return result;
    }();
    return written;
}

std::string csvLine(const std::function<std::string(const TraceColumn&)>& text) {
    std::string line;
    for (const TraceColumn& column : columns())
        line += (line.empty() ? "" : ",") + text(column);
    return line + "\n";
}

} // namespace

Trace::Trace(const std::string& path)
    : m_file(path, OutputFile::Mode::Replace)
    , m_json(endsWith(path, ".json")) {
    m_file.write(m_json ? "[" : csvLine(nameOf));
}

void Trace::commit() {
    if (m_first)
        return;
    if (m_json)
        m_file.write("\n]\n");
    m_file.commit();
}

bool Trace::isTraceName(const std::string& path) {
    return endsWith(path, ".csv") || endsWith(path, ".json");
}

void Trace::add(const TraceRow& row) {
    if (m_json)
        addJson(row);
    else
        addCsv(row);
    m_first = false;
}

void Trace::addCsv(const TraceRow& row) {
    m_file.write(csvLine([&](const TraceColumn& column) { return textOf(column.value(row)); }));
}

void Trace::addJson(const TraceRow& row) {
    nlohmann::ordered_json object;
    for (const TraceColumn& column : columns())
        object[nameOf(column)] = jsonOf(column.value(row));
    m_file.write((m_first ? "\n" : ",\n") + object.dump());
}

} // namespace hastool
