// A study as text.
#pragma once

#include "StudyRun.h"

#include <string>
#include <vector>

namespace hastool {

/// A table of the rules' means for each set of traces, and over all sets where there are several.
/// @param perTrace  with a line for each run too
std::string studyText(const std::vector<StudyRun>& runs, bool perTrace);

} // namespace hastool
