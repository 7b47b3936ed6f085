#include "TimeSource.h"

#include <Hascommon/Datetime.h>

namespace hastool {

TimeSource::TimeSource()
    : steady([] { return Steady::now(); })
    , wall([] { return static_cast<double>(hascommon::has_getTime()) / 1000; }) {}

} // namespace hastool
