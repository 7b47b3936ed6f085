// The record of a play, segment by segment.
#pragma once

#include "TraceRow.h"
#include <hastool/base/OutputFile.h>

#include <string>

namespace hastool {

/// Writes rows to a file, as CSV or as a JSON list by the file's extension; TraceColumn.h has the
/// columns. Each row is written at once, without buffering. The file is FILE.part until commit().
class Trace {
public:
    /// @param path  ends in .csv or .json, see isTraceName(). @throws ToolError when it cannot be
    ///              written
    explicit Trace(const std::string& path);

    /// @throws ToolError when it cannot be written
    void add(const TraceRow& row);
    /// Ends the list and gives the file its name. Without any rows it does nothing, and an older
    /// file of that name stays. @throws ToolError when that fails
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
