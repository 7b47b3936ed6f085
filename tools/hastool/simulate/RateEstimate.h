// The estimate of throughput of the published rules.
#pragma once

#include <array>

namespace hastool {

/// Exponential means of throughput and latency with two half-lives each, of which the one that
/// promises less counts: as the player has it for which Spiteri, Sitaraman and Sparacio
/// describe their rules ("From Theory to Practice: Improving Bitrate Adaptation in the DASH
/// Reference Player", MMSys 2018). Times are seconds, rates bits per second.
class RateEstimate {
public:
    /// A segment has come. @param duration  of its media
    void add(double bits, double time, double latency, double duration);
    bool isKnown() const { return m_weight > 0; }
    double rate() const { return m_rate; }
    double latency() const { return m_latency; }

private:
    std::array<double, 2> m_rates{};     ///< as if there had been zeros before the first
    std::array<double, 2> m_latencies{}; ///< likewise
    double m_weight = 0;                 ///< seconds
    double m_count = 0;                  ///< segments
    double m_rate = 0;
    double m_latency = 0;
};

} // namespace hastool
