// A line that goes by a trace.
#pragma once

#include "NetworkTrace.h"

#include <cstddef>

namespace hastool {

/// Lets time pass on a line whose rate follows a trace, which begins anew at its end. Times are
/// microseconds, in fractions too, so that nothing is lost over a long play.
class TraceLine {
public:
    /// @param trace  borrowed; it takes time and lets something through
    explicit TraceLine(const NetworkTrace& trace)
        : m_trace(trace)
        , m_left(lengthOf(trace.periods.front())) {}

    /// Lets time pass without a transfer.
    void wait(double time);
    /// Lets the latency of a request pass. Where it changes on the way, each period has its share.
    /// @return the time that it took
    double request();
    /// What came over the line.
    struct Received {
        double bits = 0;
        double time = 0;
    };
    /// Receives so much at most, but goes on until both minima are reached.
    Received receive(double maxBits, double minBits, double minTime);

private:
    static double lengthOf(const TracePeriod& period) {
        return static_cast<double>(period.duration.count());
    }
    const TracePeriod& period() const { return m_trace.periods[m_period]; }
    void nextPeriod();
    void pass(double time);

    const NetworkTrace& m_trace;
    size_t m_period = 0;
    double m_left; ///< of the period
};

} // namespace hastool
