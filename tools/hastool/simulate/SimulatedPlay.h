// A play without a network.
#pragma once

#include "Movie.h"
#include "NetworkTrace.h"
#include "PlayFigures.h"
#include <hastool/play/StreamRule.h>

#include <chrono>
#include <cstdint>
#include <optional>

namespace hastool {

/// How a simulated player behaves.
struct SimulationOptions {
    /// When the buffer holds enough.
    enum class Hold {
        Fit,  ///< while the next segment would not fit into the goal
        Goal, ///< while the goal is reached, as a real play holds
    };

    std::chrono::microseconds bufferGoal{25'000'000};
    /// In place of those of the traces.
    std::optional<std::chrono::microseconds> latency;
    bool abandon = true; ///< whether transfers may be given up
    Hold hold = Hold::Fit;
    int marginKbps = 0;
    int upTimer = 0;
    double noise = 0;  ///< the rates that rules see are off by up to this part of them, at random
    uint64_t seed = 1; ///< of the noise
};

/// Plays a movie over a line that is computed, from the first segment to the end of the last, as
/// fast as the processor goes. The same arguments always give the same figures.
/// @param rule  is configured here
SimulatedRun simulate(const Movie& movie, const NetworkTrace& trace, StreamRule& rule,
                      const SimulationOptions& options);

} // namespace hastool
