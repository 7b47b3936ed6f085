#include "RateEstimate.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace hastool {
namespace {

constexpr std::array<double, 2> kHalfLives{3, 8};

} // namespace

void RateEstimate::add(double bits, double time, double latency, double duration) {
    if (time <= 0 || duration <= 0)
        return;
    m_weight += time;
    m_count += 1;
    m_rate = std::numeric_limits<double>::max();
    m_latency = 0;
    for (size_t i = 0; i < kHalfLives.size(); ++i) {
        const double keptRate = std::pow(0.5, time / kHalfLives[i]);
        m_rates[i] = keptRate * m_rates[i] + (1 - keptRate) * bits / time;
        // Latencies are counted by segments, each of which stands for its duration.
        const double halfLife = kHalfLives[i] / duration;
        const double keptLatency = std::pow(0.5, 1 / halfLife);
        m_latencies[i] = keptLatency * m_latencies[i] + (1 - keptLatency) * latency;
        const double rateWeight = 1 - std::pow(0.5, m_weight / kHalfLives[i]);
        const double latencyWeight = 1 - std::pow(0.5, m_count / halfLife);
        m_rate = std::min(m_rate, m_rates[i] / rateWeight);
        m_latency = std::max(m_latency, m_latencies[i] / latencyWeight);
    }
}

} // namespace hastool
