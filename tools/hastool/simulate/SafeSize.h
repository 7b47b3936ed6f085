// How much a segment may have when little is buffered.
#pragma once

#include <algorithm>

namespace hastool {

/// The rule of insufficient buffers: a segment must come while the buffer lasts, with a margin that
/// grows in the first segments. (Spiteri, Sitaraman, Sparacio, MMSys 2018)
class SafeSize {
public:
    /// The bits that can come in time, with the present margin.
    double next(double level, double latency, double rate) {
        const double bits = m_part * (level - latency) * rate;
        m_part = std::max(m_part * kFirst, kLeast);
        return bits;
    }

private:
    static constexpr double kFirst = 0.9;
    static constexpr double kLeast = 0.5;
    double m_part = kFirst;
};

} // namespace hastool
