// A run of a study.
#pragma once

#include "PlayFigures.h"
#include "Qoe.h"

#include <string>
#include <vector>

namespace hastool {

/// A play within a study, with all that its table and its report need to know.
struct StudyRun {
    /// A stretch of the line.
    struct Rate {
        double seconds = 0;
        double kbps = 0;
    };

    std::string movie;
    std::vector<int> bitrates; ///< of the movie's streams, bits per second
    std::string options;       ///< how it was played, as JSON; a table is made of equal ones only
    SimulatedRun run;
    Qoe qoe;
    /// The line, of a trace's first run only: the others of this trace had the same.
    std::vector<Rate> line;
};

/// A run as a line of JSON, with its end. All numbers are written so that they come back the same.
std::string toLine(const StudyRun& run);

/// Reads what toLine() wrote. @param where  names the line in messages. @throws ToolError
StudyRun parseLine(const std::string& line, const std::string& where);

/// Reads all lines of files. @throws ToolError also for a run that is there twice, and for runs of
/// different options
std::vector<StudyRun> loadRuns(const std::vector<std::string>& paths);

} // namespace hastool
