// The page of a study.
#pragma once

#include <hastool/simulate/StudyRun.h>

#include <string>
#include <vector>

namespace hastool {

/// One HTML page of a study, with charts: how each figure is distributed under each rule, and any
/// trace's play under two rules. It holds all that it needs and loads nothing from anywhere.
std::string studyPage(const std::vector<StudyRun>& runs);

/// Of more runs than these, only the figures are in the page: it would take too long to open.
constexpr size_t kMostDrawnRuns = 4000;

} // namespace hastool
