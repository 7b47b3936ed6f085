// The means of a study.
#pragma once

#include "StudyRun.h"

#include <cstddef>
#include <string>
#include <vector>

namespace hastool {

/// A figure of a play as tables show it.
struct StudyColumn {
    const char* name; ///< "stall %"
    int digits;       ///< behind the point
    double (*value)(const StudyRun& run);
};

/// All of them, in the tables' order.
const std::vector<StudyColumn>& studyColumns();

/// A rule's mean figures over the traces of a set.
struct RuleMeans {
    std::string rule;
    size_t traces = 0;
    std::vector<double> figures; ///< as studyColumns()
};

/// A set of traces that one movie was played over.
struct SetMeans {
    std::string set; ///< empty for traces that were named alone
    std::string movie;
    size_t traces = 0;
    std::vector<RuleMeans> rules;      ///< in the order in which the runs name them first
    std::vector<const StudyRun*> runs; ///< by trace, and for each by rule; borrowed
};

/// Means by set, in the order of the sets' names. The same runs in any other order of their traces
/// give the same figures to the last bit.
/// @param runs  borrowed
std::vector<SetMeans> meansOf(const std::vector<StudyRun>& runs);

/// The means of the sets' means; without rules that are not in all sets.
SetMeans overall(const std::vector<SetMeans>& sets);

} // namespace hastool
