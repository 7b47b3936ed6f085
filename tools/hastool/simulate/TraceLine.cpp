#include "TraceLine.h"

#include <algorithm>

namespace hastool {

void TraceLine::nextPeriod() {
    m_period = (m_period + 1) % m_trace.periods.size();
    m_left = lengthOf(period());
}

/// Lets time of the present period pass.
void TraceLine::pass(double time) {
    m_left -= time;
    if (m_left <= 0)
        nextPeriod();
}

void TraceLine::wait(double time) {
    while (time > m_left) {
        time -= m_left;
        nextPeriod();
    }
    pass(time);
}

double TraceLine::request() {
    double passed = 0;
    double part = 1; // of the latency that is still to pass
    while (part > 0) {
        const auto latency = static_cast<double>(period().latency.count());
        const double time = part * latency;
        if (time <= m_left) {
            pass(time);
            return passed + time;
        }
        part -= m_left / latency;
        passed += m_left;
        nextPeriod();
    }
    return passed;
}

TraceLine::Received TraceLine::receive(double maxBits, double minBits, double minTime) {
    constexpr double kMicroseconds = 1e6;
    Received all;
    while (all.bits < maxBits && (all.bits < minBits || all.time < minTime)) {
        const double rate = period().bitsPerSecond / kMicroseconds;
        if (rate <= 0) {
            all.time += m_left;
            nextPeriod();
            continue;
        }
        const double wanted =
            std::min(maxBits - all.bits, std::max(minBits - all.bits, (minTime - all.time) * rate));
        const double time = wanted / rate;
        if (time <= m_left) {
            pass(time);
            all.bits = wanted == maxBits - all.bits ? maxBits : all.bits + wanted;
            all.time += time;
            if (wanted <= 0)
                break;
        } else {
            all.bits += m_left * rate;
            all.time += m_left;
            nextPeriod();
        }
    }
    return all;
}

} // namespace hastool
