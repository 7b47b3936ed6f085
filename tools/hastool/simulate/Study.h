// All rules over all traces.
#pragma once

#include "Movie.h"
#include "NetworkTrace.h"
#include "RuleBook.h"
#include "SimulatedPlay.h"
#include "StudyRun.h"

#include <functional>
#include <string>
#include <vector>

namespace hastool {

struct StudyOptions {
    SimulationOptions simulation;
    std::vector<std::string> rules; ///< names
    RuleValues values;
    unsigned jobs = 1; ///< threads
};

/// Takes a run. @return false to end the study
using TakeRun = std::function<bool(StudyRun run)>;

/// Simulates every rule over every trace. The runs come in the order of the traces, and for each in
/// that of the rules, on the calling thread, however many threads work.
/// @throws ToolError for a name that is no rule, before anything is simulated, and when the user
///         interrupts
void runStudy(const Movie& movie, const std::vector<NetworkTrace>& traces,
              const StudyOptions& options, const TakeRun& take);

/// How a study is played, as JSON.
std::string optionsText(const StudyOptions& options);

} // namespace hastool
