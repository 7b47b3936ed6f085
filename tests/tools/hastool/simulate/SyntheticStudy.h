// A movie and lines that a test makes.
#pragma once

#include <hastool/simulate/Movie.h>
#include <hastool/simulate/NetworkTrace.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace test {

/// Numbers that look like chance and are the same everywhere.
class Dice {
public:
    explicit Dice(uint32_t seed)
        : m_state(seed) {}

    /// From 0 to below 1.
    double next() {
        m_state = m_state * 1664525U + 1013904223U;
        return (m_state >> 8) / 16777216.0;
    }

private:
    uint32_t m_state;
};

/// Segments of 3 s, ten streams from 230 kbit/s to 6 Mbit/s, whose sizes vary by two fifths about
/// their mean, alike in all streams, as those of one film do.
inline hastool::Movie syntheticMovie(size_t segments = 120) {
    hastool::Movie movie;
    movie.name = "synthetic";
    for (const int kbps : {230, 331, 477, 688, 991, 1427, 2056, 2962, 5027, 6000})
        movie.bitrates.push_back(kbps * 1000);
    Dice dice(7);
    for (size_t i = 0; i < segments; ++i) {
        hastool::Movie::Segment segment;
        segment.duration = std::chrono::seconds(3);
        const double factor = 0.6 + 0.8 * dice.next();
        for (const int bitrate : movie.bitrates)
            segment.bytes.push_back(static_cast<uint64_t>(bitrate * 3.0 / 8 * factor));
        movie.segments.push_back(std::move(segment));
    }
    return movie;
}

/// A line whose rate is told for each second.
inline hastool::NetworkTrace lineOf(const std::string& name, int seconds,
                                    const std::function<double(int second)>& kbps) {
    hastool::NetworkTrace trace{name, "synthetic", {}};
    for (int i = 0; i < seconds; ++i)
        trace.periods.push_back({std::chrono::seconds(1), std::max(kbps(i), 0.0) * 1000,
                                 std::chrono::milliseconds(50)});
    return trace;
}

/// A step, a ramp, a saw, outages and noise.
inline std::vector<hastool::NetworkTrace> syntheticLines() {
    Dice dice(11);
    const auto noise = [&dice](int) { return 2500 * std::exp(1.6 * dice.next() - 0.8); };
    std::vector<hastool::NetworkTrace> lines;
    lines.push_back(lineOf("noise", 240, noise));
    lines.push_back(lineOf("outage", 240, [](int i) { return i % 60 < 50 ? 3000 : 0; }));
    lines.push_back(lineOf("ramp", 300, [](int i) { return 300 + 20.0 * i; }));
    lines.push_back(lineOf("saw", 240, [](int i) { return 800 + 80.0 * (i % 40); }));
    lines.push_back(lineOf("step", 240, [](int i) { return i % 120 < 60 ? 4000 : 900; }));
    return lines;
}

} // namespace test
