// How much a walk over boxes may do.
#pragma once

#include <cstddef>

namespace hascommon::detail {

/// What is left of the visits to samples and subsamples that a walk may make.
///
/// It bounds the walk's work by the bytes it is given. Boxes of a few bytes can name many samples,
/// the same ones again and again: 60,000 of 16 bytes each behind a run of 262,144 samples are
/// sixteen thousand million visits.
using VisitBudget = unsigned long long;

/// Visits that any walk has: a fragment of as many samples as may take no byte of it, each visited
/// by its run, its sizes, its encryption and, twice, the search for its records.
constexpr VisitBudget kVisitsAtLeast = 8ULL * 0x40000;
/// Visits for each byte beside these. A sample takes four bytes of its run, or one of media data at
/// the least; a subsample takes six.
constexpr VisitBudget kVisitsPerByte = 4;

constexpr VisitBudget visitsFor(size_t bytes) {
    return kVisitsAtLeast + kVisitsPerByte * bytes;
}

/// Asks for visits before they are made.
/// @return false when there are not as many left
inline bool spend(VisitBudget& left, unsigned long long visits) {
    if (visits > left)
        return false;
    left -= visits;
    return true;
}

} // namespace hascommon::detail
