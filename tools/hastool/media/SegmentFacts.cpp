#include "SegmentFacts.h"

namespace hastool {

InitFacts readInitFacts(std::string_view) {
    return {};
}

SegmentFacts readSegmentFacts(std::string_view, std::string_view) {
    return {};
}

} // namespace hastool
