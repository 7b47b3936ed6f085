// The machine's time.
#pragma once

#include "Clock.h"

#include <Hascommon/Datetime.h>

namespace hastool {

/// The clocks that everything else on the machine goes by.
class MachineClock : public Clock {
public:
    TimePoint steady() const override { return std::chrono::steady_clock::now(); }
    long long milliseconds() const override { return hascommon::has_getTime(); }
};

} // namespace hastool
