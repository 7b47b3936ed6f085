// The record of a play, segment by segment.
#pragma once

#include "TraceRow.h"
#include <hastool/base/OutputFile.h>

#include <string>

namespace hastool {

/// Writes rows to a file, as CSV or as a JSON list by the file's extension; which columns they have
/// stands in TraceColumn.h. Every row is in the
/// file at once, which is FILE.part until commit() gives it its name.
class Trace {
public:
    /// @param path  ends in .csv or .json, see isTraceName(). @throws ToolError when it cannot be
    ///              written
    explicit Trace(const std::string& path);

    /// @throws ToolError when it cannot be written
    void add(const TraceRow& row);
    /// Ends the list and gives the file its name if there are any rows; else a file of that name
    /// stays as it was. @throws ToolError when that fails
    void commit();

    static bool isTraceName(const std::string& path);

private:
    void addCsv(const TraceRow& row);
    void addJson(const TraceRow& row);

    OutputFile m_file;
    bool m_json;
    bool m_first = true;
};

} // namespace hastool
