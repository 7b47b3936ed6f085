// When bytes have gone over a line.
#pragma once

#include "RateProfile.h"

#include <cstddef>
#include <utility>

namespace hastool {

/// One line with the rate of a profile, shared by all senders: their bytes go over it one after the
/// other. Time in which nobody sends is lost. Times are seconds since the profile began.
class LineSchedule {
public:
    explicit LineSchedule(RateProfile profile)
        : m_profile(std::move(profile)) {}

    /// Puts bytes on the line. @return when the last of them has gone over it
    double send(double now, size_t bytes);
    /// How many bytes to hand over at once, so that the rate is even.
    size_t pieceSize(double now) const;
    /// Seconds from a request to the first byte.
    double latency(double now) const { return m_profile.at(now).latency; }

private:
    RateProfile m_profile;
    double m_position = 0; ///< bytes used or lost, of all that the profile lets through
    double m_freeAt = -1;  ///< when the last byte has gone over
};

} // namespace hastool
