// Published figures of how a play pleased.
#pragma once

#include "PlayFigures.h"

#include <vector>

namespace hastool {

/// Quality of experience after published formulas, each divided by the number of segments. R is a
/// segment's bitrate.
struct Qoe {
    /// Yin et al., SIGCOMM 2015, balanced: the sum of R, less the sum of the changes of R, less
    /// 3000 times the seconds of stalls and of start-up, R in kbit/s.
    double linear = 0;
    /// Mao et al., SIGCOMM 2017, QoE_log: the same of ln(R / lowest R), with 2.66 times the seconds
    /// of stalls; start-up does not count.
    double logarithmic = 0;
};

/// @param bitrates  of the streams, bits per second
Qoe qoeOf(const SimulatedRun& run, const std::vector<int>& bitrates);

} // namespace hastool
