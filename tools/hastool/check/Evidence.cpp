#include "Evidence.h"

#include <algorithm>

namespace hastool {

bool CheckedRendition::isWhole() const {
    return !segments.empty() &&
           std::all_of(segments.begin(), segments.end(), [](const CheckedSegment& it) {
               return it.gap || (it.isFetched && it.answer.ok);
           });
}

} // namespace hastool
