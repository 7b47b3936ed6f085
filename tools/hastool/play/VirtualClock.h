// A time that passes when it is told to.
#pragma once

#include "Clock.h"

#include <algorithm>

namespace hastool {

/// Stands still between two calls of goTo(). Counts in microseconds.
class VirtualClock : public Clock {
public:
    TimePoint steady() const override { return m_now; }
    long long milliseconds() const override {
        using std::chrono::milliseconds;
        return kBegin + std::chrono::duration_cast<milliseconds>(m_now - TimePoint()).count();
    }
    /// Lets the time pass up to a moment; a moment in the past changes nothing.
    void goTo(TimePoint time) { m_now = std::max(m_now, time); }

private:
    /// 24 November 2023, 06:10 UTC. The bandwidth checker sees the low 32 bits of a chunk's times;
    /// from here they go on for seven weeks without starting anew.
    static constexpr long long kBegin = 396LL << 32;

    TimePoint m_now{};
};

} // namespace hastool
