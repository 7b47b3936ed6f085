#include "Qoe.h"

#include <cmath>

namespace hastool {
namespace {

constexpr double kLinearStall = 3000; // a second of it weighs as much as 3000 kbit/s
constexpr double kLogStall = 2.66;

/// The sum of a quality over the segments, less its changes.
double steadyQuality(const std::vector<double>& qualities) {
    double sum = 0;
    for (size_t i = 0; i < qualities.size(); ++i)
        sum += qualities[i] - (i > 0 ? std::abs(qualities[i] - qualities[i - 1]) : 0);
    return sum;
}

} // namespace

Qoe qoeOf(const SimulatedRun& run, const std::vector<int>& bitrates) {
    Qoe qoe;
    if (run.segments.empty())
        return qoe;
    std::vector<double> kbps;
    std::vector<double> logs;
    for (const SimulatedSegment& it : run.segments) {
        const double bitrate = bitrates.at(it.stream);
        kbps.push_back(bitrate / 1000);
        logs.push_back(std::log(bitrate / bitrates.front()));
    }
    const auto count = static_cast<double>(run.segments.size());
    const PlayFigures& figures = run.figures;
    qoe.linear =
        (steadyQuality(kbps) - kLinearStall * (figures.stallTime + figures.startup)) / count;
    qoe.logarithmic = (steadyQuality(logs) - kLogStall * figures.stallTime) / count;
    return qoe;
}

} // namespace hastool
